// SPDX-License-Identifier: MIT
//
// `dump`: the state of the daemon and of the platform in one canonical form.
#include <array>
#include <cstdio>
#include <map>

#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"
#include "platform/virtual/calls/timers.h"
#include "platform/virtual/state/format.h"
#include "tests/scenario/lang/commands.h"

namespace scenario {
namespace {

void traceFormatted(ScenarioHost& host, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

void traceFormatted(ScenarioHost& host, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    host.trace.line(formatText(format, arguments));
    va_end(arguments);
}

/// ` VID:HEX`, or ` A-B:HEX` for a run of equal bytes, of the bytes that are not zero; ` -` for
/// none.
std::string formatByteRuns(std::span<const u8> bytes) {
    std::string text;
    forEachRun(
        bytes, bytes.size(), [](u8 byte) { return byte != 0; },
        [&](std::size_t first, std::size_t last) {
            text += " " + formatRun(first + 1, last + 1) + ":" + toHex(&bytes[first], 1);
        });
    return text.empty() ? " -" : text;
}

void dumpGlobal(ScenarioHost& host, Words) {
    const MvrpInfo& info = gMvrpInfo;
    traceFormatted(
        host,
        "glb now=%llu enable=%u compliance=%u debug=0x%x dbgVlan=%u dbgPort=%u entries=%u "
        "mvrpNum=%u perTimes=%u perTimesAgg=%u pending=%s ports=%u/%u vlans=%u/%u lock=%u",
        static_cast<unsigned long long>(host.nowMs), info.enable, info.gvrpCompliance, info.debug,
        info.dbgVlan, info.dbgPort, info.vlanEntryNum, info.mvrpNum, info.vlanNumPerTimes,
        info.vlanNumPerTimesAgg, formatTimer(info.pendingTimer, mvrpPendingTimerHandler).c_str(),
        info.portPool.used, info.portPool.itemCount, info.vlanPool.used, info.vlanPool.itemCount,
        host.lockDepth);
}

void dumpEntry(ScenarioHost& host, const MvrpPortEntry& port) {
    traceFormatted(
        host,
        "port %u enable=%u link=%u peer=%u gvrp=%u reg=%u part=%u msgNum=%u flag=%u mtu=%u "
        "mac=%s join=%u leave=%u leaveall=%u period=%u",
        port.portunit, port.enable, port.linkState, port.peerMode, port.gvrpCompliance,
        port.registration_mode, port.participant_mode, port.msgNum, port.joinTimerFlag, port.mtu,
        toHex(port.portMac, sizeof port.portMac).c_str(), port.join_timeout, port.leave_timeout,
        port.leaveAllTimeout, port.period_trans_timeout);
    traceFormatted(host, "  timers join=%s leave=%s vjoin=%s period=%s leaveall=%s",
                   formatTimer(port.joinTimer, mvrpJoinTimerHandler).c_str(),
                   formatTimer(port.leaveTimer, mvrpLeaveTimerHandler).c_str(),
                   formatTimer(port.vectorJoinTimer, mvrpJoinTimerHandler).c_str(),
                   formatTimer(port.periodTransTimer, mvrpPeriodTransTimerHandler).c_str(),
                   formatTimer(port.leaveAllTimer, mvrpLeaveallTimerHandler).c_str());
    host.trace.line("  mad" + formatByteRuns(port.madMachine));
    host.trace.line("  vlanFlag" + formatByteRuns(port.vlanFlag));
}

void dumpPort(ScenarioHost& host, Words words) {
    const MvrpPortEntry* port = mvrpPortEntryGet(parseU32(words[0], "U"));
    if (port == nullptr)
        host.trace.line("none");
    else
        dumpEntry(host, *port);
}

void dumpPending(ScenarioHost& host, Words) {
    std::map<u32, VlanSet> pairs;
    for (auto pair = mvrpPortVlanEntryFirst(); pair; pair = mvrpPortVlanEntryNext(*pair))
        pairs[pair->portUnit].set(pair->vid);
    std::string text = "pending";
    for (const auto& [unit, vlans] : pairs)
        text += " " + std::to_string(unit) + ":" + formatVlanSet(vlans);
    host.trace.line(pairs.empty() ? "pending -" : text);
}

void dumpState(ScenarioHost& host, Words words) {
    dumpGlobal(host, words);
    for (const auto* port = mvrpPortEntryFirst(); port != nullptr; port = mvrpPortEntryNext(port))
        dumpEntry(host, *port);
    dumpPending(host, words);
}

void dumpPlatform(ScenarioHost& host, Words) {
    std::map<u32, VlanSet> types;
    for (u32 vid = 0; vid < host.switchState.vlanTypes.size(); vid++)
        if (const auto type = host.switchState.vlanTypes[vid])
            types[*type].set(vid);
    for (const auto& [type, vlans] : types)
        host.trace.line("platform vlans type=" + std::to_string(type) + " " + formatVlanSet(vlans));
    for (const auto& [unit, port] : host.switchState.ports)
        host.trace.line("platform port " + std::to_string(unit) +
                        " dynamic=" + formatVlanSet(port.dynamic));
}

struct DumpCommand {
    std::string_view name;
    std::size_t numbers;  ///< how many follow
    void (*run)(ScenarioHost& host, Words words);
};

constexpr auto kDumpCommands = std::to_array<DumpCommand>({
    {"state", 0, dumpState},
    {"glb", 0, dumpGlobal},
    {"port", 1, dumpPort},
    {"pending", 0, dumpPending},
    {"platform", 0, dumpPlatform},
});

}  // namespace

void commandDump(ScenarioHost& host, Words words) {
    const DumpCommand& command = rowNamed(kDumpCommands, words[0], "a dump");
    requireWords(words, 1 + command.numbers, 1 + command.numbers);
    command.run(host, words.subspan(1));
}

}  // namespace scenario
