// SPDX-License-Identifier: MIT
//
// Timers of the scenario host: the shared timer heap on virtual time. Slots are named by where they
// lie: members of a port entry in its pool, or the pending timer of the global record.
#include "platform/virtual/calls/timers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "daemon/db/port.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"
#include "platform/containers/timer_heap.h"
#include "platform/virtual/state/host.h"

using scenario::scenarioHost;
using scenario::traceEvent;

namespace scenario {
namespace {

/// Handlers that one check runs beyond those of the timers that run at its beginning.
constexpr u32 kExtraTimersPerCheck = 1024;

struct SlotMember {
    SilTimerNode MvrpPortEntry::*node;
    const char* name;
};
constexpr std::array<SlotMember, 5> kSlots = {{{&MvrpPortEntry::joinTimer, "join"},
                                               {&MvrpPortEntry::leaveTimer, "leave"},
                                               {&MvrpPortEntry::vectorJoinTimer, "vjoin"},
                                               {&MvrpPortEntry::periodTransTimer, "period"},
                                               {&MvrpPortEntry::leaveAllTimer, "leaveall"}}};

/// The entry of `pool` that `node` lies in, or null.
const MvrpPortEntry* entryAround(const SilMemPool& pool, const SilTimerNode* node) {
    const auto offset =
        reinterpret_cast<std::uintptr_t>(node) - reinterpret_cast<std::uintptr_t>(pool.items);
    if (pool.items == nullptr || offset >= std::size_t{pool.itemSize} * pool.untouched)
        return nullptr;
    return reinterpret_cast<const MvrpPortEntry*>(pool.items +
                                                  offset / pool.itemSize * pool.itemSize);
}

const MvrpPortEntry* entryAround(const SilTimerNode* node) {
    const MvrpPortEntry* entry = entryAround(gMvrpInfo.portPool, node);
    for (const auto& pool : scenarioHost().abandonedPools)
        if (entry == nullptr)
            entry = entryAround(pool, node);
    return entry;
}

/// UNIT SLOT of a node.
std::string nameOfNode(const SilTimerNode* node) {
    if (node == &gMvrpInfo.pendingTimer)
        return "- pending";
    const MvrpPortEntry* entry = entryAround(node);
    if (entry != nullptr)
        for (const auto& slot : kSlots)
            if (&(entry->*slot.node) == node)
                return std::to_string(entry->portunit) + " " + slot.name;
    return "? ?";
}

u64 remainingMs(const SilTimerList& list, const SilTimerNode& node) {
    const u64 due = platform::timerHeapDue(list, node);
    return due - std::min(due, scenarioHost().nowMs);
}

}  // namespace

std::string_view nameOfHandler(SilTimerHandler handler) {
    static constexpr std::pair<SilTimerHandler, std::string_view> kNames[] = {
        {mvrpJoinTimerHandler, "mvrpJoinTimerHandler"},
        {mvrpLeaveTimerHandler, "mvrpLeaveTimerHandler"},
        {mvrpPeriodTransTimerHandler, "mvrpPeriodTransTimerHandler"},
        {mvrpLeaveallTimerHandler, "mvrpLeaveallTimerHandler"},
        {mvrpPendingTimerHandler, "mvrpPendingTimerHandler"},
        {mvrpSendTimerHandler, "mvrpPortSendPkt"},
    };
    for (const auto& [known, name] : kNames)
        if (known == handler)
            return name;
    return "?";
}

std::optional<u64> earliestDueMs() {
    const auto earliest = platform::timerHeapEarliest(gMvrpInfo.timerList);
    return earliest.node == nullptr ? std::nullopt : std::optional(earliest.dueMs);
}

std::string formatTimer(const SilTimerNode& node, SilTimerHandler usual) {
    if (!platform::timerRunning(node))
        return "-";
    std::string text = std::to_string(remainingMs(gMvrpInfo.timerList, node));
    if (node.handler != usual)
        text += ":" + std::string(nameOfHandler(node.handler));
    return text;
}

}  // namespace scenario

void silTimerListInit(SilTimerList* list) {
    traceEvent("sys silTimerListInit");
    platform::timerHeapInit(*list);
}

void silTimerNodeInit(SilTimerNode* node) {
    if (scenario::tracing())
        traceEvent("timer init %s", scenario::nameOfNode(node).c_str());
    *node = SilTimerNode{};
}

u32 silTimerStart(SilTimerList* list, SilTimerNode* node, u32, u32 ms, SilTimerHandler handler,
                  void* argument, void*, void*) {
    if (scenario::tracing())
        traceEvent("timer start %s %u %s", scenario::nameOfNode(node).c_str(), ms,
                   scenario::nameOfHandler(handler).data());
    const u64 due = scenarioHost().nowMs + ms;
    return platform::timerHeapStart(*list, *node, due, handler, argument) ? kStatusOk
                                                                          : kStatusFailed;
}

void silTimerStop(SilTimerList* list, SilTimerNode* node) {
    if (scenario::tracing())
        traceEvent("timer stop %s %s", scenario::nameOfNode(node).c_str(),
                   platform::timerRunning(*node) ? "run" : "idle");
    platform::timerHeapStop(*list, *node);
}

u32 silTimerRemain(SilTimerList* list, SilTimerNode* node) {
    if (scenario::tracing())
        traceEvent("timer remain %s", scenario::nameOfNode(node).c_str());
    return platform::timerRunning(*node) ? static_cast<u32>(scenario::remainingMs(*list, *node))
                                         : 0;
}

s32 silTimerListNextTimeout(SilTimerList* list) {
    const auto earliest = platform::timerHeapEarliest(*list);
    if (earliest.node == nullptr)
        return -1;
    constexpr u64 kMost = INT32_MAX;
    return static_cast<s32>(std::min(scenario::remainingMs(*list, *earliest.node), kMost));
}

void silTimerListCheck(SilTimerList* list) {
    const u32 most = list->used + scenario::kExtraTimersPerCheck;
    for (u32 fired = 0; fired < most; fired++) {
        const auto due = platform::timerHeapPopDue(*list, scenarioHost().nowMs);
        if (due.node == nullptr)
            return;
        if (scenario::tracing())
            traceEvent("timer fire %s %s", scenario::nameOfNode(due.node).c_str(),
                       scenario::nameOfHandler(due.node->handler).data());
        due.node->handler(due.node->argument);
    }
}
