// SPDX-License-Identifier: MIT
//
// The only file that knows TOML.
#include "platform/config/config_tree.h"

#include <toml++/toml.h>

#include <algorithm>
#include <sstream>

#include "platform/config/ascii_document.h"

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

}  // namespace

std::optional<ConfigValue> parseConfigTree(std::string_view document, ConfigProblem& problem) {
    std::string ascii(document);
    if (const auto foreign = makeAsciiDocument(ascii)) {
        problem = *foreign;
        return std::nullopt;
    }
    try {
        return convert(toml::parse(ascii));
    } catch (const toml::parse_error& error) {
        problem = {placeOf(error.source()), std::string(error.description())};
        return std::nullopt;
    }
}

}  // namespace platform
