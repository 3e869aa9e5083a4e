// SPDX-License-Identifier: MIT
#include "cli/config/toml_text.h"

#include <algorithm>

namespace cli {

namespace {

bool isComment(const std::string& line) {
    const std::size_t first = line.find_first_not_of(" \t\r\n");
    return first == std::string::npos || line[first] == '#';
}

}  // namespace

std::string tomlQuoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

std::string tomlBoolean(bool value) {
    return value ? "true" : "false";
}

std::string tomlLine(const std::string& key, const std::string& value) {
    return key + " = " + value + "\n";
}

std::vector<std::string> linesWithEnds(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return lines;
}

std::string tableOf(const std::string& line) {
    const std::size_t open = line.find_first_not_of(" \t");
    if (open == std::string::npos || line[open] != '[')
        return {};
    const std::size_t begin = line.find_first_not_of("[ \t", open);
    const std::size_t end = line.find_first_of(".] \t", begin);
    return begin == std::string::npos || end == std::string::npos ? std::string()
                                                                  : line.substr(begin, end - begin);
}

std::string TomlBlock::comments() const {
    std::string before;
    for (const std::string& line : linesWithEnds(text)) {
        if (!tableOf(line).empty())
            return before;
        before += line;
    }
    return {};
}

std::vector<TomlBlock> tomlBlocks(const std::string& document) {
    std::vector<TomlBlock> blocks(1);
    std::string waiting;  // of whatever comes after them
    for (const std::string& line : linesWithEnds(document)) {
        if (isComment(line)) {
            waiting += line;
            continue;
        }
        if (const std::string table = tableOf(line); !table.empty())
            blocks.push_back({table, {}});
        blocks.back().text += waiting + line;
        waiting.clear();
    }
    blocks.back().text += waiting;
    return blocks;
}

namespace {

/// The header of a block that there is one of in a document: "[switch]"; empty for others.
std::string singleHeader(const TomlBlock& block) {
    for (const std::string& line : linesWithEnds(block.text)) {
        const std::size_t open = line.find_first_not_of(" \t");
        if (tableOf(line).empty())
            continue;
        return line.substr(open, 2) == "[[" ? std::string()
                                            : line.substr(open, line.find(']', open) - open + 1);
    }
    return {};
}

/// A block's text without its header.
std::string withoutHeader(const TomlBlock& block) {
    std::string text;
    bool found = false;
    for (const std::string& line : linesWithEnds(block.text)) {
        if (found || tableOf(line).empty())
            text += line;
        else
            found = true;
    }
    return text;
}

}  // namespace

std::string joinDocuments(const std::vector<std::string>& documents) {
    std::vector<TomlBlock> all;
    for (const std::string& document : documents)
        for (TomlBlock& block : tomlBlocks(document)) {
            const std::string header = singleHeader(block);
            const auto same =
                header.empty() ? all.end() : std::ranges::find(all, header, singleHeader);
            if (!block.text.empty() && !block.text.ends_with('\n'))
                block.text += '\n';
            if (same == all.end())
                all.push_back(std::move(block));
            else
                same->text += withoutHeader(block);
        }
    std::string text;
    for (const TomlBlock& block : all)
        text += block.text;
    return text;
}

}  // namespace cli
