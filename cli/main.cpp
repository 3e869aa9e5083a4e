// SPDX-License-Identifier: MIT
//
// mvrpctl: looks at and changes a running mvrp through its command channel.
//
// Exit status: 0 done; 1 the daemon refused; 2 a mistake in the command line, or no connection.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cctype>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>
#include <memory>

#include "cli/commands.h"
#include "cli/json.h"

namespace {

enum ExitStatus : int { kDone = 0, kRefused = 1, kUsage = 2 };

/// What the command line says; CLI11 fills it in.
struct Line {
    std::string socket = cli::defaultSocketPath();
    bool json = false;
    const cli::Command* command = nullptr;
    std::vector<std::string>* arguments = nullptr;
};

/// Help texts of the words that stand before a command.
const std::map<std::string, const char*> kGroups = {
    {"set", "change settings of the protocol"},
    {"switch", "change the software switch below the protocol"},
    {"switch port", "ports of the software switch"},
    {"switch vlan", "VLANs of the software switch"},
    {"standby", "what concerns the pair of an active and a standby"},
    {"debug", "look into the daemon"},
};

/// Help with the arguments in the usage line, and without CLI11's shouting.
class HelpFormatter : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App* app, std::string) const override {
        std::string line;
        for (const CLI::App* word = app; word != nullptr; word = word->get_parent())
            line.insert(0, word->get_name() + (line.empty() ? "" : " "));
        for (const CLI::Option* option : app->get_options()) {
            if (!option->get_positional())
                continue;
            const std::string name = upper(option->get_name(true));
            line += option->get_required() ? " " + name : " [" + name + "]";
        }
        if (!app->get_subcommands({}).empty())
            line += app->get_require_subcommand_min() > 0 ? " COMMAND" : " [COMMAND]";
        return "usage: " + line + "\n";
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_type_name().empty() ? "" : " " + option->get_type_name();
    }

    std::string make_option_name(const CLI::Option* option, bool positional) const override {
        return positional ? upper(option->get_name(true)) : option->get_name(false, true);
    }

    static std::string upper(std::string text) {
        for (char& letter : text)
            letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        return text;
    }
};

/// A mistake in the command line, with what is allowed in its place.
std::string mistake(const CLI::App* app, const CLI::Error& error) {
    const std::vector<std::string> rest = app->remaining(true);
    while (!app->get_subcommands().empty())
        app = app->get_subcommands().front();
    const auto* required = dynamic_cast<const CLI::RequiredError*>(&error);
    const auto words = app->get_subcommands({});
    std::string text = "mvrpctl: ";
    if (!rest.empty())
        text += "'" + rest.front() + "' is not known here";
    else if (!words.empty() && required != nullptr)
        text += "a command is missing";
    else
        text += error.what();
    if (!words.empty()) {
        text += "; allowed are";
        for (const CLI::App* word : words)
            text += (word == words.front() ? " " : ", ") + word->get_name();
    }
    return text + "\n" + HelpFormatter().make_usage(app, "");
}

class CommandLine {
  public:
    CommandLine() {
        app_.formatter(std::make_shared<HelpFormatter>());
        app_.get_formatter()->column_width(kHelpColumn);
        app_.failure_message(mistake);
        app_.require_subcommand(1);
        app_.fallthrough();
        app_.add_option("--socket", line_.socket,
                        "command socket of the daemon; default: mvrpcmd.socket in\n"
                        "$MVRP_RUNTIME_DIR, or in /tmp when that is not set")
            ->type_name("PATH");
        app_.add_flag("-j,--json", line_.json, "print JSON");
        app_.set_version_flag("--version", "mvrpctl " MVRP_VERSION, "print the version");
        app_.set_help_flag("-h,--help", "print this; `mvrpctl COMMAND --help` says more");
        app_.footer(
            "VLANs are written as ranges: 1-3,7; \"-\" for none, \"all\" for 1-4094.\n"
            "Exit status: 0 done, 1 refused by the daemon, 2 wrong usage or no connection.");
        for (const auto table :
             {cli::kShowCommands, cli::kSetCommands, cli::kSwitchCommands, cli::kStandbyCommands,
              cli::kDebugCommands, cli::kDoctorCommands}) {
            for (const cli::Command& command : table)
                add(command);
        }
    }

    /// @return the line, or throws what CLI11 throws
    Line parse(int argc, char** argv) {
        app_.parse(argc, argv);
        return line_;
    }

    int report(const CLI::ParseError& error) { return app_.exit(error) == 0 ? kDone : kUsage; }

  private:
    static constexpr std::size_t kHelpColumn = 22;

    CLI::App* enter(const std::string& path) {
        const std::size_t blank = path.rfind(' ');
        CLI::App* const parent = blank == std::string::npos ? &app_ : enter(path.substr(0, blank));
        const std::string word = blank == std::string::npos ? path : path.substr(blank + 1);
        const auto known = parent->get_subcommands(
            [&word](const CLI::App* child) { return child->get_name() == word; });
        if (!known.empty())
            return known.front();
        CLI::App* const made = parent->add_subcommand(word);
        made->set_help_flag("-h,--help", "print this");
        made->footer("");
        if (const auto group = kGroups.find(path); group != kGroups.end()) {
            made->description(group->second);
            made->require_subcommand(1);
        }
        return made;
    }

    void add(const cli::Command& command) {
        CLI::App* const app = enter(command.path);
        app->description(command.help);
        if (command.details != nullptr)
            app->footer(command.details());
        std::vector<std::string>& arguments = arguments_.emplace_back();
        for (const cli::Argument& argument : command.arguments) {
            if (argument.name == nullptr)
                break;
            addArgument(*app, argument, arguments);
        }
        app->callback([this, app, &command, &arguments] {
            if (app->get_subcommands().empty()) {
                line_.command = &command;
                line_.arguments = &arguments;
            }
        });
    }

    static void addArgument(CLI::App& app, const cli::Argument& argument,
                            std::vector<std::string>& arguments) {
        const auto take = [&arguments](const CLI::results_t& words) {
            arguments.insert(arguments.end(), words.begin(), words.end());
            return true;
        };
        CLI::Option* const option = app.add_option(argument.name, take, argument.help);
        option->type_name("")->required(!argument.optional);
        if (argument.rest)
            option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
    }

    CLI::App app_{"Looks at and changes a running mvrp.", "mvrpctl"};
    Line line_;
    std::deque<std::vector<std::string>> arguments_;  ///< one for each command
};

int fail(const Line& line, u32 status, const std::string& message, ExitStatus exitStatus) {
    if (line.json)
        std::cout << cli::errorJson(status, message);
    std::cerr << "mvrpctl: " << message << "\n";
    return exitStatus;
}

int run(const Line& line) {
    const bool colour = isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
    const cli::Style style{colour};
    try {
        if (line.command->runAlone != nullptr)
            return line.command->runAlone({line.socket, *line.arguments, line.json, style});
        cli::Client client(line.socket);
        line.command->run(cli::Context(client, *line.arguments, line.json, style));
        return kDone;
    } catch (const cli::RefusedError& error) {
        return fail(line, error.status, error.what(), kRefused);
    } catch (const cli::UsageError& error) {
        return fail(line, 0, error.what(), kUsage);
    } catch (const cli::ConnectionError& error) {
        return fail(line, 0, error.what(), kUsage);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        CommandLine commandLine;
        try {
            return run(commandLine.parse(argc, argv));
        } catch (const CLI::ParseError& error) {
            return commandLine.report(error);
        }
    } catch (const std::exception& error) {
        std::cerr << "mvrpctl: " << error.what() << "\n";
        return kUsage;
    }
}
