// SPDX-License-Identifier: MIT
#include "cli/print/formats.h"

#include <algorithm>

#include "cli/print/json_document.h"

namespace cli {

namespace {

constexpr std::string_view kShortOption = "-o";
constexpr std::string_view kLongOption = "--output";

/// The document, or "discarded" when it is none.
Json parsed(const std::string& text) {
    return Json::parse(text, nullptr, false);
}

std::string jsonText(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::optional<Format> formatOf(std::string_view name) {
    const auto found = std::ranges::find(kFormatNames, name);
    if (found == kFormatNames.end())
        return std::nullopt;
    return static_cast<Format>(found - kFormatNames.begin());
}

Format formatAskedFor(std::span<const std::string> words) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view word = words[i];
        if (word == "-j" || word == "--json")
            return Format::Json;
        std::string_view name;
        if ((word == kShortOption || word == kLongOption) && i + 1 < words.size())
            name = words[i + 1];
        else if (word.starts_with(kLongOption) && word.substr(kLongOption.size()).starts_with('='))
            name = word.substr(kLongOption.size() + 1);
        if (const auto format = formatOf(name))
            return *format;
    }
    return Format::Table;
}

std::string inFormat(Format format, const std::string& text) {
    if (format == Format::Yaml)
        return yamlOf(text);
    return format == Format::Csv ? csvOf(text) : text;
}

// YAML -------------------------------------------------------------------------------------------

namespace {

/// Whether a text may stand in YAML without quotes. Much more may: what begins with a letter and
/// is no word that some reader takes for a truth is enough for the rest to be readable.
bool isPlain(std::string_view text) {
    constexpr std::array<std::string_view, 9> kNoTexts = {"true", "false", "null", "yes", "no",
                                                          "on",   "off",   "y",    "n"};
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    const auto letter = [&lower](char c) { return lower(c) >= 'a' && lower(c) <= 'z'; };
    const auto fits = [&letter](char c) {
        return letter(c) || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' || c == '/';
    };
    const auto is = [&](std::string_view word) {
        return std::ranges::equal(text, word, {}, lower);
    };
    return !text.empty() && letter(text.front()) && std::ranges::all_of(text, fits) &&
           std::ranges::none_of(kNoTexts, is);
}

/// A quoted text of JSON is one of YAML, too.
std::string yamlScalar(const Json& value) {
    if (value.is_string() && isPlain(value.get_ref<const std::string&>()))
        return value.get<std::string>();
    return jsonText(value);
}

void addYaml(const Json& value, std::size_t indent, std::string& text);

/// What stands behind a key or a dash: on the same line if it is one word.
void addYamlMember(const Json& value, std::size_t indent, std::string& text) {
    if (!value.is_structured() || value.empty()) {
        text += " " + yamlScalar(value) + "\n";
        return;
    }
    text += "\n";
    addYaml(value, indent, text);
}

void addYaml(const Json& value, std::size_t indent, std::string& text) {
    const std::string blanks(indent, ' ');
    if (value.is_object()) {
        for (const auto& [key, member] : value.items()) {
            text += blanks + yamlScalar(key) + ":";
            addYamlMember(member, indent + 2, text);
        }
        return;
    }
    for (const Json& element : value) {
        std::string entry;
        addYamlMember(element, indent + 2, entry);
        // The first member of an entry stands behind its dash.
        const bool several = entry.starts_with('\n');
        text += blanks + "-" + (several ? entry.substr(indent + 2) : entry);
    }
}

}  // namespace

std::string yamlOf(const std::string& json) {
    const Json document = parsed(json);
    if (!document.is_object())
        return json;
    std::string text = "---\n";
    addYaml(document, 0, text);
    return text;
}

// CSV --------------------------------------------------------------------------------------------

namespace {

using Row = std::vector<std::pair<std::string, std::string>>;  ///< column and text

std::string csvScalar(const Json& value) {
    if (value.is_null())
        return {};
    return value.is_string() ? value.get<std::string>() : jsonText(value);
}

std::string csvList(const Json& list) {
    const bool plain =
        std::ranges::none_of(list, [](const Json& element) { return element.is_structured(); });
    if (!plain)
        return jsonText(list);
    std::string text;
    for (const Json& element : list)
        text += (text.empty() ? "" : " ") + csvScalar(element);
    return text;
}

void addCells(const std::string& name, const Json& value, Row& row) {
    if (value.is_object()) {
        const std::string prefix = name.empty() ? "" : name + ".";
        for (const auto& [key, member] : value.items()) {
            std::string path = prefix;
            addCells(path.append(key), member, row);
        }
        return;
    }
    row.emplace_back(name, value.is_array() ? csvList(value) : csvScalar(value));
}

/// The member whose elements are the rows; end() when the answer as a whole is one.
Json::const_iterator tableOf(const Json& document) {
    auto found = document.end();
    for (auto member = document.begin(); member != document.end(); ++member) {
        if (member->is_object() || (member->is_array() && found != document.end()))
            return document.end();
        if (member->is_array())
            found = member;
    }
    // Texts are a list of an answer only if it has nothing else: otherwise they are a value.
    const bool ofTexts = found != document.end() && !found->empty() && !found->front().is_object();
    return ofTexts && document.size() > 2 ? document.end() : found;
}

/// The answer's own values before those of an entry, which keep their names.
Row inFront(const Row& answer, const Row& entry) {
    Row row = answer;
    for (auto& [name, text] : row)
        if (std::ranges::find(entry, name, &Row::value_type::first) != entry.end())
            name.insert(0, "answer.");
    row.insert(row.end(), entry.begin(), entry.end());
    return row;
}

std::vector<Row> rowsOf(const Json& document) {
    const auto table = tableOf(document);
    Row first;
    for (auto member = document.begin(); member != document.end(); ++member)
        if (member != table && member.key() != "version")
            addCells(member.key(), *member, first);
    if (table == document.end())
        return {first};
    std::vector<Row> rows;
    for (const Json& element : *table) {
        Row entry;
        addCells(element.is_object() ? "" : table.key(), element, entry);
        rows.push_back(inFront(first, entry));
    }
    return rows;
}

/// All columns in the order in which they come first. A member that is missing as a whole in one
/// row and has members in another needs no column of its own.
std::vector<std::string> columnsOf(const std::vector<Row>& rows) {
    std::vector<std::string> columns;
    for (const Row& row : rows)
        for (const auto& cell : row)
            if (std::ranges::find(columns, cell.first) == columns.end())
                columns.push_back(cell.first);
    const std::vector<std::string> all = columns;
    std::erase_if(columns, [&all](const std::string& name) {
        return std::ranges::any_of(
            all, [&name](const std::string& other) { return other.starts_with(name + "."); });
    });
    return columns;
}

/// As RFC 4180 has it, but for the line's end.
std::string quotedForCsv(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

template <typename TextOf>
std::string csvLine(const std::vector<std::string>& columns, TextOf textOf) {
    std::string line;
    for (const std::string& column : columns)
        line += (&column == &columns.front() ? "" : ",") + quotedForCsv(textOf(column));
    return line + "\n";
}

}  // namespace

std::string csvOf(const std::string& json) {
    const Json document = parsed(json);
    if (!document.is_object())
        return json;
    const std::vector<Row> rows = rowsOf(document);
    const std::vector<std::string> columns = columnsOf(rows);
    if (columns.empty())
        return {};
    std::string text = csvLine(columns, [](const std::string& column) { return column; });
    for (const Row& row : rows)
        text += csvLine(columns, [&row](const std::string& column) {
            const auto cell = std::ranges::find(row, column, &Row::value_type::first);
            return cell == row.end() ? std::string() : cell->second;
        });
    return text;
}

}  // namespace cli
