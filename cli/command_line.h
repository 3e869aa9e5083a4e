// SPDX-License-Identifier: MIT
//
// The command line: read with what the table of commands says, and nothing else.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands/commands.h"

namespace cli {

/// What a command line says.
struct Line {
    std::string socket = defaultSocketPath();
    Format format = Format::Table;
    u32 patience = 20;  ///< seconds that a daemon may leave a request unanswered
    const Command* command = nullptr;
    std::vector<std::string> arguments;
    std::map<std::string, std::string> options;  ///< by name without dashes
};

class CommandLine {
  public:
    CommandLine();
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;
    CommandLine(CommandLine&&) = delete;
    CommandLine& operator=(CommandLine&&) = delete;

    /// Reads the words behind the program's name into `line`; once for each object.
    /// @return false when the program is to end with `exitStatus`: help was printed, or what is
    /// wrong
    bool parse(const std::vector<std::string>& words, Line& line, int& exitStatus);

  private:
    class Parser;
    std::unique_ptr<Parser> parser_;
};

}  // namespace cli
