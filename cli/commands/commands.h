// SPDX-License-Identifier: MIT
//
// The commands of mvrpctl: one table of name, arguments, help and function. The command line, its
// help and the completion are made from it.
#pragma once

#include <array>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cli/client/client.h"
#include "cli/client/names.h"
#include "cli/client/queries.h"
#include "cli/print/formats.h"
#include "cli/print/table.h"

namespace cli {

/// The person at the keyboard wrote something that is not allowed. The text says what is.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What a command function works with. Arguments are counted from 0, as the table lists them.
class Context {
  public:
    using Options = std::map<std::string, std::string>;

    Context(Client& client_, std::vector<std::string> arguments, Format format_, Style style_,
            Options options = {})
        : client(client_),
          format(format_),
          json(format_ != Format::Table),
          style(style_),
          arguments_(std::move(arguments)),
          options_(std::move(options)) {}

    std::size_t count() const { return arguments_.size(); }
    const std::string& text(std::size_t index) const { return arguments_.at(index); }

    /// Whether an option was given, by its name without dashes.
    bool has(const std::string& option) const { return options_.contains(option); }
    /// The value of an option that was given.
    const std::string& value(const std::string& option) const { return options_.at(option); }
    platform::VlanBitmap vlans(const std::string& option) const;
    u64 number(const std::string& option, u64 lowest, u64 highest) const;

    /// The argument as a port of the switch, given by unit or name.
    platform::SwitchPortRecord port(std::size_t index) const;
    /// The ports that argument `index` and those after it name, in the order of the switch; all
    /// ports when there is none. Lists and ranges are taken, too: swp1-4,uplink.
    std::vector<platform::SwitchPortRecord> ports(std::size_t index) const;
    platform::VlanBitmap vlans(std::size_t index) const;
    u32 vlan(std::size_t index) const;
    u32 number(std::size_t index, u32 lowest, u32 highest) const;
    u32 choice(std::size_t index, Names names) const;

    /// An answer, as it is or, a JSON document, in the form that was asked for.
    void print(const std::string& text) const;
    /// Ends a change: says so in JSON, nothing in text; throws RefusedError for a status other than
    /// 0.
    void finish(u32 status, const std::string& refusal = {}) const;
    /// Has the program end with this exit status although nothing failed.
    void setExitStatus(int status) const { exitStatus_ = status; }
    int exitStatus() const { return exitStatus_; }

    Client& client;  ///< connects with its first exchange
    Format format;
    bool json;  ///< the answer is made in JSON, from which YAML and CSV are made
    Style style;
    std::string* output = nullptr;  ///< takes what is printed; null: the standard output

  private:
    std::vector<std::string> arguments_;
    Options options_;
    mutable int exitStatus_ = 0;
};

/// A word that may stand somewhere, and what it means.
struct Candidate {
    std::string word;
    std::string help = {};  ///< may be empty

    bool operator==(const Candidate&) const = default;
};

/// A line that is being written, for those who know what may come next. A client connects when it
/// is asked something.
struct Typed {
    std::span<const std::string> arguments;  ///< those before the one that is being written
    std::string_view begun;                  ///< what there is of that one
    Client& client;
};

struct Argument {
    const char* name = nullptr;  ///< null: no argument
    const char* help = nullptr;
    bool optional = false;
    bool rest = false;  ///< takes all words that follow
    /// Words that may stand here, for the completion. Null: ports for "port", VLANs for "vlan" and
    /// "vlans", files for "file", and the words of a help like "up|down".
    std::vector<Candidate> (*words)(const Typed& typed) = nullptr;
};

struct Option {
    const char* name = nullptr;  ///< "--since"; null: no option
    /// What follows it, for the help: "SEQ"; null: nothing. The completion offers ports for PORT,
    /// VLANs for VLANS, files for FILE and PATH, and else the words of a help like "up|down".
    const char* value = nullptr;
    const char* help = nullptr;
    bool required = false;
};

inline constexpr std::size_t kMaxOptions = 6;

struct Command {
    const char* path;  ///< words that call it, separated by blanks
    const char* help;
    std::array<Argument, 4> arguments;
    void (*run)(const Context& context);
    std::string (*details)() = nullptr;  ///< more help, in lines; null: none
    std::array<Option, kMaxOptions> options = {};
};

/// The tables, one for each subject.
extern const std::span<const Command> kStatusCommands;
extern const std::span<const Command> kShowCommands;
extern const std::span<const Command> kExplainCommands;
extern const std::span<const Command> kWatchCommands;
extern const std::span<const Command> kLogCommands;
extern const std::span<const Command> kFrameCommands;
extern const std::span<const Command> kSetCommands;
extern const std::span<const Command> kConfigCommands;
extern const std::span<const Command> kSwitchCommands;
extern const std::span<const Command> kStaticCommands;
extern const std::span<const Command> kSnapshotCommands;
extern const std::span<const Command> kSupportCommands;
extern const std::span<const Command> kStandbyCommands;
extern const std::span<const Command> kDebugCommands;
extern const std::span<const Command> kDoctorCommands;
extern const std::span<const Command> kRepairCommands;
extern const std::span<const Command> kHelpCommands;

/// Help for the words that stand before others: {"set", "change settings of the protocol"}.
struct Group {
    const char* path;
    const char* help;
};

/// Options that stand before or after any command, or without one.
extern const std::span<const Option> kGlobalOptions;

/// All tables in the order of the help, and the groups.
std::span<const std::span<const Command>> allCommands();
std::span<const Group> allGroups();

}  // namespace cli
