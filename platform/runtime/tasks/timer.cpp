// SPDX-License-Identifier: MIT
//
// The contract's timers on the monotonic clock.
#include "platform/runtime/tasks/timer.h"

#include <algorithm>
#include <atomic>
#include <limits>

#include "platform/containers/timer_heap.h"
#include "platform/contract/sil.h"
#include "platform/runtime/process_runtime.h"

namespace platform {
namespace {

/// When the timer that was started last without an argument is due; 0: there was none.
std::atomic<u64> portlessDueMs{0};

u64 msUntil(u64 dueMs) {
    const u64 now = momentMs();
    return dueMs > now ? dueMs - now : 0;
}

}  // namespace

std::optional<u64> portlessTimerMs() {
    const u64 dueMs = portlessDueMs.load(std::memory_order_relaxed);
    return dueMs == 0 ? std::nullopt : std::optional(msUntil(dueMs));
}

}  // namespace platform

using namespace platform;

void silTimerListInit(SilTimerList* list) {
    timerHeapInit(*list);
}

void silTimerNodeInit(SilTimerNode* node) {
    *node = SilTimerNode{};
}

u32 silTimerStart(SilTimerList* list, SilTimerNode* node, u32, u32 ms, SilTimerHandler handler,
                  void* argument, void*, void*) {
    const u64 dueMs = momentMs() + ms;
    const bool started = timerHeapStart(*list, *node, dueMs, handler, argument);
    if (started && argument == nullptr)
        portlessDueMs.store(dueMs, std::memory_order_relaxed);
    return started ? kStatusOk : kStatusFailed;
}

void silTimerStop(SilTimerList* list, SilTimerNode* node) {
    timerHeapStop(*list, *node);
}

u32 silTimerRemain(SilTimerList* list, SilTimerNode* node) {
    return timerRunning(*node) ? static_cast<u32>(msUntil(timerHeapDue(*list, *node))) : 0;
}

s32 silTimerListNextTimeout(SilTimerList* list) {
    const DueTimer earliest = timerHeapEarliest(*list);
    if (earliest.node == nullptr)
        return -1;
    constexpr u64 kLongest = std::numeric_limits<s32>::max();
    return static_cast<s32>(std::min(msUntil(earliest.dueMs), kLongest));
}

void silTimerListCheck(SilTimerList* list) {
    processRuntime().protocolRounds.fetch_add(1, std::memory_order_relaxed);
    // The time is asked for each: a timer that a handler starts at 0 ms is due within this check.
    for (u32 run = 0; run < kMaxHandlersPerCheck; run++) {
        const DueTimer due = timerHeapPopDue(*list, momentMs());
        if (due.node == nullptr)
            return;
        // A copy: the handler may release the record that the node is part of.
        const SilTimerNode node = *due.node;
        if (node.handler != nullptr)
            node.handler(node.argument);
    }
}
