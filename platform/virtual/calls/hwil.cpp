// SPDX-License-Identifier: MIT
//
// The hardware layer and the command synchronisation of the scenario host.
#include "platform/contract/qor_hwil.h"

#include <algorithm>
#include <span>
#include <string>

#include "daemon/mgmt/config.h"
#include "platform/virtual/state/host.h"
#include "platform/virtual/state/sync_message.h"

using scenario::failureKey;
using scenario::scenarioHost;
using scenario::traceEvent;

namespace {

constexpr u32 kSyncPacketCommand = kMvrpScalarCommandBase + MVRP_SCALAR_SYNC_PACKET;

/// VALUE of a command: a number, or the fields of a VLAN synchronisation message.
std::string formatCommandValue(u32 command, void* value) {
    if (command == kSyncPacketCommand)
        return scenario::formatSyncMessage(scenario::bitmapOf(value));
    return std::to_string(*static_cast<const u32*>(value));
}

}  // namespace

u32 qorHwilScalarSet(u32, u32 scalar, void* value, u32) {
    traceEvent("sys hwset %u %u", scalar, *static_cast<const u32*>(value));
    return kStatusOk;
}

u32 qorHwilScalarGet(u32, u32 scalar, void*) {
    traceEvent("hwget %u", scalar);
    return scenarioHost()
        .failures.take("hwget", {failureKey({scalar})})
        .value_or(scenarioHost().switchState.standbyAnswer);
}

u32 qorHwilCmdSyncApi(u32 unit, u32 command, void* value, void* control) {
    const auto& words = static_cast<const QorCommandControl*>(control)->words;
    if (scenario::tracing())
        traceEvent("cmdsync %u 0x%x %s w0=0x%x w1=%u w4=%u", unit, command,
                   formatCommandValue(command, value).c_str(), words[0], words[1], words[4]);
    if (const auto failure = scenarioHost().failures.take(
            "cmdsync", {failureKey({command}), failureKey({unit, command})}))
        return *failure;
    const auto& standby = scenarioHost().onCommandSync;
    return standby ? standby(unit, command, value) : kStatusOk;
}

u32 qorHwilSlotGet(void*, u32 query, u32, u32 argument) {
    traceEvent("sys slotget 0x%x %u", query, argument);
    return kStatusOk;
}
