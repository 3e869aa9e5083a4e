// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"
#include "platform/containers/timer_heap.h"
#include "platform/contract/management.h"
#include "tests/simulation/invariants.h"

namespace simulation {
namespace {

constexpr u8 kFlagBits = 0xE0;
constexpr u8 kMostQuarters = 5;  ///< of a leave time that a correction counts in the other bits
constexpr u8 kBothPending = 0x60;
constexpr u8 kRemovePending = 0x20;
constexpr u64 kLongestTimerMs = kMvrpLeaveAllTime.most;

struct Slot {
    SilTimerNode MvrpPortEntry::*node;
    SilTimerHandler handler;
    const char* name;
};
const std::array<Slot, 5> kSlots = {
    {{&MvrpPortEntry::joinTimer, mvrpJoinTimerHandler, "join"},
     {&MvrpPortEntry::leaveTimer, mvrpLeaveTimerHandler, "leave"},
     {&MvrpPortEntry::vectorJoinTimer, mvrpJoinTimerHandler, "vector join"},
     {&MvrpPortEntry::periodTransTimer, mvrpPeriodTransTimerHandler, "periodic"},
     {&MvrpPortEntry::leaveAllTimer, mvrpLeaveallTimerHandler, "leave-all"}}};

std::string placeOf(const MvrpPortEntry& port, u32 vid) {
    return "port " + std::to_string(port.portunit) + " VLAN " + std::to_string(vid) + ": ";
}

/// One slot of a port. The leave slot may carry the sending of leaves instead of its own handler.
std::string checkSlot(const MvrpPortEntry& port, const Slot& slot, u64 nowMs) {
    const SilTimerNode& node = port.*slot.node;
    if (!platform::timerRunning(node))
        return {};
    const std::string place = "port " + std::to_string(port.portunit) + ", " + slot.name + ": ";
    const bool sends = node.handler == mvrpSendTimerHandler &&
                       slot.handler == SilTimerHandler{mvrpLeaveTimerHandler};
    if (node.handler != slot.handler && !sends)
        return place + "the slot holds another handler";
    if (node.argument != &port)
        return place + "the slot belongs to another port";
    const u64 due = platform::timerHeapDue(gMvrpInfo.timerList, node);
    if (due < nowMs || due - nowMs > kLongestTimerMs)
        return place + "due at " + std::to_string(due) + " ms, it is " + std::to_string(nowMs);
    return {};
}

std::string checkVlan(const MvrpPortEntry& port, u32 vid, bool pairsComplete) {
    const u8 machine = port.madMachine[vid - 1];
    const u8 flag = port.vlanFlag[vid - 1];
    if (mvrpApplicant(machine) >= APP_STATE_MAX)
        return placeOf(port, vid) + "applicant " + std::to_string(mvrpApplicant(machine));
    if ((flag & ~kFlagBits) >
        (gMvrpInfo.corrections.has(Correction::LeaveClock) ? kMostQuarters : 0))
        return placeOf(port, vid) + "flags " + std::to_string(flag);
    if ((flag & kBothPending) == kBothPending)
        return placeOf(port, vid) + "addition and removal are both pending";
    if (pairsComplete && (flag & kRemovePending) != 0 && !mvrpPortVlanEntryGet(port.portunit, vid))
        return placeOf(port, vid) + "a removal is pending without its pair";
    return {};
}

/// VLANs that are looked at together, and what their bytes are while nothing is known of them.
constexpr u32 kStretch = 256;
constexpr std::array<u8, kStretch> kIdle{};

/// Whether neither of the port's bytes of the stretch from `vid` on holds anything; most do not.
bool stretchIdle(const MvrpPortEntry& port, u32 vid) {
    return vid + kStretch - 1 <= kMvrpVlanLast &&
           std::memcmp(&port.madMachine[vid - 1], kIdle.data(), kStretch) == 0 &&
           std::memcmp(&port.vlanFlag[vid - 1], kIdle.data(), kStretch) == 0;
}

std::string checkPort(const MvrpPortEntry& port, const Node& node) {
    for (const Slot& slot : kSlots) {
        std::string problem = checkSlot(port, slot, node.host.nowMs);
        if (!problem.empty())
            return problem;
    }
    for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; vid++) {
        if ((vid - kMvrpVlanFirst) % kStretch == 0 && stretchIdle(port, vid)) {
            vid += kStretch - 1;
            continue;
        }
        if (port.madMachine[vid - 1] == 0 && port.vlanFlag[vid - 1] == 0)
            continue;
        std::string problem = checkVlan(port, vid, !node.pairsLost);
        if (!problem.empty())
            return problem;
    }
    if (port.vlanFlag[kMvrpVlanCount] != 0)
        return placeOf(port, kMvrpVlanCount + 1) + "there is no such VLAN, yet it has flags";
    return {};
}

std::string checkPorts(const Node& node) {
    u32 ports = 0;
    u32 timers = platform::timerRunning(gMvrpInfo.pendingTimer) ? 1 : 0;
    u32 last = 0;
    for (auto* port = mvrpPortEntryFirst(); port != nullptr; port = mvrpPortEntryNext(port)) {
        if (ports++ > 0 && port->portunit <= last)
            return "port " + std::to_string(port->portunit) + " follows " + std::to_string(last);
        last = port->portunit;
        std::string problem = checkPort(*port, node);
        if (!problem.empty())
            return problem;
        timers += static_cast<u32>(std::count_if(kSlots.begin(), kSlots.end(), [port](auto& slot) {
            return platform::timerRunning(port->*slot.node);
        }));
    }
    if (ports != gMvrpInfo.portPool.used)
        return std::to_string(ports) + " ports, " + std::to_string(gMvrpInfo.portPool.used) +
               " items of their pool in use";
    if (timers != gMvrpInfo.timerList.used)
        return std::to_string(gMvrpInfo.timerList.used) + " timers run, " + std::to_string(timers) +
               " of them in known slots";
    return {};
}

std::string checkPairs() {
    u32 count = 0;
    std::optional<MvrpPortVlanEntry> last;
    for (auto pair = mvrpPortVlanEntryFirst(); pair; pair = mvrpPortVlanEntryNext(*pair)) {
        const std::string place =
            "pair " + std::to_string(pair->portUnit) + ":" + std::to_string(pair->vid) + ": ";
        if (last.has_value() && *last >= *pair)
            return place + "out of order";
        if (pair->vid < kMvrpVlanFirst || pair->vid > kMvrpVlanLast)
            return place + "no VLAN ID";
        if (mvrpPortEntryGet(pair->portUnit) == nullptr)
            return place + "its port is gone";
        last = pair;
        count++;
    }
    u32 items = 0;
    for (const MvrpPairItem* item = gMvrpInfo.pairItems; item != nullptr; item = item->next)
        ++items;
    if (count != gMvrpInfo.vlanEntryNum || count != items || count != gMvrpInfo.vlanPool.used)
        return std::to_string(count) + " pairs, which hold " + std::to_string(items) +
               " items, the daemon counts " + std::to_string(gMvrpInfo.vlanEntryNum) +
               ", the pool " + std::to_string(gMvrpInfo.vlanPool.used);
    return {};
}

std::string checkNode(const Node& node) {
    if (node.host.lockDepth != 0)
        return "the lock is held " + std::to_string(node.host.lockDepth) + " deep";
    if (!platform::timerRunning(gMvrpInfo.pendingTimer))
        return "the pending timer does not run";
    std::string problem = checkPairs();
    return problem.empty() ? checkPorts(node) : problem;
}

}  // namespace

std::string checkState(Network& network) {
    for (const auto& node : network.nodes()) {
        if (!node->acted)
            continue;
        const Turn turn(*node, network.nowMs());
        const std::string problem = checkNode(*node);
        node->acted = false;
        if (!problem.empty())
            return "switch " + std::to_string(node->index) + ": " + problem;
    }
    return {};
}

}  // namespace simulation
