// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cctype>

#include "cli/commands/commands.h"
#include "cli/help/help.h"

namespace cli {

namespace {

constexpr const char* kHead =
    ".TH MVRPCTL 8 \"\" \"mvrp\" \"System Administration\"\n"
    ".SH NAME\n"
    "mvrpctl \\- look at and change a running mvrp\n"
    ".SH SYNOPSIS\n"
    ".B mvrpctl\n"
    "[\\fIoptions\\fR] \\fIcommand\\fR [\\fIarguments\\fR]\n"
    ".br\n"
    ".B mvrpctl help\n"
    "[\\fIcommand\\fR]\n"
    ".SH DESCRIPTION\n"
    ".B mvrpctl\n"
    "speaks to the VLAN registration daemon\n"
    ".BR mvrp (8)\n"
    "through its command socket. Ports are named by their name or unit. VLANs are written as "
    "ranges,\n"
    "for example 1\\-3,7; \\- stands for none and\n"
    ".B all\n"
    "for 1\\-4094. The screens use colour on a terminal only, and not when\n"
    ".B NO_COLOR\n"
    "is set.\n"
    ".PP\n"
    "The words of a command may be abbreviated as long as one command is meant:\n"
    ".B sh po\n"
    "is\n"
    ".BR \"show ports\" ,\n"
    "and with the name of a port behind it\n"
    ".BR \"show port\" .\n"
    "What may be meant otherwise is listed. A word that is not known is answered with the one that "
    "is\n"
    "like it, and with what is allowed.\n"
    ".PP\n"
    "Without a command, at a terminal, it is a shell: see SHELL. Commands of a file are run by\n"
    ".BR \\-b :\n"
    "see BATCHES.\n"
    ".PP\n"
    "With\n"
    ".B \\-j\n"
    "every command prints one JSON object whose shape does not depend on how much there is to "
    "tell;\n"
    "its member\n"
    ".B version\n"
    "counts up when a key changes its meaning. Only\n"
    ".B watch\n"
    "prints one object a line, and\n"
    ".BR metrics ,\n"
    ".BR help ,\n"
    ".B manual\n"
    "and\n"
    ".B completion\n"
    "have a form of their own.\n"
    ".B \\-o\n"
    "prints the same as YAML, a document for each object, or as CSV: a row for each entry of the "
    "answer's\n"
    "list, or one row; members of members are named as in counters.framesIn. A listing without "
    "entries\n"
    "prints nothing then.\n"
    ".SH OPTIONS\n";

struct Example {
    const char* what;
    const char* line;
};

constexpr Example kExamples[] = {
    {"What each port registered, declares and learnt:", "mvrpctl show ports"},
    {"The same, abbreviated:", "mvrpctl sh po"},
    {"Why VLAN 20 is, or is not, on a port, and what to do:", "mvrpctl explain uplink 20"},
    {"What keeps VLANs from coming and going:", "mvrpctl doctor"},
    {"Change the times of a port, the longest first:",
     "mvrpctl set port uplink leave-all-time 20000"},
    {"Have a script wait until two VLANs are there:",
     "mvrpctl wait --port uplink --vlan 10,20 --timeout 5"},
    {"Look at another daemon of this machine, as JSON:",
     "mvrpctl --socket /run/mvrp-lab/mvrpcmd.socket -j show vlans"},
    {"Ask every daemon of this machine:", "mvrpctl --all show vlans"},
    {"Apply a file of changes, or none of them:", "mvrpctl --atomic -b changes.txt"},
    {"Complete commands, ports and VLANs in this bash:", "eval \"$(mvrpctl completion bash)\""},
};

constexpr const char* kShell =
    ".SH SHELL\n"
    "Typed alone at a terminal,\n"
    ".B mvrpctl\n"
    "gives a prompt with the name of the switch, at which commands are typed without the name of "
    "the\n"
    "program.\n"
    ".B ?\n"
    "lists what may follow, TAB completes, the arrows go through earlier lines, Ctrl\\-R looks for "
    "one.\n"
    "Ctrl\\-C ends a command and not the shell; Ctrl\\-D,\n"
    ".B exit\n"
    "or\n"
    ".B quit\n"
    "leaves it. Options before it, as\n"
    ".BR \\-\\-socket ,\n"
    "hold for every line. Keys may be changed in\n"
    ".IR ~/.editrc ,\n"
    "see\n"
    ".BR editrc (5).\n"
    ".SH BATCHES\n"
    ".B \\-b\n"
    "reads a command a line, in the words of the shell: quotation marks keep blanks, and # begins "
    "a "
    "comment.\n"
    "All lines are read before the first is run, and a mistake in one means that none is. The "
    "first "
    "that\n"
    "fails ends the batch; the message names it as FILE:LINE.\n"
    ".PP\n"
    "With\n"
    ".B \\-\\-atomic\n"
    "what was set by earlier lines is set again as it was; what was learnt meanwhile is learnt "
    "anew. "
    "A\n"
    "line whose change could not be put back, as of\n"
    ".BR \"switch port delete\" ,\n"
    "is refused before anything is run.\n";

constexpr const char* kTail =
    ".SH EXIT STATUS\n"
    ".TP\n.B 0\nDone.\n"
    ".TP\n.B 1\nThe daemon refused, or what was asked about does not hold.\n"
    ".TP\n.B 2\nA mistake in the command line, or no connection to a daemon.\n"
    ".SH ENVIRONMENT\n"
    ".TP\n.B MVRP_RUNTIME_DIR\nDirectory of the daemon's command socket; when it is not set, "
    "/run/mvrp\nwhere the service runs, and else /tmp.\n"
    ".TP\n.B NO_COLOR\nWhen set and not empty, nothing is coloured.\n"
    ".SH FILES\n"
    ".TP\n.I $MVRP_RUNTIME_DIR/mvrpcmd.socket\nThe command socket.\n"
    ".TP\n.I /etc/mvrp/mvrp.toml\nThe daemon's configuration.\n"
    ".TP\n.I /run/netns\nNetwork namespaces by name, for\n.BR \\-n .\n"
    ".TP\n.I ~/.local/state/mvrpctl_history\nWhat was typed at the prompt; below "
    "$XDG_STATE_HOME where that is set.\n"
    ".SH SEE ALSO\n"
    ".BR mvrp (8),\n"
    ".BR mvrp.toml (5),\n"
    ".BR mvrp (7)\n";

/// A text as troff takes it.
std::string escaped(const std::string& text) {
    std::string out;
    bool atStart = true;
    for (const char c : text) {
        if (atStart && (c == '.' || c == '\''))
            out += "\\&";
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else
            out += c;
        atStart = c == '\n';
    }
    return out;
}

std::string upper(std::string text) {
    for (char& letter : text)
        letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    return text;
}

std::string sentence(std::string text) {
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return escaped(text) + ".\n";
}

/// "-j,--json" as "-j, --json", in bold.
std::string optionNames(const std::string& names) {
    std::string text = "\\fB" + escaped(names) + "\\fR";
    const std::size_t comma = text.find(',');
    return comma == std::string::npos ? text : text.replace(comma, 1, "\\fR, \\fB");
}

/// Not a sentence: it may begin with a word that the program takes as it stands here.
std::string optionEntry(const Option& option) {
    return ".TP\n" + optionNames(option.name) +
           (option.value == nullptr ? "" : " \\fI" + escaped(option.value) + "\\fR") + "\n" +
           escaped(option.help) + "\n";
}

std::string argumentEntry(const Argument& argument) {
    return ".TP\n.I " + upper(argument.name) + "\n" + escaped(argument.help) + "\n";
}

std::string commandEntry(const Command& command) {
    std::string text = ".SS mvrpctl " + escaped(command.path);
    for (const Argument& argument : command.arguments) {
        if (argument.name == nullptr)
            break;
        const std::string name =
            "\\fI" + upper(argument.name) + "\\fR" + (argument.rest ? "..." : "");
        text += argument.optional ? " [" + name + "]" : " " + name;
    }
    text += "\n" + sentence(command.help);
    for (const Argument& argument : command.arguments)
        if (argument.name != nullptr)
            text += argumentEntry(argument);
    for (const Option& option : command.options)
        if (option.name != nullptr)
            text += optionEntry(option);
    if (command.details != nullptr)
        text += ".PP\n.nf\n" + escaped(command.details()) + "\n.fi\n";
    return text;
}

}  // namespace

std::string manualPage() {
    std::string text = kHead;
    for (const Option& option : kGlobalOptions)
        text += optionEntry(option);
    text += ".SH COMMANDS\n";
    for (const auto& table : allCommands())
        for (const Command& command : table)
            text += commandEntry(command);
    text += kShell;
    text += ".SH EXAMPLES\n";
    for (const Example& example : kExamples)
        text += std::string(".PP\n") + escaped(example.what) + "\n.PP\n.RS\n.nf\n" +
                escaped(example.line) + "\n.fi\n.RE\n";
    return text + kTail;
}

}  // namespace cli
