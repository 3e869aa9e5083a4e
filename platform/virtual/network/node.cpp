// SPDX-License-Identifier: MIT
#include "platform/virtual/network/node.h"

#include <cstdio>

#include "daemon/base/lock.h"
#include "daemon/db/port.h"
#include "platform/virtual/calls/facts.h"
#include "platform/virtual/calls/timers.h"

namespace simulation {
namespace {

/// Passes after which a loop that still has something to read is taken to run in circles.
constexpr u32 kMostPasses = 100000;

Watch gWatch;
u32 gWatched = 0;  // machine byte and flags, as last printed

void printWatched(const Node& node) {
    if (gWatch.vid == 0 || gWatch.node != node.index)
        return;
    const MvrpPortEntry* port = mvrpPortEntryGet(gWatch.unit);
    if (port == nullptr)
        return;
    for (const SentFrame& frame : node.sent)
        if (frame.unit == gWatch.unit)
            std::fprintf(stderr, "%llu ms: sent %s\n",
                         static_cast<unsigned long long>(node.host.nowMs),
                         scenario::toHex(frame.bytes.data(), frame.bytes.size()).c_str());
    const u32 machine = port->madMachine[gWatch.vid - 1];
    const u32 flag = port->vlanFlag[gWatch.vid - 1];
    if (gWatched == (machine << 8U | flag))
        return;
    gWatched = machine << 8U | flag;
    std::fprintf(stderr, "%llu ms: machine 0x%02x flags 0x%02x\n",
                 static_cast<unsigned long long>(node.host.nowMs), machine, flag);
}

}  // namespace

Node::Node(u32 number, CorrectionSet corrections) : index(number), host(scenario::Trace::Sink()) {
    host.corrections = corrections;
    host.facts = std::make_shared<scenario::ShownFacts>();
    host.switchState.guardsMembers = !corrections.empty();
    host.onSend = [this](u32 unit, bool gvrp, std::vector<u8>&& frame) {
        sent.push_back({unit, gvrp, std::move(frame)});
    };
    scenario::bindScenarioHost(&host);
    gMvrpInfo = MvrpInfo{};
    scenario::resetDaemon(host);
    record = gMvrpInfo;
    scenario::bindScenarioHost(nullptr);
}

Node::~Node() {
    scenario::bindScenarioHost(&host);
    gMvrpInfo = record;
    scenario::resetDaemon(host);
    gMvrpInfo = MvrpInfo{};
    scenario::bindScenarioHost(nullptr);
}

Turn::Turn(Node& node, u64 nowMs) : node_(node), nowMs_(nowMs) {
    gMvrpInfo = node.record;
    node.host.nowMs = nowMs;
    scenario::bindScenarioHost(&node.host);
}

void setWatch(const Watch& watch) {
    gWatch = watch;
}

Turn::~Turn() {
    printWatched(node_);
    node_.dueMs = scenario::earliestDueMs();
    scenario::bindScenarioHost(nullptr);
    node_.record = gMvrpInfo;
}

void Turn::serve() {
    using scenario::SocketId;
    const auto& sockets = node_.host.sockets;
    for (u32 pass = 0; pass < kMostPasses; pass++) {
        if (!sockets.readable(SocketId::Mvrp) && !sockets.readable(SocketId::Gvrp) &&
            !sockets.readable(SocketId::Route))
            return;
        mvrpTaskPass(&node_.host.task);
        node_.host.nowMs = nowMs_;  // a wait that an injected failure ended
    }
}

void Turn::runTimers() {
    mvrpLock();
    silTimerListCheck(&gMvrpInfo.timerList);
    mvrpUnlock();
}

}  // namespace simulation
