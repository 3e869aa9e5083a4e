// SPDX-License-Identifier: MIT
//
// Process services and the command server of the scenario host: recorded, and nothing more.
#include "platform/contract/process.h"

#include "platform/contract/icm.h"
#include "platform/virtual/state/host.h"

using scenario::traceEvent;

void procShellInit(const char* name, u32, u32) {
    traceEvent("sys procShellInit %s", name);
}

void patchSignalHandler() {
    traceEvent("sys patchSignalHandler");
}

u32 icmProcTcpInit(const char* task, const char* path, const IcmFunc*, u32 count) {
    traceEvent("sys icmProcTcpInit %s %s %u", task, path, count);
    return kStatusOk;
}
