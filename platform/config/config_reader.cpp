// SPDX-License-Identifier: MIT
#include "platform/config/config_reader.h"

#include <algorithm>
#include <utility>

#include "platform/model/nearest_word.h"

namespace platform {
namespace {

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

bool isControl(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '\x7f';
}

}  // namespace

std::string joinedWords(std::span<const std::string_view> words) {
    std::string text;
    for (const std::string_view word : words)
        text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

std::string describe(const ConfigValue& value) {
    switch (value.kind) {
        case ConfigKind::Boolean:
            return value.boolean ? "true" : "false";
        case ConfigKind::Integer:
            return std::to_string(value.integer);
        case ConfigKind::Text:
            return quoted(value.text);
        case ConfigKind::Table:
            return "a table";
        case ConfigKind::Array:
            return "an array";
        case ConfigKind::Other:
            break;
    }
    return value.text;
}

ConfigReader::ConfigReader(const ConfigValue& table, std::string where,
                           std::vector<ConfigProblem>& problems)
    : table_(&table), where_(std::move(where)), problems_(&problems) {}

const ConfigEntry* ConfigReader::entry(std::string_view key) {
    if (std::ranges::find(known_, key) == known_.end())
        known_.push_back(key);
    const auto found = std::ranges::find(table_->entries, key, &ConfigEntry::key);
    return found == table_->entries.end() ? nullptr : &*found;
}

const ConfigValue* ConfigReader::find(std::string_view key) {
    const ConfigEntry* found = entry(key);
    return found == nullptr ? nullptr : &found->value;
}

void ConfigReader::problemAt(ConfigPlace place, const std::string& text) {
    problems_->push_back({place, text});
}

void ConfigReader::problem(std::string_view key, const std::string& text) {
    const ConfigEntry* found = entry(key);
    problems_->push_back({found == nullptr ? table_->place : found->value.place, text});
}

void ConfigReader::refuse(std::string_view key, std::string_view allowed) {
    const ConfigValue* value = find(key);
    const std::string found = value == nullptr ? "nothing" : describe(*value);
    problem(key, where_ + " " + std::string(key) + " is " + found +
                     "; allowed: " + std::string(allowed));
}

bool ConfigReader::require(std::string_view key, std::string_view allowed) {
    if (has(key))
        return true;
    problem(key, where_ + " has no " + std::string(key) + "; needed: " + std::string(allowed));
    return false;
}

const ConfigValue* ConfigReader::ofKind(std::string_view key, ConfigKind kind,
                                        std::string_view allowed) {
    const ConfigValue* value = find(key);
    if (value != nullptr && value->kind != kind) {
        refuse(key, allowed);
        return nullptr;
    }
    return value;
}

std::optional<bool> ConfigReader::boolean(std::string_view key) {
    const ConfigValue* value = ofKind(key, ConfigKind::Boolean, "true or false");
    return value == nullptr ? std::nullopt : std::optional(value->boolean);
}

std::optional<u32> ConfigReader::number(std::string_view key, u32 least, u32 most,
                                        std::string_view unit) {
    const std::string allowed = "a number from " + std::to_string(least) + " to " +
                                std::to_string(most) + (unit.empty() ? "" : " ") +
                                std::string(unit);
    const ConfigValue* value = ofKind(key, ConfigKind::Integer, allowed);
    if (value == nullptr)
        return std::nullopt;
    if (value->integer < least || value->integer > most) {
        refuse(key, allowed);
        return std::nullopt;
    }
    return static_cast<u32>(value->integer);
}

std::optional<u32> ConfigReader::word(std::string_view key,
                                      std::initializer_list<ConfigWord> words) {
    return oneOf(key, {words.begin(), words.end()});
}

std::optional<u32> ConfigReader::word(std::string_view key, std::span<const MvrpWord> words) {
    std::vector<ConfigWord> known;
    for (const MvrpWord& word : words)
        known.push_back({word.text, word.value});
    return oneOf(key, known);
}

std::optional<u32> ConfigReader::oneOf(std::string_view key, std::span<const ConfigWord> words) {
    std::string allowed;
    for (const ConfigWord& word : words)
        allowed += (allowed.empty() ? "" : ", ") + quoted(word.word);
    const ConfigValue* value = ofKind(key, ConfigKind::Text, allowed);
    if (value == nullptr)
        return std::nullopt;
    const auto found = std::ranges::find(words, value->text, &ConfigWord::word);
    if (found == words.end()) {
        refuse(key, allowed);
        return std::nullopt;
    }
    return found->value;
}

std::optional<std::string> ConfigReader::text(std::string_view key, std::size_t mostBytes,
                                              std::size_t leastBytes) {
    const std::string allowed = "text of " + std::to_string(leastBytes) + " to " +
                                std::to_string(mostBytes) + " bytes without control characters";
    const ConfigValue* value = ofKind(key, ConfigKind::Text, allowed);
    if (value == nullptr)
        return std::nullopt;
    if (value->text.size() < leastBytes || value->text.size() > mostBytes ||
        std::ranges::any_of(value->text, isControl)) {
        refuse(key, allowed);
        return std::nullopt;
    }
    return value->text;
}

std::optional<VlanBitmap> ConfigReader::vlans(std::string_view key) {
    const ConfigValue* value = find(key);
    if (value == nullptr)
        return std::nullopt;
    std::optional<VlanBitmap> set;
    if (value->kind == ConfigKind::Text)
        set = parseVlanRanges(value->text);
    else if (value->kind == ConfigKind::Integer)
        set = parseVlanRanges(std::to_string(value->integer));
    if (!set)
        refuse(key, kVlanRangesAllowed);
    return set;
}

std::optional<ConfigReader> ConfigReader::table(std::string_view key) {
    const std::string name = "[" + std::string(key) + "]";
    const ConfigValue* value = ofKind(key, ConfigKind::Table, "a table " + name);
    if (value == nullptr)
        return std::nullopt;
    return ConfigReader(*value, name, *problems_);
}

std::vector<ConfigReader> ConfigReader::tables(std::string_view key) {
    const bool nested = where_.starts_with('[');
    const std::string path = nested ? where_.substr(1, where_.size() - 2) + "." : "";
    const std::string name = "[[" + path + std::string(key) + "]]";
    const std::string allowed = "tables " + name;
    std::vector<ConfigReader> readers;
    const ConfigValue* value = ofKind(key, ConfigKind::Array, allowed);
    if (value == nullptr)
        return readers;
    for (const ConfigValue& item : value->items)
        if (item.kind == ConfigKind::Table)
            readers.emplace_back(item, name, *problems_);
        else
            problems_->push_back({item.place, where_ + " " + std::string(key) + " holds " +
                                                  describe(item) + "; allowed: " + allowed});
    return readers;
}

void ConfigReader::refuseKeys(std::span<const std::string_view> keys, std::string_view why) {
    for (const std::string_view key : keys)
        if (std::ranges::find(table_->entries, key, &ConfigEntry::key) != table_->entries.end())
            problem(key, where_ + " " + std::string(key) + " " + std::string(why));
}

void ConfigReader::finish() {
    for (const ConfigEntry& found : table_->entries) {
        if (std::ranges::find(known_, found.key) != known_.end())
            continue;
        const std::string_view like = nearestWord(found.key, known_);
        const std::string hint = like.empty() ? "." : "; did you mean " + std::string(like) + "?";
        problems_->push_back({found.place, where_ + " has no setting " + quoted(found.key) + hint +
                                               " Known: " + joinedWords(known_)});
    }
}

}  // namespace platform
