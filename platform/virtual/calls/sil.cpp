// SPDX-License-Identifier: MIT
//
// Options, tasks and the mutex of the scenario host. A created task is recorded and never run; the
// mutex never blocks and counts its depth.
#include "platform/contract/sil.h"

#include "platform/virtual/state/host.h"

using scenario::scenarioHost;
using scenario::traceEvent;

namespace {

constexpr u32 kMutexId = 1;

}  // namespace

void silCatchSegFault() {
    traceEvent("sys silCatchSegFault");
}

s32 silOptRead(u32, const char* key, u32, u32, u32, char* buffer, u32 size) {
    traceEvent("sys optread %s", key);
    const auto& options = scenarioHost().options;
    const auto found = options.find(std::string_view(key));
    if (found == options.end() || size == 0)
        return 0;
    const std::size_t length = found->second.copy(buffer, size - 1);
    buffer[length] = '\0';
    return 1;
}

u32 silCreateTask(const char* name, u32, u32, void (*)(void*), void*, u32, u32* taskId) {
    traceEvent("sys task %s", name);
    if (const auto failure = scenarioHost().failures.take("task", {name}))
        return *failure;
    if (taskId != nullptr)
        *taskId = 1;
    return kStatusOk;
}

u32 silCreateMSem(u32 options) {
    traceEvent("sys semcreate %u", options);
    constexpr u32 kNoMutex = 0;
    return scenarioHost()
        .failures.take("semcreate", {scenario::failureKey({options})}, kNoMutex)
        .value_or(kMutexId);
}

u32 silTakeSem(u32, s32) {
    traceEvent("lock take");
    scenarioHost().lockDepth++;
    return kStatusOk;
}

u32 silGiveSem(u32) {
    traceEvent("lock give");
    if (scenarioHost().lockDepth > 0)
        scenarioHost().lockDepth--;
    return kStatusOk;
}

u32 silDeleteSem(u32) {
    traceEvent("sys semdelete");
    return kStatusOk;
}
