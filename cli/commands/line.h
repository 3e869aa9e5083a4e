// SPDX-License-Identifier: MIT
//
// What a command line says, and what those who run many of them are given.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "cli/commands/commands.h"

namespace cli {

/// What a command line says.
struct Line {
    std::string socket = defaultSocketPath();
    Format format = Format::Table;
    u32 patience = 20;       ///< seconds that a daemon may leave a request unanswered
    std::string batch = {};  ///< file with lines, "-" for the standard input; empty: none
    bool atomic = false;
    bool all = false;                  ///< every daemon of this machine
    std::string netns = {};            ///< network namespace to run in; empty: this one
    const Command* command = nullptr;  ///< null: a shell or a batch
    std::vector<std::string> arguments = {};
    std::map<std::string, std::string> options = {};  ///< by name without dashes
};

/// What came of words.
struct Reading {
    enum class Outcome { Line, Printed, Mistake };
    Outcome outcome = Outcome::Line;
    std::string text = {};   ///< what is to be printed, or what is wrong, in one line
    std::string usage = {};  ///< of a mistake: how it is written
};

/// What the program gives to those who run lines.
struct Program {
    /// Reads the words behind the program's name into a line.
    std::function<Reading(const std::vector<std::string>& words, Line& line)> read;
    /// Runs a line's command with a client that it may use. @return the exit status
    /// Errors: as the command's: RefusedError, UsageError, ConnectionError.
    std::function<int(const Line& line, Client& client)> run;
};

}  // namespace cli
