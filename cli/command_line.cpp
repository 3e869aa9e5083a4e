// SPDX-License-Identifier: MIT
#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <deque>
#include <span>
#include <sstream>

#include "cli/client/mistakes.h"
#include "cli/commands/line_reader.h"

namespace cli {

namespace {

constexpr std::size_t kHelpColumn = 24;
constexpr int kUsage = 2;

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
        const std::string type = option->get_type_name();
        // Without the check's own words behind a colon.
        return type.empty() ? "" : " " + type.substr(0, type.find(':'));
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

/// The long options of a command and of all above it.
std::vector<std::string> optionsOf(const CLI::App* app) {
    std::vector<std::string> names;
    for (; app != nullptr; app = app->get_parent())
        for (const CLI::Option* option : app->get_options())
            for (const std::string& name : option->get_lnames())
                if (std::ranges::find(names, "--" + name) == names.end())
                    names.push_back("--" + name);
    return names;
}

/// A mistake in the command line, with what is allowed in its place: one line.
std::string mistakeText(const CLI::App* app, const CLI::Error& error) {
    const std::vector<std::string> rest = app->remaining(true);
    while (!app->get_subcommands().empty())
        app = app->get_subcommands().front();
    if (!rest.empty() && rest.front().starts_with('-'))
        return unknownText(rest.front(), optionsOf(app));
    std::vector<std::string> words;
    for (const CLI::App* word : app->get_subcommands({}))
        words.push_back(word->get_name());
    if (!rest.empty())
        return unknownText(rest.front(), words);
    const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    return !words.empty() && isMissing ? "a command is missing; allowed are " + listed(words)
                                       : error.what();
}

std::string usageOf(const CLI::App* app) {
    while (!app->get_subcommands().empty())
        app = app->get_subcommands().front();
    return HelpFormatter().make_usage(app, "");
}

/// Whether a word is a long option with a dash too few, as -json: it would be read letter by
/// letter.
bool isShortOfADash(std::string_view word) {
    return word.size() > 2 && word[0] == '-' && word[1] != '-' &&
           std::isalpha(static_cast<unsigned char>(word[1])) != 0;
}

/// Texts of a command line for one command of the table; CLI11 fills them in.
struct Taken {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> options;
};

std::string withoutDashes(const std::string& option) {
    return option.substr(option.find_first_not_of('-'));
}

}  // namespace

class CommandLine::Parser {
  public:
    explicit Parser(Alone alone) : alone_(alone) {
        app_.formatter(std::make_shared<HelpFormatter>());
        app_.get_formatter()->column_width(kHelpColumn);
        app_.fallthrough();
        addGlobalOptions();
        app_.set_version_flag(globalOption("--version").name, "mvrpctl " MVRP_VERSION,
                              globalOption("--version").help);
        app_.set_help_flag(globalOption("--help").name, globalOption("--help").help);
        app_.footer(
            "Ports are named by name or unit. VLANs are written as ranges: 1-3,7; \"-\" for none,\n"
            "\"all\" for 1-4094. Commands may be abbreviated: `sh po` is `show ports`.\n"
            "Exit status: 0 done, 1 refused by the daemon, 2 wrong usage or no connection.");
        for (const auto& table : allCommands())
            for (const Command& command : table)
                add(command);
    }

    Reading parse(const std::vector<std::string>& words, Line& line) {
        using Outcome = Reading::Outcome;
        try {
            for (const std::string& word : words)
                if (isShortOfADash(word))
                    throw CLI::ParseError(unknownText(word, optionsOf(&app_)), kUsage);
            app_.parse(inReverse(spelledOut(words)));
            checkHasCommand();
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() != 0)
                return {Outcome::Mistake, mistakeText(&app_, error), usageOf(&app_)};
            std::ostringstream printed;
            app_.exit(error, printed, printed);
            return {Outcome::Printed, printed.str()};
        }
        line = line_;
        if (taken_ != nullptr) {
            line.arguments = taken_->arguments;
            line.options = taken_->options;
        }
        return {};
    }

  private:
    /// The words with those of commands written out; of `help COMMAND`, COMMAND --help.
    static std::vector<std::string> spelledOut(const std::vector<std::string>& words) {
        const LineReader reader = readLine(words);
        if (!reader.problem().empty())
            throw CLI::ParseError(reader.problem(), kUsage);
        std::vector<std::string> spelled = reader.words();
        if (reader.isHelp())
            spelled.emplace_back("--help");
        return spelled;
    }

    /// As CLI11 takes them.
    static std::vector<std::string> inReverse(std::vector<std::string> words) {
        std::ranges::reverse(words);
        return words;
    }

    void checkHasCommand() const {
        const bool many = !line_.batch.empty() || alone_ == Alone::Shell;
        if (line_.command == nullptr && !many)
            throw CLI::RequiredError::Subcommand(1);
        if (line_.command != nullptr && !line_.batch.empty())
            throw CLI::ParseError(
                "--batch reads its commands from a file; allowed is no command beside it", kUsage);
        if (line_.atomic && line_.batch.empty())
            throw CLI::ParseError("--atomic is for the lines of --batch; allowed with it only",
                                  kUsage);
        if (line_.all && !line_.batch.empty())
            throw CLI::ParseError(
                "--all asks every daemon, a batch is for one; allowed are --all in its lines, or a "
                "--socket",
                kUsage);
    }

    /// -j, and -o with the name of a format.
    void addFormat() {
        CLI::Option* const json = app_.add_flag_callback(
            globalOption("--json").name, [this] { line_.format = Format::Json; },
            globalOption("--json").help);
        const auto take = [this](const CLI::results_t& words) {
            line_.format = formatOf(words.front()).value_or(Format::Table);
            return true;
        };
        const auto check = [](const std::string& word) {
            return formatOf(word) ? std::string()
                                  : "'" + word + "' is no format; allowed are " + kFormatsAllowed;
        };
        const Option& output = globalOption("--output");
        app_.add_option(output.name, take, output.help)
            ->type_name(output.value)
            ->check(check)
            ->excludes(json);
    }

    void addGlobalOptions() {
        addGlobal("--socket", line_.socket);
        addGlobal("--patience", line_.patience)->check(CLI::Range(1, 3600));
        addFormat();
        addGlobal("--batch", line_.batch);
        addGlobalFlag("--atomic", line_.atomic);
        addGlobalFlag("--all", line_.all);
        addGlobal("--netns", line_.netns);
    }

    static const Option& globalOption(std::string_view name) {
        return *std::ranges::find_if(
            kGlobalOptions, [name](const Option& option) { return isCalled(option, name); });
    }

    template <typename Value>
    CLI::Option* addGlobal(std::string_view name, Value& value) {
        const Option& option = globalOption(name);
        return app_.add_option(option.name, value, option.help)
            ->type_name(option.value)
            ->take_last();
    }

    CLI::Option* addGlobalFlag(std::string_view name, bool& value) {
        const Option& option = globalOption(name);
        return app_.add_flag(option.name, value, option.help);
    }

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
        const auto groups = allGroups();
        const auto group = std::ranges::find_if(
            groups, [&path](const Group& candidate) { return path == candidate.path; });
        if (group != groups.end()) {
            made->description(group->help);
            made->require_subcommand(1);
        }
        return made;
    }

    void add(const Command& command) {
        CLI::App* const app = enter(command.path);
        app->description(command.help);
        if (command.details != nullptr)
            app->footer(command.details());
        Taken& taken = takens_.emplace_back();
        for (const Argument& argument : command.arguments)
            if (argument.name != nullptr)
                addArgument(*app, argument, taken.arguments);
        for (const Option& option : command.options)
            if (option.name != nullptr)
                addOption(*app, option, taken.options);
        app->callback([this, app, &command, &taken] {
            if (app->get_subcommands().empty()) {
                line_.command = &command;
                taken_ = &taken;
            }
        });
    }

    static void addArgument(CLI::App& app, const Argument& argument,
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

    static void addOption(CLI::App& app, const Option& option,
                          std::map<std::string, std::string>& options) {
        const std::string name = withoutDashes(option.name);
        if (option.value == nullptr) {
            app.add_flag_callback(
                option.name, [&options, name] { options[name]; }, option.help);
            return;
        }
        const auto take = [&options, name](const CLI::results_t& words) {
            options[name] = words.front();
            return true;
        };
        app.add_option(option.name, take, option.help)
            ->type_name(option.value)
            ->required(option.required);
    }

    CLI::App app_{"Looks at and changes a running mvrp.", "mvrpctl"};
    Alone alone_;
    Line line_;
    const Taken* taken_ = nullptr;
    std::deque<Taken> takens_;  ///< one for each command
};

CommandLine::CommandLine(Alone alone) : parser_(std::make_unique<Parser>(alone)) {}
CommandLine::~CommandLine() = default;

Reading CommandLine::parse(const std::vector<std::string>& words, Line& line) {
    return parser_->parse(words, line);
}

}  // namespace cli
