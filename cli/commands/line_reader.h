// SPDX-License-Identifier: MIT
//
// The words of a command line, read with the tables of commands: which of them call a command,
// which are its arguments, and what an abbreviation stands for. The command line, the completion
// and the shell read by the same rules.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/commands/commands.h"

namespace cli {

/// The word with which a person asks for help about the words behind it.
inline constexpr const char* kHelpWord = "help";

/// Words that may follow those of `path` ("" or "switch port") on the way to a command, in the
/// order of the help.
std::vector<Candidate> wordsAfter(const std::string& path);

std::vector<std::string> namesOf(const std::vector<Candidate>& candidates);

/// The command that these words call; null when they call none.
const Command* findCommand(const std::string& path);

/// Whether a command may be called with so many arguments.
bool takesArguments(const Command& command, std::size_t count);

/// Whether an option is written with this name: "-j" is one of "-j,--json".
bool isCalled(const Option& option, std::string_view name);

/// Reads a line word by word, from the left.
///
/// A word that begins one command only stands for it. Where two begin alike and one is the other
/// with more behind (port, ports), the number of arguments that follow decides; otherwise the line
/// has a problem. Behind an option that takes a value comes the value.
class LineReader {
  public:
    /// Takes the first of these words; the others are looked at only to tell abbreviations apart.
    void take(std::span<const std::string> rest);

    /// The words that were taken, those of commands written out.
    const std::vector<std::string>& words() const { return words_; }
    /// The command's words so far: "switch port".
    const std::string& path() const { return path_; }
    const Command* command() const { return findCommand(path_); }
    /// The arguments so far.
    const std::vector<std::string>& arguments() const { return arguments_; }
    /// The option whose value comes next, as it was written; empty: none.
    const std::string& openOption() const { return openOption_; }
    /// The value of an option that was given, by the name it was written with; null: not given.
    const std::string* valueOf(const std::string& option) const;
    /// Whether `help` stood in front: the words are those that help is wanted about.
    bool isHelp() const { return help_; }
    /// What is wrong with the line, for a person; empty: nothing.
    const std::string& problem() const { return problem_; }

  private:
    void takeOption(const std::string& word);
    /// @return false when the word is none of a command
    bool takeCommandWord(std::span<const std::string> rest);
    void enter(const std::string& word);
    std::size_t argumentsIn(std::span<const std::string> rest) const;

    std::vector<std::string> words_;
    std::string path_;
    std::vector<std::string> arguments_;
    std::string openOption_;
    std::vector<std::pair<std::string, std::string>> values_;
    std::string problem_;
    bool help_ = false;
};

/// Reads a whole line.
LineReader readLine(std::span<const std::string> words);

}  // namespace cli
