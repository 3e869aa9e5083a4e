// SPDX-License-Identifier: MIT
#include "cli/print/table.h"

#include <algorithm>

namespace cli {

namespace {

constexpr const char* kColumnGap = "  ";

std::string padded(const std::string& text, std::size_t width, bool right) {
    const std::string blanks(width > text.size() ? width - text.size() : 0, ' ');
    return right ? blanks + text : text + blanks;
}

}  // namespace

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

std::string Table::print(const Style& style) const {
    std::vector<std::size_t> widths;
    std::vector<bool> right;
    std::vector<Cell> titles;
    for (const std::string& heading : headings_) {
        right.push_back(heading.starts_with('>'));
        titles.emplace_back(heading.substr(right.back() ? 1 : 0), Colour::Strong);
        widths.push_back(titles.back().text.size());
    }
    for (const auto& row : rows_)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].text.size());
    std::string text;
    const auto addRow = [&](const std::vector<Cell>& row) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool last = i + 1 == row.size();
            text += style.paint(row[i].colour, padded(row[i].text, widths[i], right[i]));
            text += last ? "" : kColumnGap;
        }
        text.resize(text.find_last_not_of(' ') + 1);
        text += "\n";
    };
    addRow(titles);
    for (const auto& row : rows_)
        addRow(row);
    return text;
}

std::string wrapList(const std::string& text, std::size_t indent, std::size_t width) {
    constexpr std::size_t kLeast = 16;
    if (width == 0 || indent + text.size() <= width)
        return text;
    const std::size_t room = std::max(width > indent ? width - indent : 0, kLeast);
    std::string wrapped;
    std::size_t start = 0;
    while (text.size() - start > room) {
        const std::size_t mark = text.find_last_of(", ", start + room - 1);
        if (mark == std::string::npos || mark < start)
            break;
        wrapped += text.substr(start, mark + 1 - start) + "\n" + std::string(indent, ' ');
        start = mark + 1;
    }
    return wrapped + text.substr(start);
}

std::string Sheet::print(const Style& style) const {
    std::size_t width = 0;
    for (const auto& line : lines_)
        width = std::max(width, line.first.size());
    std::string text;
    for (const auto& [title, cell] : lines_) {
        text += padded(title, width, false) + kColumnGap +
                style.paint(cell.colour, wrapList(cell.text, width + 2, style.width)) + "\n";
    }
    return text;
}

}  // namespace cli
