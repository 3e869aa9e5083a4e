// SPDX-License-Identifier: MIT
//
// Reads the settings of one table of a configuration file. Every problem is noted with its place,
// what was found and what is allowed; reading goes on, so that one run shows them all. Keys that
// were never asked for are noted at the end, with the nearest known one.
#pragma once

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/config/config_tree.h"
#include "platform/contract/management.h"
#include "platform/model/vlan_ranges.h"

namespace platform {

/// A word of the file and what it stands for.
struct ConfigWord {
    std::string_view word;
    u32 value;
};

/// The words with ", " between them.
std::string joinedWords(std::span<const std::string_view> words);
/// How a value is named in a problem: "text \"x\"", "5", "a table".
std::string describe(const ConfigValue& value);

class ConfigReader {
  public:
    /// @param where  how problems name the table, for example "[switch]"
    ConfigReader(const ConfigValue& table, std::string where, std::vector<ConfigProblem>& problems);

    // Each returns nothing when the key is absent or its value was noted as a problem. A key is
    // known from the first call that names it.
    const ConfigValue* find(std::string_view key);
    std::optional<bool> boolean(std::string_view key);
    std::optional<u32> number(std::string_view key, u32 least, u32 most,
                              std::string_view unit = {});
    std::optional<u32> word(std::string_view key, std::initializer_list<ConfigWord> words);
    std::optional<u32> word(std::string_view key, std::span<const MvrpWord> words);
    /// Text of `leastBytes` to `mostBytes` bytes without control characters.
    std::optional<std::string> text(std::string_view key, std::size_t mostBytes,
                                    std::size_t leastBytes = 1);
    /// Ranges as text, or one VLAN ID as a number.
    std::optional<VlanBitmap> vlans(std::string_view key);
    /// The readers of a sub-table and of each table of an array of tables.
    std::optional<ConfigReader> table(std::string_view key);
    std::vector<ConfigReader> tables(std::string_view key);

    bool has(std::string_view key) { return find(key) != nullptr; }
    void problemAt(ConfigPlace place, const std::string& text);
    /// Notes `text` at the place of `key`, or of the table when the key is absent.
    void problem(std::string_view key, const std::string& text);
    /// Notes that the value of `key` is not `allowed`.
    void refuse(std::string_view key, std::string_view allowed);
    /// Notes `key` as missing when it is absent. @return whether it is there
    bool require(std::string_view key, std::string_view allowed);
    /// Notes each of these keys that is there: `why` says why it may not be, and what is allowed.
    void refuseKeys(std::span<const std::string_view> keys, std::string_view why);
    const std::string& where() const { return where_; }
    /// Notes every key that was never named.
    void finish();

  private:
    std::optional<u32> oneOf(std::string_view key, std::span<const ConfigWord> words);
    const ConfigEntry* entry(std::string_view key);
    const ConfigValue* ofKind(std::string_view key, ConfigKind kind, std::string_view allowed);

    const ConfigValue* table_;
    std::string where_;
    std::vector<ConfigProblem>* problems_;
    std::vector<std::string_view> known_;
};

}  // namespace platform
