// SPDX-License-Identifier: MIT
//
// The VLAN service of the scenario host.
#include "platform/contract/qor_vlan.h"

#include "platform/virtual/state/host.h"

using scenario::failureKey;
using scenario::scenarioHost;
using scenario::traceEvent;

u32 qorVlanGetApi(u32 vid, u32 attribute, void* value) {
    if (attribute == static_cast<u32>(QorVlanAttribute::Type) ? scenario::tracingLookups()
                                                              : scenario::tracing())
        traceEvent("vlanget %u %u", vid, attribute);
    auto& failures = scenarioHost().failures;
    if (!failures.empty())  // asked for each VLAN of a PDU: without making keys
        if (const auto failure =
                failures.take("vlanget", {failureKey({attribute}), failureKey({vid, attribute})}))
            return *failure;
    const auto type = scenarioHost().switchState.typeOfVlan(vid);
    if (!type)
        return kStatusFailed;
    *static_cast<u32*>(value) = attribute == static_cast<u32>(QorVlanAttribute::Type) ? *type : 1;
    return kStatusOk;
}

u32 qorVlanScalarSyncApi(u32, u32 attribute, void* descriptor) {
    const auto vlans = scenario::vlanSetOf(scenario::bitmapOf(descriptor));
    if (scenario::tracing())
        traceEvent("vlansync %u %s", attribute, scenario::formatVlanSet(vlans).c_str());
    if (const auto failure = scenarioHost().failures.take("vlansync", {failureKey({attribute})}))
        return *failure;
    auto& state = scenarioHost().switchState;
    if (!state.followsWrites)
        return kStatusOk;
    if (attribute == static_cast<u32>(QorVlanAttribute::CreateDynamic))
        state.createDynamicVlans(vlans);
    else if (attribute == static_cast<u32>(QorVlanAttribute::DeleteDynamic))
        state.deleteDynamicVlans(vlans);
    return kStatusOk;
}
