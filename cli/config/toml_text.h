// SPDX-License-Identifier: MIT
//
// Configuration files as text: written, and taken apart into tables without touching what a person
// wrote in them.
#pragma once

#include <string>
#include <vector>

namespace cli {

/// A text as TOML writes it.
std::string tomlQuoted(const std::string& text);
std::string tomlBoolean(bool value);
/// "key = value" with its line end.
std::string tomlLine(const std::string& key, const std::string& value);

/// The lines of a text with their ends.
std::vector<std::string> linesWithEnds(const std::string& text);
/// The first key of a table's header, "port" of "[[port]]"; empty for any other line.
std::string tableOf(const std::string& line);

/// A table of a file with the comments and blank lines before it; of what comes before the first
/// table, the name is empty.
struct TomlBlock {
    std::string table;
    std::string text;

    /// What comes before the header.
    std::string comments() const;
};

/// All of a document, in order; their texts together are the document.
std::vector<TomlBlock> tomlBlocks(const std::string& document);

/// One document of several: a [table] that is in more than one has the lines of all, and everything
/// else comes in the order of the documents.
std::string joinDocuments(const std::vector<std::string>& documents);

}  // namespace cli
