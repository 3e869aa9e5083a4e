// SPDX-License-Identifier: MIT
//
// The command line: read with what the table of commands says, and nothing else.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/commands/line.h"

namespace cli {

/// What options without a command are.
enum class Alone {
    Mistake,
    Shell,  ///< somebody sits at a terminal
};

class CommandLine {
  public:
    explicit CommandLine(Alone alone);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;
    CommandLine(CommandLine&&) = delete;
    CommandLine& operator=(CommandLine&&) = delete;

    /// Reads the words behind the program's name into `line`; once for each object.
    Reading parse(const std::vector<std::string>& words, Line& line);

  private:
    class Parser;
    std::unique_ptr<Parser> parser_;
};

}  // namespace cli
