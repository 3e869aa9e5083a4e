// SPDX-License-Identifier: MIT
//
// System interface layer: options, tasks, mutual exclusion, timers and fixed-size memory pools.
//
// The records below are opaque to the daemon, which embeds them in its own and hands out their
// addresses. They are complete types only so that they can be embedded.
#pragma once

#include "platform/contract/types.h"

/// Makes a crash of the process leave a stack trace in the log before the process ends.
void silCatchSegFault();

/// Reads a start-up option.
/// @param key     the option's name, for example "mvrp.maxifnum"
/// @param buffer  receives the text, always terminated, cut to `size` - 1 characters
/// @return > 0 when the option is present, else 0; `buffer` is untouched then
s32 silOptRead(u32 domain, const char* key, u32 reserved1, u32 reserved2, u32 count, char* buffer,
               u32 size);

/// Starts a task (a thread of this process).
/// @param stackSize  bytes the task may count on; a host may give more
/// @return 0, or non-zero when the task could not be started
u32 silCreateTask(const char* name, u32 priority, u32 stackSize, void (*entry)(void*),
                  void* argument, u32 flags, u32* taskId);

/// Creates a mutex. The task that holds it may take it again; each take needs its give.
/// @return its id, or 0 on failure
u32 silCreateMSem(u32 options);
/// Takes the mutex, waiting at most `waitMs` milliseconds, or for ever with -1.
u32 silTakeSem(u32 sem, s32 waitMs);
u32 silGiveSem(u32 sem);
u32 silDeleteSem(u32 sem);

// Timers -----------------------------------------------------------------------------------------

using SilTimerHandler = u32 (*)(void* argument);

/// One timer slot: one-shot, owned by the record that embeds it. A slot that is all zero is idle.
struct SilTimerNode {
    SilTimerHandler handler;
    void* argument;
    u32 position;  ///< 1-based place in the list's heap; 0: idle
};

/// A set of running timers, ordered by due time, then by the order of starting. Not locked: the
/// owner serialises every call on a list.
struct SilTimerList {
    void* heap;  ///< entries of the implementation, grown geometrically, never while at rest
    u32 used;
    u32 capacity;
    u64 nextSequence;
};

void silTimerListInit(SilTimerList* list);
void silTimerNodeInit(SilTimerNode* node);

/// Starts `node`, or restarts it when it runs. `ms` milliseconds from now `handler(argument)` runs
/// from within silTimerListCheck().
u32 silTimerStart(SilTimerList* list, SilTimerNode* node, u32 flags, u32 ms,
                  SilTimerHandler handler, void* argument, void* reserved1, void* reserved2);
/// Stops `node`; an idle node is left as it is.
void silTimerStop(SilTimerList* list, SilTimerNode* node);
/// Milliseconds left until `node` is due; 0 when it is idle.
u32 silTimerRemain(SilTimerList* list, SilTimerNode* node);
/// Milliseconds until the earliest timer is due (0 when overdue), negative when none runs.
s32 silTimerListNextTimeout(SilTimerList* list);
/// Runs the handler of every timer that is due, in order of due time, then of starting. A timer
/// that a handler starts and that is due at once runs in the same check, which is bounded.
void silTimerListCheck(SilTimerList* list);

// Memory pools -----------------------------------------------------------------------------------

/// A pool of items of one size: one allocation at init, constant-time alloc and free.
struct SilMemPool {
    u8* items;     ///< the one allocation; null while the pool does not exist
    u32 itemSize;  ///< bytes
    u32 itemCount;
    u32 used;       ///< items handed out
    u32 firstFree;  ///< 1-based index of the head of the free list; 0: none
    u32 untouched;  ///< items from this index on are as new: none was handed out
    const char* name;
};

/// Creates the pool. `name` must outlive it. @return 0, or non-zero when there is no memory.
u32 silMemPoolInit(SilMemPool* pool, const char* name, u32 count, u32 itemSize, u32 flags);
/// @return a zeroed item, or null when all are in use
void* silMemPoolAlloc(SilMemPool* pool, u32 flags);
void silMemPoolFree(SilMemPool* pool, void* item);
/// Releases the pool's memory, whatever is still handed out. @return 0, or non-zero on failure.
u32 silMemPoolDestroy(SilMemPool* pool);
