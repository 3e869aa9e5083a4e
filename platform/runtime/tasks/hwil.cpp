// SPDX-License-Identifier: MIT
//
// The hardware layer of a host that has no hardware: what the daemon tells it is kept, what it asks
// is answered by the command synchronisation, if there is one.
#include "platform/contract/qor_hwil.h"

#include "platform/runtime/process_runtime.h"
#include "platform/runtime/tasks/start_gate.h"

using platform::processRuntime;

u32 qorHwilScalarSet(u32, u32 scalar, void* value, u32) {
    if (scalar != kHwilScalarProtocol || value == nullptr)
        return kStatusFailed;
    processRuntime().announcedProtocol = *static_cast<const u32*>(value);
    platform::openStartGate();  // the last thing that the daemon does before it sleeps
    return kStatusOk;
}

u32 qorHwilScalarGet(u32, u32 scalar, void*) {
    if (scalar != kHwilScalarStandby || !processRuntime().standbyState)
        return kStatusFailed;
    return processRuntime().standbyState();
}

u32 qorHwilCmdSyncApi(u32 unit, u32 command, void* value, void* control) {
    if (!processRuntime().commandSync)
        return kStatusOk;
    return processRuntime().commandSync(unit, command, value, control);
}

u32 qorHwilSlotGet(void*, u32, u32, u32) {
    return kStatusFailed;  // a host of its own has no slots
}
