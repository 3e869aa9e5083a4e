// SPDX-License-Identifier: MIT
//
// The commands of mvrpctl: one table of name, arguments, help and function. The command line, its
// help and the completion are made from it.
#pragma once

#include <array>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/client.h"
#include "cli/names.h"
#include "cli/queries.h"
#include "cli/table.h"

namespace cli {

/// The person at the keyboard wrote something that is not allowed. The text says what is.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What a command function works with. Arguments are counted from 0, as the table lists them.
class Context {
  public:
    Context(Client& client_, std::vector<std::string> arguments, bool json_, Style style_)
        : client(client_), json(json_), style(style_), arguments_(std::move(arguments)) {}

    std::size_t count() const { return arguments_.size(); }
    const std::string& text(std::size_t index) const { return arguments_.at(index); }

    /// The argument as a port of the switch, given by unit or name.
    platform::SwitchPortRecord port(std::size_t index) const;
    platform::VlanBitmap vlans(std::size_t index) const;
    u32 vlan(std::size_t index) const;
    u32 number(std::size_t index, u32 lowest, u32 highest) const;
    u32 choice(std::size_t index, Names names) const;

    void print(const std::string& text) const;
    /// Ends a change: says so in JSON, nothing in text; throws RefusedError for a status other than
    /// 0.
    void finish(u32 status, const std::string& refusal = {}) const;

    Client& client;
    bool json;
    Style style;

  private:
    std::vector<std::string> arguments_;
};

/// What a command that does without a connection works with.
struct Alone {
    std::string socket;  ///< path of the command socket, which may not be served
    std::vector<std::string> arguments;
    bool json;
    Style style;
};

struct Argument {
    const char* name = nullptr;  ///< null: no argument
    const char* help = nullptr;
    bool optional = false;
    bool rest = false;  ///< takes all words that follow
};

struct Command {
    const char* path;  ///< words that call it, separated by blanks
    const char* help;
    std::array<Argument, 4> arguments;
    void (*run)(const Context& context);
    std::string (*details)() = nullptr;  ///< more help, in lines; null: none
    /// In place of `run`, for a command that connects by itself, or not at all.
    /// @return the exit status
    int (*runAlone)(const Alone& alone) = nullptr;
};

/// The tables, one for each first word.
extern const std::span<const Command> kShowCommands;
extern const std::span<const Command> kSetCommands;
extern const std::span<const Command> kSwitchCommands;
extern const std::span<const Command> kStandbyCommands;
extern const std::span<const Command> kDebugCommands;
extern const std::span<const Command> kDoctorCommands;

}  // namespace cli
