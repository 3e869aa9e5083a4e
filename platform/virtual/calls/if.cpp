// SPDX-License-Identifier: MIT
//
// The interface service of the scenario host.
#include "platform/contract/qor_if.h"

#include <algorithm>
#include <array>

#include "platform/virtual/state/host.h"

using scenario::bitmapOf;
using scenario::failureKey;
using scenario::scenarioHost;
using scenario::SwitchPort;
using scenario::traceEvent;

namespace {

u32 storeNumber(void* value, u32 number) {
    *static_cast<u32*>(value) = number;
    return kStatusOk;
}

u32 storeVlans(void* descriptor, const scenario::VlanSet& vlans) {
    scenario::storeBitmap(vlans, bitmapOf(descriptor));
    return kStatusOk;
}

u32 storeMac(void* descriptor, const scenario::MacAddress& mac) {
    const auto out = bitmapOf(descriptor);
    std::copy_n(mac.begin(), std::min(out.size(), mac.size()), out.begin());
    return kStatusOk;
}

/// The attributes that are asked about one VLAN, whose ID stands in the value.
bool asksAboutVlan(QorIfAttribute attribute) {
    return attribute == QorIfAttribute::PermittedVlan || attribute == QorIfAttribute::AdmittedVlan;
}

/// What a reader in place does not ask.
bool isShown(QorIfAttribute attribute) {
    return attribute == QorIfAttribute::Pvid || attribute == QorIfAttribute::Permitted ||
           asksAboutVlan(attribute);
}

u32 findVlan(const void* value, const scenario::VlanSet& vlans) {
    const u32 vid = *static_cast<const u32*>(value);
    return vid < vlans.size() && vlans.test(vid) ? kStatusOk : kStatusFailed;
}

/// Reads an attribute of a port.
u32 readPort(const SwitchPort& port, QorIfAttribute attribute, void* value) {
    switch (attribute) {
        case QorIfAttribute::LinkState:
            return storeNumber(value, port.link);
        case QorIfAttribute::MacAddress:
            return storeMac(value, port.mac);
        case QorIfAttribute::Mtu:
            return storeNumber(value, port.mtu);
        case QorIfAttribute::Eligible:
            return storeNumber(value, port.eligible);
        case QorIfAttribute::Pvid:
            return storeNumber(value, port.pvid);
        case QorIfAttribute::PermittedTagged:
            return storeVlans(value, port.tagged);
        case QorIfAttribute::Permitted:
            return storeVlans(value, port.permitted);
        case QorIfAttribute::DynamicMembership:
            return storeVlans(value, port.dynamic);
        case QorIfAttribute::PermittedVlan:
            return findVlan(value, port.permitted);
        case QorIfAttribute::AdmittedVlan:
            return findVlan(value, port.admitted);
        default:
            return kStatusFailed;
    }
}

/// Reads an attribute of an interface that is not a port.
u32 readIndex(u32 index, void* value) {
    const auto& indexes = scenarioHost().switchState.indexes;
    const auto found = indexes.find(index);
    return found == indexes.end() ? kStatusFailed : storeNumber(value, found->second.vid);
}

}  // namespace

u32 qorIfGetApi(u32 unit, u32 attribute, void* value) {
    const auto known = static_cast<QorIfAttribute>(attribute);
    auto& failures = scenarioHost().failures;
    const bool traced = isShown(known) ? scenario::tracingLookups() : scenario::tracing();
    std::optional<u32> failure;
    if (asksAboutVlan(known)) {
        const u32 vid = *static_cast<const u32*>(value);
        if (traced)
            traceEvent("ifget %u %u %u", unit, attribute, vid);
        if (!failures.empty())  // asked for each VLAN of a PDU: without making keys
            failure =
                failures.take("ifget", {failureKey({attribute}), failureKey({unit, attribute}),
                                        failureKey({unit, attribute, vid})});
    } else {
        if (traced)
            traceEvent("ifget %u %u", unit, attribute);
        failure = failures.take("ifget", {failureKey({attribute}), failureKey({unit, attribute})});
    }
    if (failure)
        return *failure;
    if (known == QorIfAttribute::VlanIdOfInterface)
        return readIndex(unit, value);
    const SwitchPort* port = scenarioHost().switchState.findPort(unit);
    return port == nullptr ? kStatusFailed : readPort(*port, known, value);
}

u32 qorIfSetApi(u32 unit, u32 attribute, void* value) {
    const u32 number = *static_cast<const u32*>(value);
    traceEvent("ifset %u %u %u", unit, attribute, number);
    const auto failure = scenarioHost().failures.take(
        "ifset", {failureKey({attribute}), failureKey({unit, attribute}),
                  failureKey({unit, attribute, number}), failureKey({attribute, number})});
    if (failure)
        return *failure;
    if (SwitchPort* port = scenarioHost().switchState.findPort(unit);
        port != nullptr && number == kProtocolMvrp)
        port->takesPart = attribute == static_cast<u32>(QorIfAttribute::ProtocolEnable);
    return kStatusOk;
}

u32 qorIfSyncApi(u32 unit, u32 attribute, void* descriptor, u32) {
    const auto vlans = scenario::vlanSetOf(bitmapOf(descriptor));
    if (scenario::tracing())
        traceEvent("ifsync %u %u %s", unit, attribute, scenario::formatVlanSet(vlans).c_str());
    if (const auto failure = scenarioHost().failures.take(
            "ifsync", {failureKey({attribute}), failureKey({unit, attribute})}))
        return *failure;
    auto& state = scenarioHost().switchState;
    SwitchPort* port = state.findPort(unit);
    if (!state.followsWrites || port == nullptr)
        return kStatusOk;
    if (attribute == static_cast<u32>(QorIfAttribute::AddDynamic)) {
        port->dynamic |= vlans;
        port->everDynamic |= vlans;
    } else if (attribute == static_cast<u32>(QorIfAttribute::RemoveDynamic)) {
        state.removeMember(*port, vlans);
    }
    return kStatusOk;
}

u32 qorIfUnit2Name(u32 unit, char* name, u32 size) {
    traceEvent("ifname %u", unit);
    if (const auto failure = scenarioHost().failures.take("ifname", {failureKey({unit})}))
        return *failure;
    const SwitchPort* port = scenarioHost().switchState.findPort(unit);
    if (port == nullptr || size == 0)
        return kStatusFailed;
    const std::size_t length = port->name.copy(name, size - 1);
    name[length] = '\0';
    return kStatusOk;
}

u32 qorIndexTrans(u32 index, u32, void* out) {
    traceEvent("indextrans %u", index);
    if (const auto failure = scenarioHost().failures.take("indextrans", {failureKey({index})}))
        return *failure;
    auto& info = *static_cast<QorIndexInfo*>(out);
    info = QorIndexInfo{};
    auto& state = scenarioHost().switchState;
    if (const auto found = state.indexes.find(index); found != state.indexes.end()) {
        info.endType = found->second.kind;
        info.vid = found->second.vid;
        return kStatusOk;
    }
    const SwitchPort* port = state.findPort(index);
    if (port == nullptr)
        return kStatusFailed;
    info.endType =
        static_cast<u32>(port->aggregation == 1 ? QorEndType::Aggregation : QorEndType::Port);
    return kStatusOk;
}
