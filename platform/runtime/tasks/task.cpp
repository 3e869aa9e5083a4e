// SPDX-License-Identifier: MIT
//
// The contract's tasks: threads that begin when the daemon's start-up is over.
#include <atomic>

#include "platform/contract/sil.h"
#include "platform/runtime/tasks/start_gate.h"
#include "platform/runtime/tasks/thread.h"

u32 silCreateTask(const char* name, u32, u32 stackSize, void (*entry)(void*), void* argument, u32,
                  u32* taskId) {
    static std::atomic<u32> lastTaskId{0};
    if (entry == nullptr)
        return kStatusFailed;
    const u32 id = ++lastTaskId;
    const bool started = platform::startThread(name, stackSize, [entry, argument] {
        platform::passStartGate();
        entry(argument);
    });
    if (!started)
        return kStatusFailed;
    if (taskId != nullptr)
        *taskId = id;
    return kStatusOk;
}
