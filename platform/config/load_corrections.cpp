// SPDX-License-Identifier: MIT
//
// [mvrp] corrections.
#include <algorithm>

#include "platform/config/load_sections.h"
#include "platform/model/nearest_word.h"

namespace platform {
namespace {

constexpr const char* kKey = "corrections";

std::string allowed() {
    return "\"all\", \"none\", or a list of " + joinedWords(kCorrectionNames);
}

/// Adds the correction that an item of the list names. @return false when it names none
bool addNamed(ConfigReader& table, const ConfigValue& item, CorrectionSet& set) {
    const auto which =
        item.kind == ConfigKind::Text ? correctionOfName(item.text) : std::optional<Correction>();
    if (which) {
        set.add(*which);
        return true;
    }
    const std::string_view like = nearestWord(item.text, kCorrectionNames);
    const std::string hint = like.empty() ? "" : "; did you mean \"" + std::string(like) + "\"?";
    table.problemAt(item.place, table.where() + " " + kKey + " names " + describe(item) + hint +
                                    (like.empty() ? "; allowed: " : " Allowed: ") + allowed());
    return false;
}

std::optional<CorrectionSet> named(ConfigReader& table, const std::vector<ConfigValue>& items) {
    CorrectionSet set;
    bool good = true;
    for (const ConfigValue& item : items)
        good = addNamed(table, item, set) && good;
    return good ? std::optional(set) : std::nullopt;
}

}  // namespace

std::optional<CorrectionSet> loadCorrections(ConfigReader& table) {
    const ConfigValue* value = table.find(kKey);
    if (value == nullptr)
        return std::nullopt;
    if (value->kind == ConfigKind::Array)
        return named(table, value->items);
    if (value->kind == ConfigKind::Text && value->text == "all")
        return CorrectionSet::all();
    if (value->kind == ConfigKind::Text && value->text == "none")
        return CorrectionSet{};
    table.refuse(kKey, allowed());
    return std::nullopt;
}

}  // namespace platform
