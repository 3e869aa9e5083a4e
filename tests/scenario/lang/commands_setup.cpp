// SPDX-License-Identifier: MIT
//
// Commands that set up the platform that the daemon runs on.
#include <array>
#include <limits>

#include "tests/scenario/lang/commands.h"

namespace scenario {
namespace {

constexpr std::string_view kAbsent = "absent";

struct PortKey {
    std::string_view name;
    void (*set)(SwitchPort& port, std::string_view value);
};

template <u32 SwitchPort::*member>
void setNumber(SwitchPort& port, std::string_view value) {
    port.*member = parseU32(value, "value");
}

template <VlanSet SwitchPort::*member>
void setVlans(SwitchPort& port, std::string_view value) {
    port.*member = parseVlanSet(value);
}

constexpr auto kPortKeys = std::to_array<PortKey>({
    {"mtu", setNumber<&SwitchPort::mtu>},
    {"link", setNumber<&SwitchPort::link>},
    {"mac", [](SwitchPort& port, std::string_view value) { port.mac = parseMac(value); }},
    {"pvid", setNumber<&SwitchPort::pvid>},
    {"permit", setVlans<&SwitchPort::permitted>},
    {"tagged", setVlans<&SwitchPort::tagged>},
    {"admit", setVlans<&SwitchPort::admitted>},
    {"dynamic", setVlans<&SwitchPort::dynamic>},
    {"eligible", setNumber<&SwitchPort::eligible>},
    {"agg", setNumber<&SwitchPort::aggregation>},
    {"name", [](SwitchPort& port, std::string_view value) { port.name = value; }},
});

bool parseFlag(std::string_view word) {
    return parseNumber(word, 0, 1, "flag") == 1;
}

/// The value of the `key=value` word, whose key must be `key`.
u32 numberOfKey(std::string_view word, std::string_view key) {
    const auto pair = parseKeyValue(word);
    if (pair.key != key)
        throw UsageError("'" + std::string(pair.key) + "' stands where " + std::string(key) +
                         "= is expected");
    return parseU32(pair.value, key);
}

u64 parseCount(std::string_view word) {
    if (word == "once")
        return 1;
    if (word == "always")
        return std::numeric_limits<u64>::max();
    return parseU32(word, "count");
}

}  // namespace

void commandOpt(ScenarioHost& host, Words words) {
    std::string value = words[1];
    for (const auto& word : words.subspan(2))
        value += " " + word;
    host.options[words[0]] = value;
}

void commandPort(ScenarioHost& host, Words words) {
    const u32 unit = parseU32(words[0], "UNIT");
    if (words.size() == 2 && words[1] == kAbsent) {
        host.switchState.ports.erase(unit);
        return;
    }
    SwitchPort changed = host.switchState.addPort(unit);
    for (const auto& word : words.subspan(1)) {
        const auto pair = parseKeyValue(word);
        rowNamed(kPortKeys, pair.key, "a property of a port").set(changed, pair.value);
    }
    host.switchState.addPort(unit) = changed;
}

void commandVlan(ScenarioHost& host, Words words) {
    requireWords(words, 2, 2);
    const VlanSet vlans = parseVlanSet(words[0]);
    std::optional<u32> type;
    if (words[1] != kAbsent)
        type = numberOfKey(words[1], "type");
    for (u32 vid = 0; vid < vlans.size(); vid++)
        if (vlans.test(vid))
            host.switchState.vlanTypes.set(vid, type);
}

void commandIndex(ScenarioHost& host, Words words) {
    const u32 index = parseU32(words[0], "IDX");
    if (words.size() == 2 && words[1] == kAbsent) {
        host.switchState.indexes.erase(index);
        return;
    }
    requireWords(words, 3, 3);
    const SwitchIndex changed{numberOfKey(words[1], "kind"), numberOfKey(words[2], "vid")};
    host.switchState.indexes[index] = changed;
}

void commandAuto(ScenarioHost& host, Words words) {
    requireWords(words, 1, 1);
    host.switchState.followsWrites = parseFlag(words[0]);
}

void commandStandby(ScenarioHost& host, Words words) {
    requireWords(words, 1, 1);
    host.switchState.standbyAnswer = parseFlag(words[0]) ? 1 : 0;
}

void commandFail(ScenarioHost& host, Words words) {
    FailureList::Injection injection{words[0], words[1], parseCount(words[2]), 0, {}};
    for (const auto& word : words.subspan(3)) {
        const auto pair = parseKeyValue(word);
        if (pair.key == "rc")
            injection.status = parseStatus(pair.value, "rc");
        else if (pair.key == "skip")
            injection.skip = parseU32(pair.value, "skip");
        else
            throw UsageError("'" + std::string(pair.key) + "' is neither rc nor skip");
    }
    host.failures.add(injection);
}

void commandClearFail(ScenarioHost& host, Words words) {
    requireWords(words, 0, 0);
    host.failures.clear();
}

void commandWaiting(ScenarioHost& host, Words words) {
    requireWords(words, 2, 2);
    constexpr auto kWaitingSockets =
        std::to_array<SocketId>({SocketId::Route, SocketId::Mvrp, SocketId::Gvrp});
    std::vector<u32> answers;
    const std::string_view list = words[1];
    for (std::size_t start = 0; start <= list.size();) {
        const auto comma = std::min(list.find(',', start), list.size());
        answers.push_back(static_cast<u32>(
            parseNumber(list.substr(start, comma - start), 0, INT32_MAX, "bytes waiting")));
        start = comma + 1;
    }
    for (const SocketId id : kWaitingSockets)
        if (words[0] == kSocketNames[static_cast<u32>(id)]) {
            host.sockets.waiting[static_cast<u32>(id)].set(answers);
            return;
        }
    throw UsageError("'" + words[0] + "' is not a socket; allowed: route, mvrp, gvrp");
}

void commandCorrect(ScenarioHost& host, Words words) {
    host.corrections = correctionsOf(words);
}

void commandChoice(ScenarioHost&, Words) {}

}  // namespace scenario
