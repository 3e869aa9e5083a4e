// SPDX-License-Identifier: MIT
#include "daemon/db/port.h"

#include <array>
#include <cstring>

#include "daemon/base/trace.h"
#include "daemon/db/port_vlan.h"
#include "platform/contract/qor_vlan.h"

namespace {

/// `type` of the operator messages about a protocol.
constexpr char kProtocolMessageType[] = "state";

const char* mvrpProtocolName(u32 protocol) {
    return protocol == kProtocolMvrp ? "mvrp" : "gvrp";
}

MvrpPortEntry* mvrpPortOf(MvrpListNode* link) {
    return link == &gMvrpInfo.portList ? nullptr : reinterpret_cast<MvrpPortEntry*>(link);
}

/// What the platform tells about a port before an entry is made for it.
struct MvrpPortFacts {
    u32 mtu = 0;
    u32 linkState = 0;
};

bool mvrpPortFactsRead(u32 unit, MvrpPortFacts* facts) {
    return qorIfGetApi(unit, static_cast<u32>(QorIfAttribute::Mtu), &facts->mtu) == kStatusOk &&
           qorIfGetApi(unit, static_cast<u32>(QorIfAttribute::LinkState), &facts->linkState) ==
               kStatusOk;
}

/// Links an entry behind the last one whose unit is not greater.
void mvrpPortEntryLink(MvrpPortEntry* entry) {
    MvrpListNode* position = &gMvrpInfo.portList;
    for (MvrpPortEntry* other = mvrpPortEntryFirst();
         other != nullptr && other->portunit <= entry->portunit; other = mvrpPortEntryNext(other))
        position = &other->link;
    mvrpListInsertAfter(position, &entry->link);
    if (MvrpUnitPlace* place = mvrpUnitPlaceEnsure(entry->portunit);
        place != nullptr && place->port == nullptr)
        place->port = entry;
}

/// Unlinks an entry. Another one of its unit takes its place.
void mvrpPortEntryUnlink(MvrpPortEntry* entry) {
    MvrpPortEntry* next = mvrpPortEntryNext(entry);
    mvrpListRemove(&entry->link);
    if (MvrpUnitPlace* place = mvrpUnitPlace(entry->portunit);
        place != nullptr && place->port == entry)
        place->port = next != nullptr && next->portunit == entry->portunit ? next : nullptr;
    mvrpUnitPlaceRelease(entry->portunit);
}

void mvrpPortEntrySetDefaults(MvrpPortEntry* entry, const MvrpPortFacts& facts) {
    entry->peerMode = 1;
    entry->enable = 0;
    entry->participant_mode = MVRP_PARTICIPANT_FULL;
    entry->registration_mode = MVRP_REGISTRATION_NORMAL;
    entry->gvrpCompliance = 0;
    entry->mtu = static_cast<u16>(facts.mtu);
    mvrpPortTimeoutsReset(entry);
    silTimerNodeInit(&entry->joinTimer);
    silTimerNodeInit(&entry->leaveTimer);
    silTimerNodeInit(&entry->periodTransTimer);
    silTimerNodeInit(&entry->vectorJoinTimer);
    std::memset(entry->vlanFlag, 0, sizeof(entry->vlanFlag));
    entry->linkState = facts.linkState == 1 ? 1 : 0;
}

void mvrpProtocolDisableOrLog(const MvrpPortEntry* entry, u32 protocol, MvrpInterfaceName* name) {
    if (mvrpPortProtocolSet(entry->portunit, MvrpProtocolSwitch::Disable, protocol) != kStatusOk)
        mvrpPortProtocolFailed(entry->portunit, MvrpProtocolSwitch::Disable, protocol, name);
}

}  // namespace

MvrpPortEntry* mvrpPortEntryFirst() {
    return mvrpPortOf(gMvrpInfo.portList.next);
}

MvrpPortEntry* mvrpPortEntryNext(const MvrpPortEntry* entry) {
    return mvrpPortOf(entry->link.next);
}

MvrpPortEntry* mvrpPortEntryAdd(u32 portUnit) {
    MvrpPortFacts facts;
    if (!mvrpPortFactsRead(portUnit, &facts))
        return nullptr;

    auto* entry = static_cast<MvrpPortEntry*>(silMemPoolAlloc(&gMvrpInfo.portPool, 0));
    if (entry == nullptr)
        return nullptr;
    entry->portunit = portUnit;

    QorBuffer mac = {entry->portMac, sizeof(entry->portMac)};
    if (qorIfGetApi(portUnit, static_cast<u32>(QorIfAttribute::MacAddress), &mac) != kStatusOk) {
        std::memset(static_cast<void*>(entry), 0, kMvrpPortEntryBytes);
        silMemPoolFree(&gMvrpInfo.portPool, entry);
        return nullptr;
    }

    mvrpPortEntryLink(entry);
    mvrpPortEntrySetDefaults(entry, facts);
    return entry;
}

MvrpPortEntry* mvrpPortEntryGet(u32 portUnit) {
    const MvrpUnitPlace* place = mvrpUnitPlace(portUnit);
    return place != nullptr ? place->port : nullptr;
}

MvrpPortEntry* mvrpPortEntryDel(MvrpPortEntry* entry) {
    mvrpPortVlanEntriesDel(entry->portunit);
    mvrpPortTimersStop(entry);
    MvrpInterfaceName name = {};
    if (entry->enable != 0)
        mvrpProtocolDisableOrLog(entry, kProtocolMvrp, &name);
    if (mvrpGvrpCompliant())
        mvrpProtocolDisableOrLog(entry, kProtocolGvrp, &name);
    mvrpPortEntryUnlink(entry);
    // The next user of the item counts on finding it zeroed.
    std::memset(static_cast<void*>(entry), 0, kMvrpPortEntryBytes);
    silMemPoolFree(&gMvrpInfo.portPool, entry);
    return nullptr;
}

void mvrpPortTimerRestart(MvrpPortEntry* port, SilTimerNode* slot, u32 ms,
                          SilTimerHandler handler) {
    silTimerStop(&gMvrpInfo.timerList, slot);
    silTimerStart(&gMvrpInfo.timerList, slot, 0, ms, handler, port, nullptr, nullptr);
}

void mvrpPortTimersStop(MvrpPortEntry* port) {
    silTimerStop(&gMvrpInfo.timerList, &port->joinTimer);
    silTimerStop(&gMvrpInfo.timerList, &port->leaveTimer);
    silTimerStop(&gMvrpInfo.timerList, &port->periodTransTimer);
    silTimerStop(&gMvrpInfo.timerList, &port->vectorJoinTimer);
    silTimerStop(&gMvrpInfo.timerList, &port->leaveAllTimer);
}

void mvrpPortTimeoutsReset(MvrpPortEntry* entry) {
    entry->join_timeout = u16{kMvrpJoinTime.initial};
    entry->leave_timeout = u16{kMvrpLeaveTime.initial};
    entry->leaveAllTimeout = kMvrpLeaveAllTime.initial;
    entry->period_trans_timeout = kMvrpPeriodicTime.initial;
}

u32 mvrpPortProtocolSet(u32 portUnit, MvrpProtocolSwitch direction, u32 protocol) {
    return qorIfSetApi(portUnit, static_cast<u32>(direction), &protocol);
}

void mvrpPortProtocolFailed(u32 portUnit, MvrpProtocolSwitch direction, u32 protocol,
                            MvrpInterfaceName* name) {
    qorIfUnit2Name(portUnit, name->data(), static_cast<u32>(name->size()));
    const bool enabling = direction == MvrpProtocolSwitch::Enable;
    const MvrpLog log = enabling ? MVRP_LOG_PROTO_ENABLE : MVRP_LOG_PROTO_DISABLE;
    loggingLogOutput(kMvrpLogBase + log, gMvrpInfo.logLevel[log], 0,
                     "The interface %s protocol error.(ifName=[%s], proto=[%s], type=[%s])\r\n",
                     enabling ? "enable" : "disable", name->data(), mvrpProtocolName(protocol),
                     kProtocolMessageType);
}

void mvrpVlanFlagRemovePending(MvrpPortEntry* port, u32 vid) {
    u8* flag = &port->vlanFlag[vid - 1];
    mvrpBitSet(flag, MVRP_FLAG_REMOVE);
    mvrpBitClear(flag, MVRP_FLAG_ADD);
}

void mvrpVlanFlagReset(MvrpPortEntry* port, u32 vid) {
    u8* flag = &port->vlanFlag[vid - 1];
    mvrpBitClear(flag, MVRP_FLAG_APPLIED);
    mvrpBitClear(flag, MVRP_FLAG_ADD);
    mvrpBitClear(flag, MVRP_FLAG_REMOVE);
}

s32 mvrpPortVlanClear(QorBuffer* bitmapDescriptor, MvrpPortEntry* port) {
    MvrpVlanBitmap none = {};
    QorBuffer noVlans = mvrpBitmapBuffer(none);
    if (qorIfSyncApi(port->portunit, static_cast<u32>(QorIfAttribute::RemoveDynamic), &noVlans) !=
        kStatusOk) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "port entry disable; remove vlan to port %u failed\n\r", port->portunit);
        return -1;
    }
    if (qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::DeleteDynamic),
                             bitmapDescriptor) != kStatusOk) {
        MVRP_TRACE(MVRP_DEBUG_STATE, port->portunit, 0,
                   "port entry disable; remove mvrp vlan failed\n\r");
        return -1;
    }
    return 0;
}
