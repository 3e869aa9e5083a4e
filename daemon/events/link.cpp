// SPDX-License-Identifier: MIT
#include "daemon/events/link.h"

#include <optional>

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/db/port_vlan.h"
#include "daemon/events/message.h"
#include "daemon/fsm/machine.h"
#include "daemon/map/port_enable.h"
#include "daemon/map/static_vlan.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/pdu/leaveall.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"

namespace {

/// Numbers that two trace lines show: see docs/compatibility.md.
constexpr u32 kTypeUnitTraceTag = 348;
constexpr u32 kTypeVlanTraceTag = 354;

#define MVRP_LINK_TRACE(portUnit, vid, ...) \
    MVRP_TRACE_ID(MVRP_LOG_EVENT, MVRP_DEBUG_STATE, portUnit, vid, __VA_ARGS__)

/// VLAN ID of a VLAN interface; nothing when it can not be read or is no VLAN ID.
std::optional<u32> mvrpInterfaceVlan(u32 index) {
    u32 vid = 0;
    if (qorIfGetApi(index, static_cast<u32>(QorIfAttribute::VlanIdOfInterface), &vid) !=
            kStatusOk ||
        !mvrpVlanIdHas(vid))
        return std::nullopt;
    return vid;
}

/// Whether the port sends its declarations as soon as a new static VLAN would have it.
bool mvrpJoinIsNear(MvrpPortEntry* port) {
    const u32 left = silTimerRemain(&gMvrpInfo.timerList, &port->joinTimer);
    return left >= 1 && left <= kMvrpPromptJoinMs;
}

/// Has the port declare its static VLANs soon; under compliance the leave-all round starts again.
void mvrpStaticVlanAnnounce(MvrpPortEntry* port, u32 vid) {
    const bool compliant = mvrpGvrpCompliant();
    if (compliant)
        mvrpBitSet(&port->madMachine[vid - 1], MVRP_PROPAGATE_BIT);
    // Both restarts put off what was under way, unless that is corrected.
    const bool promptly = mvrpCorrects(Correction::StaticKept);
    if (promptly && mvrpJoinIsNear(port)) {
        correctionActed(Correction::StaticKept, port->portunit, vid);
        port->joinTimerFlag = MVRP_JOIN_FULL;
    } else {
        mvrpJoinTimerArm(port, MVRP_JOIN_FULL, kMvrpPromptJoinMs);
    }
    if (compliant && !promptly)
        mvrpPortTimerRestart(port, &port->leaveAllTimer, port->leaveAllTimeout,
                             mvrpLeaveallTimerHandler);
}

/// Has the port send soon that a static VLAN is gone. The leave slot does it, in place of a leave
/// timer that runs: wanted so, unless that slot is a clock.
void mvrpStaticVlanRetractSoon(MvrpPortEntry* port) {
    if (mvrpCorrectsNow(Correction::LeaveClock, port->portunit, 0)) {
        port->joinTimerFlag = MVRP_JOIN_FULL;
        mvrpVectorJoinStart(port);
    } else {
        mvrpPortTimerRestart(port, &port->leaveTimer, kMvrpPromptJoinMs, mvrpSendTimerHandler);
    }
}

/// Withdraws a VLAN that is no longer static on the port, and has that sent: under compliance at
/// once, if that is corrected, and not at all otherwise.
void mvrpStaticVlanRetract(MvrpPortEntry* port, u32 vid) {
    mvrpPortDelStaticVlan(port, vid);
    if (!mvrpGvrpCompliant())
        mvrpStaticVlanRetractSoon(port);
    else if (mvrpCorrects(Correction::GvrpStaticWithdrawn))
        mvrpForwardGvrpLeavePkt(port);
}

/// Registers a VLAN that became static on a port and drops what is pending for it. `step` numbers
/// the trace line.
void mvrpStaticVlanTakeOver(MvrpPortEntry* port, u32 vid, u32 step) {
    port->msgNum = 0;
    mvrpVlanFlagReset(port, vid);
    MVRP_TRACE(MVRP_DEBUG_DATABASE, port->portunit, vid,
               "new-link process step%u; port %u vlan %u entry del. (%u)\n\r", step, port->portunit,
               vid, gMvrpInfo.vlanEntryNum);
    mvrpPortVlanEntryDel(port->portunit, vid);
    mvrpStaticVlanAnnounce(port, vid);
}

/// Calls `action` for every enabled port that carries the VLAN, in order.
template <class Action>
void mvrpForEachCarrier(u32 vid, Action action) {
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port))
        if (port->enable != 0 && mvrpPortCarriesVlan(port->portunit, vid))
            action(port);
}

void mvrpVlanCreated(u32 index) {
    QorIndexInfo info = {};
    if (qorIndexTrans(index, kIndexTransEndType, &info) != kStatusOk ||
        info.endType != static_cast<u32>(QorEndType::Vlan))
        return;
    const std::optional<u32> vid = mvrpInterfaceVlan(index);
    if (!vid.has_value())
        return;
    MVRP_LINK_TRACE(0, *vid, "vlan %u reg.\r\n", *vid);
    if (!mvrpVlanKnownAndNot(*vid, QorVlanType::Dynamic))
        return;
    mvrpForEachCarrier(*vid, [vid = *vid](MvrpPortEntry* port) {
        mvrpPortAddStaticVlan(port, vid);
        MVRP_LINK_TRACE(port->portunit, vid, "port %u init static vlan %u. (machine 0x%02x)\r\n",
                        port->portunit, vid, port->madMachine[vid - 1]);
        mvrpStaticVlanTakeOver(port, vid, 1);
    });
}

void mvrpLinkStateChange(u32 unit, u8 state) {
    MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port == nullptr)
        return;
    port->linkState = state == 1 ? 1 : 0;
    // Whatever the peer declared may be gone: as if it had asked everybody to declare anew.
    if (port->linkState == 0 && port->enable != 0)
        mvrpRcvLeaveall(port);
}

void mvrpVlanTypeChange(u32 index, u32 type) {
    MVRP_LINK_TRACE(0, 0, "[MVRP-%u] change vlan unit %u type\r\n", kTypeUnitTraceTag, index);
    const std::optional<u32> vid = mvrpInterfaceVlan(index);
    if (!vid.has_value())
        return;
    MVRP_LINK_TRACE(0, *vid, "[MVRP-%u] change vlan %u type\r\n", kTypeVlanTraceTag, *vid);
    if (type == static_cast<u32>(QorVlanType::Dynamic))
        return;
    mvrpForEachCarrier(*vid, [vid = *vid](MvrpPortEntry* port) {
        MVRP_LINK_TRACE(port->portunit, vid, "port %u change vlan %u type1.(machine 0x%02x)\r\n",
                        port->portunit, vid, port->madMachine[vid - 1]);
        mvrpPortAddStaticVlan(port, vid);
        MVRP_LINK_TRACE(port->portunit, vid, "port %u change vlan %u type2.(machine 0x%02x)\r\n",
                        port->portunit, vid, port->madMachine[vid - 1]);
        mvrpStaticVlanTakeOver(port, vid, 2);
    });
}

void mvrpEligibilityChange(u32 unit, u32 eligible) {
    if (eligible == 1)
        return;
    MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port != nullptr && mvrpPortEntryDisable(port) == 0)
        mvrpPortEntryDel(port);
}

/// A physical port joined an aggregation, which has to have its VLANs applied to it anew.
void mvrpAggregationJoin(u32 unit, u32 aggregation) {
    if (MvrpPortEntry* physical = mvrpPortEntryGet(unit); physical != nullptr)
        mvrpPortWithdraw(physical);

    const MvrpPortEntry* port = mvrpPortEntryGet(aggregation);
    if (port == nullptr) {
        MVRP_LINK_TRACE(aggregation, 0, "phy join agg; no port entry.(%u)\r\n", aggregation);
        return;
    }
    for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; ++vid) {
        const u8* flag = &port->vlanFlag[vid - 1];
        if (mvrpBitTest(flag, MVRP_FLAG_APPLIED) == 0 || mvrpBitTest(flag, MVRP_FLAG_REMOVE) != 0)
            continue;
        if (mvrpPortVlanEntryEnsure(aggregation, vid)) {
            MVRP_TRACE(MVRP_DEBUG_DATABASE, aggregation, vid,
                       "new-link process; port %u vlan %u entry add. (%u)\n\r", aggregation, vid,
                       gMvrpInfo.vlanEntryNum);
        }
    }
}

/// @return the entry of a port on which MVRP runs, or null
MvrpPortEntry* mvrpEnabledPort(u32 unit) {
    MvrpPortEntry* port = mvrpPortEntryGet(unit);
    return port != nullptr && port->enable != 0 ? port : nullptr;
}

void mvrpMemberAdded(u32 unit, u32 vid) {
    MvrpPortEntry* port = mvrpEnabledPort(unit);
    if (port == nullptr || !mvrpVlanIdHas(vid))
        return;
    MVRP_LINK_TRACE(unit, vid, "vlan %u add if %u\r\n", vid, unit);
    if (!mvrpPortCarriesVlan(unit, vid) || mvrpVlanType(vid) != QorVlanType::Static)
        return;
    mvrpPortAddStaticVlan(port, vid);
    port->msgNum = 0;
    mvrpStaticVlanAnnounce(port, vid);
}

void mvrpMemberRemoved(u32 unit, u32 vid) {
    MvrpPortEntry* port = mvrpEnabledPort(unit);
    if (port == nullptr || !mvrpVlanIdHas(vid))
        return;
    const u32 type = static_cast<u32>(mvrpVlanType(vid).value_or(QorVlanType{}));
    const bool isStatic = type == static_cast<u32>(QorVlanType::Static);
    if (isStatic && mvrpBitTest(&port->vlanFlag[vid - 1], MVRP_FLAG_APPLIED) != 0)
        return;
    if (isStatic)
        mvrpVlanFlagReset(port, vid);
    else
        mvrpVlanFlagRemovePending(port, vid);
    MVRP_TRACE(MVRP_DEBUG_DATABASE, unit, vid,
               "new-link process step3; port %u vlan %u entry del. (%u)\n\r", unit, vid,
               gMvrpInfo.vlanEntryNum);
    mvrpPortVlanEntryEnsure(unit, vid);
    MVRP_LINK_TRACE(unit, vid, "vlan %u remove if %u [%u, 0x%02x]\r\n", vid, unit, type,
                    port->madMachine[vid - 1]);
    if (isStatic) {
        port->msgNum = 1;
        mvrpStaticVlanRetract(port, vid);
    }
}

/// Acts on one attribute of a changed interface. `value` is what follows the attribute's header, up
/// to the end of the message: a value is read whatever length its attribute claims.
void mvrpLinkAttributeApply(std::span<u8> message, u16 type, std::span<const u8> value) {
    const u32 interface = mvrpRouteRead<u32>(message, ROUTE_LINK_INTERFACE);
    const u32 number = mvrpRouteRead<u32>(value, 0);
    switch (type) {
        case LINK_STATE:
            mvrpLinkStateChange(interface, mvrpRouteRead<u8>(value, 0));
            break;
        case LINK_VLAN_TYPE:
            mvrpVlanTypeChange(interface, number);
            break;
        case LINK_ELIGIBLE:
            mvrpEligibilityChange(interface, number);
            break;
        case LINK_AGGREGATION:
            mvrpAggregationJoin(interface, number);
            break;
        case LINK_MEMBER_ADDED:
            // Later attributes of this message are about the member.
            mvrpRouteWrite(message, ROUTE_LINK_INTERFACE, number);
            mvrpMemberAdded(number, mvrpRouteRead<u32>(message, ROUTE_LINK_VLAN));
            break;
        case LINK_MEMBER_REMOVED:
            mvrpMemberRemoved(number, mvrpRouteRead<u32>(message, ROUTE_LINK_VLAN));
            break;
        default:
            break;
    }
}

void mvrpLinkAttributesWalk(std::span<u8> message) {
    constexpr size_t kHeaderBytes = 4;
    constexpr size_t kTypeAt = 2;
    if (message.size() < kMvrpLinkAttributesAt)
        return;
    std::span<const u8> rest = message.subspan(kMvrpLinkAttributesAt);
    while (rest.size() >= kHeaderBytes) {
        const size_t length = mvrpRouteRead<u16>(rest, 0);
        if (length < kHeaderBytes || length > rest.size())
            return;
        mvrpLinkAttributeApply(message, mvrpRouteRead<u16>(rest, kTypeAt),
                               rest.subspan(kHeaderBytes));
        rest = rest.subspan(std::min(mvrpRouteAlign(length), rest.size()));
    }
}

/// A VLAN was deleted, for every port, enabled or not.
void mvrpVlanDeleted(u32 vid) {
    if (!mvrpVlanIdHas(vid))
        return;
    ++gMvrpInfo.mvrpNum;
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        if (mvrpBitTest(&port->vlanFlag[vid - 1], MVRP_FLAG_APPLIED) != 0) {
            mvrpVlanFlagRemovePending(port, vid);
            if (mvrpPortVlanEntryEnsure(port->portunit, vid)) {
                MVRP_TRACE(MVRP_DEBUG_DATABASE, port->portunit, vid,
                           "del-link process; port %u vlan %u entry add. (%u)\n\r", port->portunit,
                           vid, gMvrpInfo.vlanEntryNum);
            }
        }
        const bool compliant = mvrpGvrpCompliant();
        if (!compliant)
            port->msgNum = 1;
        if (compliant && !mvrpCorrects(Correction::GvrpStaticWithdrawn))
            port->madMachine[vid - 1] = 0;
        else
            mvrpStaticVlanRetract(port, vid);
    }
}

}  // namespace

void mvrpNewLink(std::span<u8> message) {
    if (mvrpRouteRead<u32>(message, ROUTE_LINK_CHANGE_MASK) == kMvrpLinkCreated)
        mvrpVlanCreated(mvrpRouteRead<u32>(message, ROUTE_LINK_INTERFACE));
    else
        mvrpLinkAttributesWalk(message);
}

void mvrpDelLink(std::span<const u8> message) {
    const u32 interface = mvrpRouteRead<u32>(message, ROUTE_LINK_INTERFACE);
    QorIndexInfo info = {};
    if (qorIndexTrans(interface, kIndexTransEndType, &info) != kStatusOk)
        MVRP_LINK_TRACE(0, 0, "del link process; index trans failed.(%u)\r\n", interface);
    else if (info.endType == static_cast<u32>(QorEndType::Vlan))
        mvrpVlanDeleted(info.vid);
    else if (MvrpPortEntry* port = mvrpPortEntryGet(interface); port != nullptr)
        mvrpPortWithdraw(port);
}

void mvrpPortWithdraw(MvrpPortEntry* port) {
    mvrpPortEntryDisable(port);
    mvrpPortVlanDel();
    mvrpPortEntryDel(port);
}
