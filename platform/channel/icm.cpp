// SPDX-License-Identifier: MIT
#include "platform/contract/icm.h"

#include "platform/runtime/process_runtime.h"

u32 icmProcTcpInit(const char* task, const char* path, const IcmFunc* map, u32 count) {
    const auto& start = platform::processRuntime().startCommands;
    return start && start(task, path, {map, count}) ? kStatusOk : kStatusFailed;
}
