// SPDX-License-Identifier: MIT
//
// The only file that knows TOML.
#include "platform/config/config_tree.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "platform/config/ascii_document.h"

namespace platform {
namespace {

/// The parser's version 3.3 takes for granted what some wrong documents break, among them a '[' at
/// the end of a line: it asserts it, and without assertions goes on into undefined behaviour.
struct ParserFault : std::logic_error {
    using std::logic_error::logic_error;
};

/// Not inlined: some of the parser's functions are noexcept, which compilers would warn of.
[[noreturn, gnu::noinline]] void parserFault(const char* condition) {
    throw ParserFault(condition);
}

}  // namespace
}  // namespace platform

#undef NDEBUG
#define TOML_ASSERT(condition) \
    (static_cast<bool>(condition) ? void() : platform::parserFault(#condition))
#include <toml++/toml.h>

namespace platform {
namespace {

ConfigPlace placeOf(const toml::source_region& region) {
    return {region.begin.line, region.begin.column};
}

ConfigValue convert(const toml::node& node);

void convertTable(const toml::table& table, ConfigValue& value) {
    value.kind = ConfigKind::Table;
    for (const auto& [key, child] : table)
        value.entries.push_back({std::string(key.str()), placeOf(key.source()), convert(child)});
    std::ranges::sort(value.entries, [](const ConfigEntry& a, const ConfigEntry& b) {
        return a.place.line != b.place.line ? a.place.line < b.place.line
                                            : a.place.column < b.place.column;
    });
}

void convertArray(const toml::array& array, ConfigValue& value) {
    value.kind = ConfigKind::Array;
    for (const auto& child : array)
        value.items.push_back(convert(child));
}

/// Depth is bounded by the parser, which refuses deep nesting.
ConfigValue convert(const toml::node& node) {
    ConfigValue value;
    value.place = placeOf(node.source());
    if (const auto* table = node.as_table()) {
        convertTable(*table, value);
    } else if (const auto* array = node.as_array()) {
        convertArray(*array, value);
    } else if (const auto* text = node.as_string()) {
        value.kind = ConfigKind::Text;
        value.text = text->get();
    } else if (const auto* integer = node.as_integer()) {
        value.kind = ConfigKind::Integer;
        value.integer = integer->get();
    } else if (const auto* boolean = node.as_boolean()) {
        value.kind = ConfigKind::Boolean;
        value.boolean = boolean->get();
    } else {
        value.kind = ConfigKind::Other;
        std::ostringstream written;
        node.visit([&written](const auto& any) { written << any; });
        value.text = written.str();
    }
    return value;
}

bool parserFails(std::string_view document) {
    try {
        (void)toml::parse(document);
    } catch (const toml::parse_error&) {
        return false;
    } catch (const ParserFault&) {
        return true;
    }
    return false;
}

/// The line at which the parser fails, as it does not say: the end of the shortest run of lines
/// that it fails for. It reads from the front, so it fails for every longer run, too; halving keeps
/// a long document from being read once for each of its lines.
ConfigPlace placeOfFault(std::string_view document) {
    std::vector<std::size_t> ends;
    for (std::size_t end = 0; end < document.size();) {
        end = std::min(document.find('\n', end), document.size() - 1) + 1;
        ends.push_back(end);
    }
    const auto fault = std::partition_point(ends.begin(), ends.end(), [document](std::size_t end) {
        return !parserFails(document.substr(0, end));
    });
    const std::size_t line = static_cast<std::size_t>(fault - ends.begin()) + 1;
    return {static_cast<u32>(std::min(line, ends.size())), 1};
}

void setFile(ConfigValue& value, u32 file) {
    value.place.file = file;
    for (ConfigEntry& entry : value.entries) {
        entry.place.file = file;
        setFile(entry.value, file);
    }
    for (ConfigValue& item : value.items)
        setFile(item, file);
}

}  // namespace

std::optional<ConfigValue> parseConfigTree(std::string_view document, ConfigProblem& problem,
                                           u32 file) {
    std::string ascii(document);
    if (const auto foreign = makeAsciiDocument(ascii)) {
        problem = *foreign;
        return std::nullopt;
    }
    try {
        ConfigValue tree = convert(toml::parse(ascii));
        setFile(tree, file);
        return tree;
    } catch (const toml::parse_error& error) {
        problem = {placeOf(error.source()), std::string(error.description())};
        return std::nullopt;
    } catch (const ParserFault&) {
        problem = {placeOfFault(ascii),
                   "this is not TOML; allowed are [table], [[table]], "
                   "key = value and # comments, each on a line of its own"};
        return std::nullopt;
    }
}

}  // namespace platform
