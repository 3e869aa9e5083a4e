// SPDX-License-Identifier: MIT
#include "platform/containers/timer_heap.h"

#include <algorithm>
#include <cstddef>
#include <new>

namespace platform {
namespace {

constexpr u32 kArity = 4;
constexpr u32 kFirstCapacity = 64;

struct Entry {
    u64 dueMs;
    u64 sequence;  // order of starting
    SilTimerNode* node;
};

Entry* entriesOf(const SilTimerList& list) {
    return static_cast<Entry*>(list.heap);
}

bool earlier(const Entry& a, const Entry& b) {
    return a.dueMs != b.dueMs ? a.dueMs < b.dueMs : a.sequence < b.sequence;
}

/// Puts `entry` at `index` and tells its node, whose position counts from 1.
void place(SilTimerList& list, u32 index, const Entry& entry) {
    entriesOf(list)[index] = entry;
    entry.node->position = index + 1;
}

void siftUp(SilTimerList& list, u32 index, const Entry& entry) {
    while (index > 0) {
        const u32 parent = (index - 1) / kArity;
        if (!earlier(entry, entriesOf(list)[parent]))
            break;
        place(list, index, entriesOf(list)[parent]);
        index = parent;
    }
    place(list, index, entry);
}

void siftDown(SilTimerList& list, u32 index, const Entry& entry) {
    const Entry* entries = entriesOf(list);
    for (u32 child = index * kArity + 1; child < list.used; child = index * kArity + 1) {
        const u32 end = std::min(child + kArity, list.used);
        u32 least = child;
        for (u32 other = child + 1; other < end; other++)
            if (earlier(entries[other], entries[least]))
                least = other;
        if (!earlier(entries[least], entry))
            break;
        place(list, index, entries[least]);
        index = least;
    }
    place(list, index, entry);
}

/// Finds the place of `entry`, which takes over the hole at `index`.
void settle(SilTimerList& list, u32 index, const Entry& entry) {
    if (index > 0 && earlier(entry, entriesOf(list)[(index - 1) / kArity]))
        siftUp(list, index, entry);
    else
        siftDown(list, index, entry);
}

bool reserveOne(SilTimerList& list) {
    if (list.used < list.capacity)
        return true;
    const u32 capacity = list.capacity == 0 ? kFirstCapacity : list.capacity * 2;
    auto* entries = new (std::nothrow) Entry[capacity];
    if (entries == nullptr)
        return false;
    std::copy_n(entriesOf(list), list.used, entries);
    delete[] entriesOf(list);
    list.heap = entries;
    list.capacity = capacity;
    return true;
}

}  // namespace

void timerHeapInit(SilTimerList& list) {
    list = SilTimerList{};
}

void timerHeapDestroy(SilTimerList& list) {
    for (u32 index = 0; index < list.used; index++)
        entriesOf(list)[index].node->position = 0;
    delete[] entriesOf(list);
    list = SilTimerList{};
}

bool timerHeapStart(SilTimerList& list, SilTimerNode& node, u64 dueMs, SilTimerHandler handler,
                    void* argument) {
    const bool restarted = timerRunning(node);
    if (!restarted && !reserveOne(list))
        return false;
    node.handler = handler;
    node.argument = argument;
    const Entry entry{dueMs, list.nextSequence++, &node};
    if (restarted)
        settle(list, node.position - 1, entry);
    else
        siftUp(list, list.used++, entry);
    return true;
}

bool timerHeapStop(SilTimerList& list, SilTimerNode& node) {
    if (!timerRunning(node))
        return false;
    const u32 index = node.position - 1;
    const Entry last = entriesOf(list)[--list.used];
    if (last.node != &node)
        settle(list, index, last);
    node.position = 0;
    return true;
}

bool timerRunning(const SilTimerNode& node) {
    return node.position != 0;
}

u64 timerHeapDue(const SilTimerList& list, const SilTimerNode& node) {
    return entriesOf(list)[node.position - 1].dueMs;
}

DueTimer timerHeapEarliest(const SilTimerList& list) {
    if (list.used == 0)
        return {nullptr, 0};
    const Entry& first = entriesOf(list)[0];
    return {first.node, first.dueMs};
}

DueTimer timerHeapPopDue(SilTimerList& list, u64 nowMs) {
    const DueTimer first = timerHeapEarliest(list);
    if (first.node == nullptr || first.dueMs > nowMs)
        return {nullptr, 0};
    timerHeapStop(list, *first.node);
    return first;
}

}  // namespace platform
