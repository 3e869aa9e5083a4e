// SPDX-License-Identifier: MIT
//
// The debugging surface of the daemon: filters, the debug socket, the console dumps.
#include <array>
#include <limits>

#include "daemon/core/debug.h"
#include "platform/virtual/state/byte_order.h"
#include "tests/scenario/lang/commands.h"

namespace scenario {
namespace {

constexpr u32 kMostRequestBytes = 65536;

struct DebugCommand {
    std::string_view name;
    u32 (*run)(ScenarioHost& host, Words words);
};

u32 debugVlan(ScenarioHost&, Words words) {
    requireWords(words, 1, 1);
    return mvrpVlandbgSet(
        static_cast<u16>(parseNumber(words[0], 0, std::numeric_limits<u16>::max(), "V")));
}

u32 debugPort(ScenarioHost&, Words words) {
    requireWords(words, 1, 1);
    return mvrpPortdbgSet(parseU32(words[0], "U"));
}

u32 debugHandler(ScenarioHost&, Words words) {
    requireWords(words, 4, 4);
    return static_cast<u32>(mvrpDbgHandler(parseU32(words[0], "W"), parseU32(words[1], "W"),
                                           parseU32(words[2], "W"), parseU32(words[3], "W")));
}

u32 debugInit(ScenarioHost&, Words words) {
    requireWords(words, 0, 0);
    return static_cast<u32>(mvrpDbgSockInit());
}

u32 debugRequest(ScenarioHost& host, Words words) {
    host.sockets.connectionBytes = parseHex(words, kMostRequestBytes);
    wordsFromLittleEndian(host.sockets.connectionBytes);
    host.sockets.connectionRead = 0;
    return static_cast<u32>(mvrpDbgServer());
}

constexpr auto kDebugCommands = std::to_array<DebugCommand>({
    {"vlan", debugVlan},
    {"port", debugPort},
    {"cmd", debugHandler},
    {"init", debugInit},
    {"req", debugRequest},
});

struct ShowCommand {
    std::string_view name;
    std::size_t numbers;  ///< how many follow
    void (*run)(u32 unit, u32 vid);
};

constexpr auto kShowCommands = std::to_array<ShowCommand>({
    {"glb", 0, [](u32, u32) { mvrpDbgGlbShow(); }},
    {"port", 0, [](u32, u32) { mvrpDbgPortShow(); }},
    {"fields", 0, [](u32, u32) { mvrpShowPort(); }},
    {"this", 1, [](u32 unit, u32) { mvrpDbgPortThisShow(unit); }},
    {"portvlan", 2, [](u32 unit, u32 vid) { mvrpDbgPortVlanShow(unit, vid); }},
});

}  // namespace

void commandDbg(ScenarioHost& host, Words words) {
    traceResult(host,
                rowNamed(kDebugCommands, words[0], "a debug command").run(host, words.subspan(1)));
}

void commandShow(ScenarioHost&, Words words) {
    const ShowCommand& command = rowNamed(kShowCommands, words[0], "a dump");
    requireWords(words, 1 + command.numbers, 1 + command.numbers);
    command.run(command.numbers > 0 ? parseU32(words[1], "U") : 0,
                command.numbers > 1 ? parseU32(words[2], "V") : 0);
}

}  // namespace scenario
