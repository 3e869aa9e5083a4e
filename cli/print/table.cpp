// SPDX-License-Identifier: MIT
#include "cli/print/table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <span>

namespace cli {

namespace {

constexpr std::size_t kColumnGap = 2;

std::string padded(const std::string& text, std::size_t width, bool right) {
    const std::string blanks(width > text.size() ? width - text.size() : 0, ' ');
    return right ? blanks + text : text + blanks;
}

}  // namespace

Style styleOfOutput() {
    if (isatty(STDOUT_FILENO) != 1)
        return {};
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    const char* noColour = std::getenv("NO_COLOR");
    return {noColour == nullptr || *noColour == '\0', known ? size.ws_col : 0U};
}

std::string Style::paint(Colour colour_, const std::string& text) const {
    const char* code = nullptr;
    switch (colour_) {
        case Colour::Plain:
            break;
        case Colour::Good:
            code = "32";
            break;
        case Colour::Bad:
            code = "31";
            break;
        case Colour::Warn:
            code = "33";
            break;
        case Colour::Dim:
            code = "2";
            break;
        case Colour::Strong:
            code = "1";
            break;
    }
    if (!colour || code == nullptr)
        return text;
    return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}

namespace {

/// A list or a sentence in lines of at most `room` columns, but for words that are longer; it is
/// broken after a comma or a blank.
std::vector<std::string> broken(const std::string& text, std::size_t room) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (text.size() - start > room) {
        std::size_t mark = text.find_last_of(", ", start + room - 1);
        if (mark == std::string::npos || mark < start)
            mark = text.find_first_of(", ", start + room);
        if (mark == std::string::npos)
            break;
        lines.push_back(text.substr(start, mark + 1 - start));
        start = mark + 1;
    }
    lines.push_back(text.substr(start));
    return lines;
}

/// Columns of the longest part of a text that is not broken.
std::size_t longestPart(const std::string& text) {
    std::size_t longest = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find_first_of(", ", start), text.size() - 1) + 1;
        const bool blank = text[end - 1] == ' ';
        longest = std::max(longest, end - start - (blank ? 1 : 0));
        start = end;
    }
    return longest;
}

using Cells = std::vector<Cell>;

/// How wide the columns of a table are, and how far apart.
struct Layout {
    std::vector<std::size_t> widths;
    std::size_t gap = kColumnGap;

    std::size_t total(std::span<const std::size_t> columns) const {
        std::size_t sum = (columns.size() - 1) * gap;
        for (const std::size_t column : columns)
            sum += widths[column];
        return sum;
    }
};

/// A table that is to fit a terminal. Lists are broken in their column first; then columns come
/// nearer to each other; and what still does not fit comes below, behind the first columns again.
class Fitting {
  public:
    Fitting(const std::vector<std::string>& headings, const std::vector<Cells>& rows,
            const Style& style)
        : rows_(rows), style_(style) {
        for (const std::string& heading : headings) {
            right_.push_back(heading.starts_with('>'));
            titles_.emplace_back(heading.substr(right_.back() ? 1 : 0), Colour::Strong);
            least_.push_back(titles_.back().text.size());
            all_.push_back(all_.size());
        }
        layout_.widths = least_;
        for (const Cells& row : rows) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                layout_.widths[i] = std::max(layout_.widths[i], row[i].text.size());
                least_[i] =
                    std::max(least_[i], right_[i] ? layout_.widths[i] : longestPart(row[i].text));
            }
        }
    }

    std::string print() {
        shrink();
        if (!fits(all_))
            layout_.gap = 1;
        std::string text;
        for (const std::vector<std::size_t>& part : parts()) {
            text += text.empty() ? "" : "\n";
            addRow(titles_, part, text);
            for (const Cells& row : rows_)
                addRow(row, part, text);
        }
        return text;
    }

  private:
    bool fits(std::span<const std::size_t> columns) const {
        return style_.width == 0 || layout_.total(columns) <= style_.width;
    }

    /// Takes from the widest column that can be broken, as far as it can.
    void shrink() {
        while (!fits(all_)) {
            std::size_t widest = all_.size();
            for (const std::size_t i : all_)
                if (layout_.widths[i] > least_[i] &&
                    (widest == all_.size() || layout_.widths[i] > layout_.widths[widest]))
                    widest = i;
            if (widest == all_.size())
                return;
            --layout_.widths[widest];
        }
    }

    /// The columns of each part: the first ones, which name what the row is about, and some more.
    std::vector<std::vector<std::size_t>> parts() const {
        if (fits(all_))
            return {all_};
        std::size_t keys = 1;
        while (keys < all_.size() && right_[keys - 1])
            ++keys;
        const std::vector<std::size_t> front(all_.begin(),
                                             all_.begin() + static_cast<std::ptrdiff_t>(keys));
        std::vector<std::vector<std::size_t>> parts = {front};
        for (std::size_t i = keys; i < all_.size(); ++i) {
            parts.back().push_back(i);
            if (parts.back().size() > keys + 1 && !fits(parts.back())) {
                parts.back().pop_back();
                parts.push_back(front);
                parts.back().push_back(i);
            }
        }
        return parts;
    }

    void addRow(const Cells& row, const std::vector<std::size_t>& columns,
                std::string& text) const {
        std::vector<std::vector<std::string>> cells;
        std::size_t height = 1;
        for (const std::size_t i : columns) {
            cells.push_back(i < row.size() ? broken(row[i].text, layout_.widths[i])
                                           : std::vector<std::string>{""});
            height = std::max(height, cells.back().size());
        }
        for (std::size_t line = 0; line < height; ++line) {
            for (std::size_t at = 0; at < columns.size(); ++at) {
                const std::size_t i = columns[at];
                const std::string part = line < cells[at].size() ? cells[at][line] : "";
                text += std::string(at == 0 ? 0 : layout_.gap, ' ');
                text += style_.paint(i < row.size() ? row[i].colour : Colour::Plain,
                                     padded(part, layout_.widths[i], right_[i]));
            }
            text.resize(text.find_last_not_of(' ') + 1);
            text += "\n";
        }
    }

    const std::vector<Cells>& rows_;
    const Style& style_;
    Cells titles_;
    std::vector<bool> right_;
    std::vector<std::size_t> least_;  ///< widths below which nothing can be broken
    std::vector<std::size_t> all_;    ///< indexes of the columns
    Layout layout_;
};

}  // namespace

std::string Table::print(const Style& style) const {
    return Fitting(headings_, rows_, style).print();
}

std::string wrapList(const std::string& text, std::size_t indent, std::size_t width) {
    constexpr std::size_t kLeast = 16;
    if (width == 0)
        return text;
    const std::size_t room = std::max(width > indent ? width - indent : 0, kLeast);
    std::string wrapped;
    for (const std::string& line : broken(text, room))
        wrapped += (wrapped.empty() ? "" : "\n" + std::string(indent, ' ')) + line;
    return wrapped;
}

std::string Sheet::print(const Style& style) const {
    std::size_t width = 0;
    for (const auto& line : lines_)
        width = std::max(width, line.first.size());
    std::string text;
    for (const auto& [title, cell] : lines_) {
        text += padded(title, width, false) + std::string(kColumnGap, ' ') +
                style.paint(cell.colour, wrapList(cell.text, width + kColumnGap, style.width)) +
                "\n";
    }
    return text;
}

}  // namespace cli
