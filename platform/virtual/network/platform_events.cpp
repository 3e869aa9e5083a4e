// SPDX-License-Identifier: MIT
#include "platform/virtual/network/platform_events.h"

#include "daemon/db/port.h"
#include "daemon/mgmt/config.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"
#include "platform/contract/qor_if.h"
#include "platform/contract/qor_vlan.h"

namespace simulation {
namespace {

constexpr u32 kStatic = static_cast<u32>(QorVlanType::Static);
constexpr u32 kVlanInterface = static_cast<u32>(QorEndType::Vlan);

/// The command server releases the lock that two refusals leave held; so does this.
u32 releasingLock(u32 status) {
    while (scenario::scenarioHost().lockDepth > 0)
        silGiveSem(gMvrpInfo.sem);
    return status;
}

}  // namespace

void notify(Node& node, const platform::RouteBatch& batch) {
    for (const auto& datagram : batch.datagrams())
        node.host.sockets.routeMessages.push_back(datagram.bytes);
}

void setLink(Node& node, u32 unit, bool up) {
    auto& port = node.host.switchState.addPort(unit);
    if ((port.link == 1) == up)
        return;
    port.link = up ? 1 : 0;
    platform::RouteBatch batch;
    batch.linkState(unit, false);
    if (up)
        batch.linkState(unit, true);
    notify(node, batch);
}

void makeVlanStatic(Node& node, u32 vid) {
    auto& state = node.host.switchState;
    const auto before = state.typeOfVlan(vid);
    if (before == kStatic)
        return;
    state.vlanTypes.set(vid, kStatic);
    state.indexes[kVlanInterfaceBase + vid] = {kVlanInterface, vid};
    platform::RouteBatch batch;
    if (before)
        batch.vlanTypeChanged(vid, kStatic);
    else
        batch.linkCreated(kVlanInterfaceBase + vid);
    notify(node, batch);
}

/// Memberships go with the VLAN. The index is still known while the daemon reads of its end.
void deleteVlan(Node& node, u32 vid) {
    auto& state = node.host.switchState;
    if (state.typeOfVlan(vid) != kStatic)
        return;
    state.vlanTypes.set(vid, std::nullopt);
    for (auto& [unit, port] : state.ports)
        port.dynamic.reset(vid);
    state.indexes[kVlanInterfaceBase + vid] = {kVlanInterface, vid};
    platform::RouteBatch batch;
    batch.linkDeleted(kVlanInterfaceBase + vid);
    notify(node, batch);
}

void permitVlan(Node& node, u32 unit, u32 vid, bool permitted) {
    auto& port = node.host.switchState.addPort(unit);
    if (port.permitted.test(vid) == permitted)
        return;
    port.permitted.set(vid, permitted);
    port.tagged.set(vid, permitted && port.pvid != vid);
    // A port that is taken out of a static VLAN is out, whatever it had learnt before.
    if (!permitted && !node.host.corrections.empty() &&
        node.host.switchState.typeOfVlan(vid) == kStatic)
        port.dynamic.reset(vid);
    platform::RouteBatch batch;
    if (permitted)
        batch.memberAdded(vid, unit);
    else
        batch.memberRemoved(vid, unit);
    notify(node, batch);
}

void setEligible(Node& node, u32 unit, bool eligible) {
    auto& port = node.host.switchState.addPort(unit);
    if ((port.eligible == 1) == eligible)
        return;
    port.eligible = eligible ? 1 : 0;
    platform::RouteBatch batch;
    batch.eligible(unit, eligible);
    notify(node, batch);
}

void resetPort(Node& node, u32 unit) {
    node.wanted[unit] = false;
    platform::RouteBatch batch;
    batch.portReset(unit);
    notify(node, batch);
}

u32 setPort(u32 unit, u32 attribute, u32 value) {
    return mvrpPortSetApi(unit, attribute, &value);
}

u32 setTimes(u32 unit, const PortTimes& times) {
    const MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port == nullptr)
        return MVRP_ERR_NO_PORT;
    // The leave time is twice the join time at least: the one that makes room goes first.
    const bool longer = times.leaveMs && *times.leaveMs > port->leave_timeout;
    u32 status = kStatusOk;
    const auto set = [unit, &status](u32 attribute, std::optional<u32> ms) {
        if (ms && status == kStatusOk)
            status = setPort(unit, attribute, *ms);
    };
    if (longer)
        set(MVRP_PORT_LEAVE_ALL_TIMEOUT, times.leaveAllMs);
    if (longer)
        set(MVRP_PORT_LEAVE_TIMEOUT, times.leaveMs);
    set(MVRP_PORT_JOIN_TIMEOUT, times.joinMs);
    set(MVRP_PORT_LEAVE_TIMEOUT, times.leaveMs);
    set(MVRP_PORT_LEAVE_ALL_TIMEOUT, times.leaveAllMs);
    return status;
}

void setLeaveAllIn(u32 unit, u32 ms) {
    MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port != nullptr && port->enable != 0)
        mvrpPortTimerRestart(port, &port->leaveAllTimer, ms, mvrpLeaveallTimerHandler);
}

static_assert(kApplyEveryMs == kMvrpPendingIdleMs);

void setApplyIn(u32 ms) {
    silTimerStop(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer);
    silTimerStart(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer, 0, ms, mvrpPendingTimerHandler,
                  nullptr, nullptr, nullptr);
}

u32 setScalar(u32 attribute, u32 value) {
    return releasingLock(mvrpScalarSetApi(0, attribute, &value));
}

u32 syncScalar(u32 attribute, u32 value) {
    return releasingLock(mvrpScalarSyncApi(0, attribute, &value));
}

u32 setPortEnabled(Node& node, u32 unit, bool enabled) {
    node.wanted[unit] = enabled;
    return setPort(unit, MVRP_PORT_ENABLE, enabled ? 1 : 0);
}

void startDaemonOf(Node& node) {
    // Calls that are still to fail may do so in this start.
    node.callsFailed = !node.host.failures.empty();
    if (!node.host.corrections.empty())
        node.host.switchState.forgetLearnt();
    // Whoever supervises the daemon starts it again until nothing fails.
    while (scenario::startDaemon(node.host) != kStatusOk)
        node.host.failures.clear();
    for (auto& [unit, port] : node.host.switchState.ports)
        port.everDynamic = port.dynamic;
    setScalar(MVRP_SCALAR_DEBUG, 0);
    setScalar(MVRP_SCALAR_ENABLE, MVRP_ON);
    for (const auto& [unit, wanted] : node.wanted)
        if (wanted)
            setPort(unit, MVRP_PORT_ENABLE, 1);
    if (node.compliant)
        setScalar(MVRP_SCALAR_GVRP_COMPLIANCE, MVRP_ON);
}

}  // namespace simulation
