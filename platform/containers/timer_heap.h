// SPDX-License-Identifier: MIT
//
// The timer list behind the contract's silTimer* calls, with the clock as an argument, so that a
// host with a real clock and one with virtual time share it. A 4-ary heap over one array, ordered
// by due time, then by the order of starting; a node knows its place, so start and stop are O(log
// n).
//
// Not locked: the owner of a list serialises every call on it.
#pragma once

#include "platform/contract/sil.h"

namespace platform {

/// One running timer, as it leaves the heap.
struct DueTimer {
    SilTimerNode* node;
    u64 dueMs;
};

void timerHeapInit(SilTimerList& list);
void timerHeapDestroy(SilTimerList& list);

/// Starts or restarts `node`, due at `dueMs` on the caller's clock.
/// @return false when there was no memory to grow the list; `node` is idle then
bool timerHeapStart(SilTimerList& list, SilTimerNode& node, u64 dueMs, SilTimerHandler handler,
                    void* argument);
/// @return whether the node was running
bool timerHeapStop(SilTimerList& list, SilTimerNode& node);

bool timerRunning(const SilTimerNode& node);
/// Due time of a running node.
u64 timerHeapDue(const SilTimerList& list, const SilTimerNode& node);
/// The earliest timer, or a null node.
DueTimer timerHeapEarliest(const SilTimerList& list);
/// Takes the earliest timer out when it is due at `nowMs`; its slot is idle from then on, before
/// its handler runs. @return it, or a null node
DueTimer timerHeapPopDue(SilTimerList& list, u64 nowMs);

}  // namespace platform
