// SPDX-License-Identifier: MIT
#include "platform/config/reload/setting_names.h"

#include <algorithm>
#include <array>
#include <utility>

namespace platform {
namespace {

/// The keys that say what a table of an array is about.
constexpr std::array<std::string_view, 3> kIdentities = {"unit", "name", "ids"};

struct Named {
    ConfigPlace place;
    std::string name;
};

std::string identityOf(const ConfigValue& table) {
    for (const std::string_view key : kIdentities) {
        const auto found = std::ranges::find(table.entries, key, &ConfigEntry::key);
        if (found != table.entries.end())
            return " " + (found->value.kind == ConfigKind::Integer
                              ? std::to_string(found->value.integer)
                              : found->value.text);
    }
    return {};
}

/// @param path   of the table, with dots
/// @param title  of the table, as a file writes it
void collect(const ConfigValue& table, const std::string& path, const std::string& title,
             std::vector<Named>& names) {
    for (const ConfigEntry& entry : table.entries) {
        const std::string inner = (path.empty() ? "" : path + ".") + entry.key;
        const ConfigValue& value = entry.value;
        const bool isTables = value.kind == ConfigKind::Array && !value.items.empty() &&
                              value.items.front().kind == ConfigKind::Table;
        if (value.kind == ConfigKind::Table) {
            names.push_back({value.place, "[" + inner + "]"});
            collect(value, inner, "[" + inner + "]", names);
        } else if (isTables) {
            for (const ConfigValue& item : value.items) {
                const std::string each = "[[" + inner + "]]" + identityOf(item);
                names.push_back({item.place, each});
                collect(item, inner, each, names);
            }
        } else {
            names.push_back({entry.place, (title.empty() ? "" : title + " ") + entry.key});
        }
    }
}

}  // namespace

std::vector<std::string> settingNames(const ConfigValue& tree) {
    std::vector<Named> found;
    collect(tree, {}, {}, found);
    std::ranges::stable_sort(found, [](const Named& a, const Named& b) {
        return std::pair(a.place.line, a.place.column) < std::pair(b.place.line, b.place.column);
    });
    std::vector<std::string> names;
    names.reserve(found.size());
    for (Named& each : found)
        names.push_back(std::move(each.name));
    return names;
}

}  // namespace platform
