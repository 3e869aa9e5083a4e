// SPDX-License-Identifier: MIT
//
// What reaches the daemon from outside and in time: frames, route messages, the clock, the loop.
#include <algorithm>
#include <array>

#include "daemon/base/lock.h"
#include "daemon/db/port.h"
#include "daemon/events/route.h"
#include "daemon/pdu/receive.h"
#include "platform/virtual/calls/timers.h"
#include "platform/virtual/state/byte_order.h"
#include "tests/scenario/lang/commands.h"

namespace scenario {
namespace {

constexpr u32 kBufferBytes = kMvrpReceiveBufferBytes;
constexpr u64 kMostAdvanceMs = u64{30} * 24 * 3600 * 1000;  // a month
constexpr u32 kMostPasses = 100000;
/// Checks of the timer list at one time after which a scenario is taken to run in circles.
constexpr u32 kMostChecksAtOnce = 16;

enum class FrameKind : u32 { Mvrp = 0, Gvrp = 1 };

FrameKind parseFrameKind(std::string_view word) {
    if (word == "mvrp")
        return FrameKind::Mvrp;
    if (word == "gvrp")
        return FrameKind::Gvrp;
    throw UsageError("'" + std::string(word) + "' is neither mvrp nor gvrp");
}

std::vector<u8> parseRoute(Words words) {
    auto messages = parseHex(words, kBufferBytes);
    routeMessagesFromLittleEndian(messages);
    return messages;
}

QueuedFrame parseFrame(Words words) {
    requireWords(words, 3, SIZE_MAX);
    QueuedFrame frame;
    frame.interfaceIndex = parseU32(words[0], "IFINDEX");
    if (words[1] != "none")
        frame.destination = parseMac(words[1]);
    frame.pduOffset = static_cast<u8>(parseNumber(words[2], 0, UINT8_MAX, "OFFSET"));
    const auto pdu = parseHex(words.subspan(3), kBufferBytes - frame.pduOffset);
    frame.bytes.resize(frame.pduOffset);
    frame.bytes.insert(frame.bytes.end(), pdu.begin(), pdu.end());
    return frame;
}

}  // namespace

void commandRx(ScenarioHost&, Words words) {
    const FrameKind kind = parseFrameKind(words[0]);
    const u32 unit = parseU32(words[1], "UNIT");
    const auto pdu = parseHex(words.subspan(2), kBufferBytes);
    std::array<u8, kBufferBytes> buffer{};
    std::copy(pdu.begin(), pdu.end(), buffer.begin());

    mvrpLock();
    MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port != nullptr) {
        port->peerMode = kind == FrameKind::Mvrp ? 1 : 0;
        if (mvrpGvrpCompliant() == (kind == FrameKind::Gvrp))
            mvrpPktProcess(port, buffer.data(), static_cast<s32>(pdu.size()));
    }
    mvrpUnlock();
}

void commandRoute(ScenarioHost&, Words words) {
    auto message = parseRoute(words);
    mvrpLock();
    mvrpEvtNotifyRecv(message);
    mvrpUnlock();
}

void commandAdvance(ScenarioHost& host, Words words) {
    requireWords(words, 1, 1);
    const u64 end = host.nowMs + parseNumber(words[0], 0, kMostAdvanceMs, "MS");
    u32 checksAtOnce = 0;
    for (auto due = earliestDueMs(); due && *due <= end; due = earliestDueMs()) {
        checksAtOnce = *due > host.nowMs ? 0 : checksAtOnce + 1;
        if (checksAtOnce > kMostChecksAtOnce)
            throw UsageError("timers restart each other without any time passing");
        host.nowMs = std::max(host.nowMs, *due);
        mvrpLock();
        silTimerListCheck(&gMvrpInfo.timerList);
        mvrpUnlock();
    }
    host.nowMs = end;
}

void commandQueue(ScenarioHost& host, Words words) {
    if (words[0] == "route") {
        host.sockets.routeMessages.push_back(parseRoute(words.subspan(1)));
        return;
    }
    auto& queue = host.sockets.frames[static_cast<u32>(parseFrameKind(words[0]))];
    const bool empty = words.size() == 2 && words[1] == "empty";
    queue.push_back(empty ? QueuedFrame{} : parseFrame(words.subspan(1)));
}

void commandLoop(ScenarioHost& host, Words words) {
    requireWords(words, 0, 1);
    const u64 passes = words.empty() ? 1 : parseNumber(words[0], 0, kMostPasses, "N");
    for (u64 pass = 0; pass < passes; pass++)
        mvrpTaskPass(&host.task);
}

}  // namespace scenario
