// SPDX-License-Identifier: MIT
//
// A line editor at the terminal: the keys of libedit, a history that is kept in a file, completion
// with TAB, and what may follow with `?`.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/help/help.h"
#include "cli/print/table.h"

namespace cli {

/// What the editor asks while a line is being written.
struct EditorHelp {
    /// Candidates for the last of the words, which may be empty.
    std::function<std::vector<Candidate>(const std::vector<std::string>& words)> complete;
    /// All that may stand in its place, with what it means.
    std::function<std::vector<Candidate>(const std::vector<std::string>& words)> describe;
};

class Editor {
  public:
    /// @param historyFile  empty: the history is not kept
    Editor(EditorHelp help, std::string historyFile, Style style);
    ~Editor();
    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;
    Editor(Editor&&) = delete;
    Editor& operator=(Editor&&) = delete;

    /// Reads a line, without its end; empty when Ctrl-C gave it up. Nothing at the end (Ctrl-D).
    std::optional<std::string> readLine(const std::string& prompt);

  private:
    class Terminal;
    std::unique_ptr<Terminal> terminal_;
};

/// Candidates as lines "word  what it means", wrapped at the width; 0: not.
std::string candidatesText(const std::vector<Candidate>& candidates, const Style& style);

}  // namespace cli
