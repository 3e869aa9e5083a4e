// SPDX-License-Identifier: MIT
#include <charconv>
#include <cstdio>

#include "cli/client/mistakes.h"
#include "cli/client/port_ranges.h"
#include "cli/commands/commands.h"
#include "cli/views/json.h"

namespace cli {

namespace {

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

platform::VlanBitmap parseVlans(const std::string& word) {
    if (word == "all")
        return platform::vlanRange(platform::kFirstVlan, platform::kLastVlan);
    if (const auto set = platform::parseVlanRanges(word))
        return *set;
    throw UsageError(quoted(word) + " is not a list of VLANs; allowed are " +
                     platform::kVlanRangesAllowed + ", or \"all\"");
}

}  // namespace

platform::SwitchPortRecord Context::port(std::size_t index) const {
    return findPort(client, text(index));
}

std::vector<platform::SwitchPortRecord> Context::ports(std::size_t index) const {
    if (count() <= index)
        return queryPortList(client);
    std::string list;
    for (; index < count(); ++index)
        list += (list.empty() ? "" : ",") + text(index);
    return choosePorts(queryPortList(client), list);
}

platform::VlanBitmap Context::vlans(std::size_t index) const {
    return parseVlans(text(index));
}

platform::VlanBitmap Context::vlans(const std::string& option) const {
    return parseVlans(value(option));
}

u32 Context::vlan(std::size_t index) const {
    return number(index, platform::kFirstVlan, platform::kLastVlan);
}

namespace {

u64 parseNumber(const std::string& word, u64 lowest, u64 highest) {
    const bool hex = word.starts_with("0x");
    const char* const begin = word.data() + (hex ? 2 : 0);
    const char* const end = word.data() + word.size();
    u64 value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, hex ? 16 : 10);
    if (begin == end || error != std::errc() || stop != end || value < lowest || value > highest) {
        throw UsageError(quoted(word) + " is not allowed here; allowed are numbers from " +
                         std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return value;
}

}  // namespace

u32 Context::number(std::size_t index, u32 lowest, u32 highest) const {
    return static_cast<u32>(parseNumber(text(index), lowest, highest));
}

u64 Context::number(const std::string& option, u64 lowest, u64 highest) const {
    return parseNumber(value(option), lowest, highest);
}

u32 Context::choice(std::size_t index, Names names) const {
    if (const auto value = valueOf(names, text(index)))
        return *value;
    throw UsageError(quoted(text(index)) + " is not allowed here" + guess(text(index), names) +
                     "; allowed are " + listOf(names));
}

void Context::print(const std::string& text) const {
    const std::string printed = inFormat(format, text);
    if (output != nullptr)
        output->append(printed);
    else
        std::fwrite(printed.data(), 1, printed.size(), stdout);
}

void Context::finish(u32 status, const std::string& refusal) const {
    if (status != kStatusOk)
        throw RefusedError(status, refusal.empty() ? statusText(status) : refusal);
    if (json)
        print(doneJson());
}

}  // namespace cli
