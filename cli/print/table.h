// SPDX-License-Identifier: MIT
//
// Text for a terminal: columns that line up, and colours where they are wanted.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace cli {

enum class Colour { Plain, Good, Bad, Warn, Dim, Strong };

/// How text may look. Without colour no escape sequence is written; without a width, which is what
/// a file or a pipe has, no line is broken.
struct Style {
    bool colour = false;
    std::size_t width = 0;  ///< columns of the terminal; 0: none

    std::string paint(Colour colour_, const std::string& text) const;
};

/// For the standard output: plain where that is no terminal, and without colour where $NO_COLOR
/// says so.
Style styleOfOutput();

struct Cell {
    std::string text;
    Colour colour = Colour::Plain;

    Cell(std::string text_, Colour colour_ = Colour::Plain)
        : text(std::move(text_)), colour(colour_) {}
    Cell(const char* text_, Colour colour_ = Colour::Plain) : text(text_), colour(colour_) {}
};

/// Rows under a heading. A column whose heading starts with '>' is aligned to the right. No line is
/// longer than the terminal is wide: lists are broken in their column, and columns that find no
/// room come below, behind those that name the row.
class Table {
  public:
    explicit Table(std::vector<std::string> headings) : headings_(std::move(headings)) {}

    void add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }
    bool empty() const { return rows_.empty(); }
    std::string print(const Style& style) const;

  private:
    std::vector<std::string> headings_;
    std::vector<std::vector<Cell>> rows_;
};

/// Breaks a list with commas at `width` columns; the lines after the first begin with `indent`
/// blanks. 0: never.
std::string wrapList(const std::string& text, std::size_t indent, std::size_t width);

/// "Title      text", texts in one column; lists are broken where the terminal ends.
class Sheet {
  public:
    void add(std::string title, Cell text) {
        lines_.emplace_back(std::move(title), std::move(text));
    }
    std::string print(const Style& style) const;

  private:
    std::vector<std::pair<std::string, Cell>> lines_;
};

}  // namespace cli
