// SPDX-License-Identifier: MIT
//
// `poke`: writes into the daemon's records, to reach states that are far away otherwise.
#include <algorithm>
#include <array>
#include <limits>

#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "tests/scenario/lang/commands.h"

namespace scenario {
namespace {

/// A field by its name in dumps and by that of its record.
template <typename Record>
struct Field {
    std::string_view name;
    std::string_view recordName;
    u32 most;
    void (*set)(Record& record, u32 value);
};

constexpr u32 kMostBit = 1;
constexpr u32 kMostMode = 3;
constexpr u32 kMostByte = std::numeric_limits<u8>::max();
constexpr u32 kMostHalf = std::numeric_limits<u16>::max();
constexpr u32 kMostWord = std::numeric_limits<u32>::max();

using PortField = Field<MvrpPortEntry>;
using GlobalField = Field<MvrpInfo>;

constexpr auto kPortFields = std::to_array<PortField>({
    {"enable", "enable", kMostBit,
     [](MvrpPortEntry& port, u32 value) { port.enable = value & kMostBit; }},
    {"link", "linkState", kMostBit,
     [](MvrpPortEntry& port, u32 value) { port.linkState = value & kMostBit; }},
    {"peer", "peerMode", kMostBit,
     [](MvrpPortEntry& port, u32 value) { port.peerMode = value & kMostBit; }},
    {"gvrp", "gvrpCompliance", kMostBit,
     [](MvrpPortEntry& port, u32 value) { port.gvrpCompliance = value & kMostBit; }},
    {"reg", "registration_mode", kMostMode,
     [](MvrpPortEntry& port, u32 value) { port.registration_mode = value & kMostMode; }},
    {"part", "participant_mode", kMostMode,
     [](MvrpPortEntry& port, u32 value) { port.participant_mode = value & kMostMode; }},
    {"msgNum", "msgNum", kMostByte,
     [](MvrpPortEntry& port, u32 value) { port.msgNum = static_cast<u8>(value); }},
    {"flag", "joinTimerFlag", kMostByte,
     [](MvrpPortEntry& port, u32 value) { port.joinTimerFlag = static_cast<u8>(value); }},
    {"mtu", "mtu", kMostHalf,
     [](MvrpPortEntry& port, u32 value) { port.mtu = static_cast<u16>(value); }},
    {"join", "join_timeout", kMostHalf,
     [](MvrpPortEntry& port, u32 value) { port.join_timeout = static_cast<u16>(value); }},
    {"leave", "leave_timeout", kMostHalf,
     [](MvrpPortEntry& port, u32 value) { port.leave_timeout = static_cast<u16>(value); }},
    {"leaveall", "leaveAllTimeout", kMostWord,
     [](MvrpPortEntry& port, u32 value) { port.leaveAllTimeout = value; }},
    {"period", "period_trans_timeout", kMostWord,
     [](MvrpPortEntry& port, u32 value) { port.period_trans_timeout = value; }},
});

constexpr auto kGlobalFields = std::to_array<GlobalField>({
    {"enable", "enable", kMostByte,
     [](MvrpInfo& info, u32 value) { info.enable = static_cast<u8>(value); }},
    {"compliance", "gvrpCompliance", kMostByte,
     [](MvrpInfo& info, u32 value) { info.gvrpCompliance = static_cast<u8>(value); }},
    {"role", "runningRole", kMostByte,
     [](MvrpInfo& info, u32 value) { info.runningRole = static_cast<u8>(value); }},
    {"debug", "debug", kMostByte,
     [](MvrpInfo& info, u32 value) { info.debug = static_cast<u8>(value); }},
    {"dbgVlan", "dbgVlan", kMostHalf,
     [](MvrpInfo& info, u32 value) { info.dbgVlan = static_cast<u16>(value); }},
    {"dbgPort", "dbgPort", kMostWord, [](MvrpInfo& info, u32 value) { info.dbgPort = value; }},
    {"entries", "vlanEntryNum", kMostWord,
     [](MvrpInfo& info, u32 value) { info.vlanEntryNum = value; }},
    {"mvrpNum", "mvrpNum", kMostWord, [](MvrpInfo& info, u32 value) { info.mvrpNum = value; }},
    {"perTimes", "vlanNumPerTimes", kMostHalf,
     [](MvrpInfo& info, u32 value) { info.vlanNumPerTimes = static_cast<u16>(value); }},
    {"perTimesAgg", "vlanNumPerTimesAgg", kMostHalf,
     [](MvrpInfo& info, u32 value) { info.vlanNumPerTimesAgg = static_cast<u16>(value); }},
    {"maxPortNum", "maxPortNum", kMostWord,
     [](MvrpInfo& info, u32 value) { info.maxPortNum = value; }},
    {"maxVlanNumPerIf", "maxVlanNumPerIf", kMostWord,
     [](MvrpInfo& info, u32 value) { info.maxVlanNumPerIf = value; }},
});

template <typename Table, typename Record>
void setField(const Table& table, Record& record, std::string_view name, std::string_view value) {
    const auto field = std::find_if(table.begin(), table.end(),
                                    [name](const auto& row) { return row.recordName == name; });
    const auto& known = field != table.end() ? *field : rowNamed(table, name, "a field");
    known.set(record, static_cast<u32>(parseNumber(value, 0, known.most, name)));
}

/// Writes a byte at every VLAN ID of a set, where `bytes` stands for the IDs from 1 on.
void fillBytes(std::span<u8> bytes, Words words) {
    requireWords(words, 2, 2);
    const auto value = parseHex(words.subspan(1), 1);
    if (value.size() != 1)
        throw UsageError("HEX: one byte is expected");
    const VlanSet vlans = parseVlanSet(words[0]);
    for (u32 vid = 1; vid <= bytes.size(); vid++)
        if (vlans.test(vid))
            bytes[vid - 1] = value[0];
}

void pokePort(MvrpPortEntry& port, Words words) {
    requireWords(words, 2, 2);
    if (words[0] != "mac" && words[0] != "portMac") {
        setField(kPortFields, port, words[0], words[1]);
        return;
    }
    const MacAddress mac = parseMac(words[1]);
    std::copy(mac.begin(), mac.end(), port.portMac);
}

void pokeEntries(Words words) {
    requireWords(words, 2, 2);
    const u32 unit = parseU32(words[0], "U");
    const VlanSet vlans = parseVlanSet(words[1]);
    for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; vid++)
        if (vlans.test(vid))
            mvrpPortVlanEntryEnsure(unit, vid);
}

struct PokeCommand {
    std::string_view name;
    void (*run)(MvrpPortEntry& port, Words words);
};

constexpr auto kPortPokes = std::to_array<PokeCommand>({
    {"mad", [](MvrpPortEntry& port, Words words) { fillBytes(port.madMachine, words); }},
    {"flag", [](MvrpPortEntry& port, Words words) { fillBytes(port.vlanFlag, words); }},
    {"port", pokePort},
    {"glb", nullptr},
    {"entry", nullptr},
});

}  // namespace

void commandPoke(ScenarioHost& host, Words words) {
    const PokeCommand& poke = rowNamed(kPortPokes, words[0], "a record");
    if (poke.name == "glb") {
        requireWords(words, 3, 3);
        setField(kGlobalFields, gMvrpInfo, words[1], words[2]);
    } else if (poke.name == "entry") {
        pokeEntries(words.subspan(1));
    } else if (MvrpPortEntry* port = mvrpPortEntryGet(parseU32(words[1], "U")); port != nullptr) {
        poke.run(*port, words.subspan(2));
    } else {
        host.trace.line("none");
    }
}

}  // namespace scenario
