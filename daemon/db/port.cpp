// SPDX-License-Identifier: MIT
#include "daemon/db/port.h"

#include <array>
#include <cstring>

#include "daemon/core/task.h"
#include "daemon/core/trace.h"
#include "daemon/db/pair_map.h"
#include "daemon/db/port_vlan.h"
#include "daemon/timers/protocol_timers.h"

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
    MvrpPortEntry* entry = mvrpPortEntryFirst();
    while (entry != nullptr && entry->portunit != portUnit)
        entry = mvrpPortEntryNext(entry);
    return entry;
}

MvrpPortEntry* mvrpPortEntryDel(MvrpPortEntry* entry) {
    MvrpPairCursor pairs(entry->portunit);
    for (u32 vid = pairs.seek(kMvrpVlanFirst); vid != 0 && vid <= kMvrpVlanLast;
         vid = pairs.seek(vid))
        pairs.erase();
    mvrpPairMapForget(entry->portunit);
    mvrpPortTimersStop(entry);
    MvrpInterfaceName name = {};
    if (entry->enable != 0)
        mvrpProtocolDisableOrLog(entry, kProtocolMvrp, &name);
    if (mvrpGvrpCompliant())
        mvrpProtocolDisableOrLog(entry, kProtocolGvrp, &name);
    mvrpListRemove(&entry->link);
    // The next user of the item counts on finding it zeroed.
    std::memset(static_cast<void*>(entry), 0, kMvrpPortEntryBytes);
    silMemPoolFree(&gMvrpInfo.portPool, entry);
    return nullptr;
}

u32 mvrpPortGetFirst(u32* portUnit) {
    mvrpLock();
    const MvrpPortEntry* first = mvrpPortEntryFirst();
    if (first == nullptr) {
        mvrpUnlock();
        MVRP_TRACE(MVRP_DEBUG_DATABASE, 0, 0, "port get first; ERROR!\r\n");
        return MVRP_ERR_NO_PORT;
    }
    *portUnit = first->portunit;
    MVRP_TRACE(MVRP_DEBUG_DATABASE, *portUnit, 0, "get first port.(%u)\n\r", *portUnit);
    mvrpUnlock();
    return kStatusOk;
}

u32 mvrpPortGetNext(u32 portUnit, u32* nextUnit) {
    mvrpLock();
    const MvrpPortEntry* entry = mvrpPortEntryFirst();
    while (entry != nullptr && entry->portunit <= portUnit)
        entry = mvrpPortEntryNext(entry);
    if (entry == nullptr) {
        mvrpUnlock();
        MVRP_TRACE(MVRP_DEBUG_DATABASE, 0, 0, "port get next. error!\r\n");
        return MVRP_ERR_NO_PORT;
    }
    *nextUnit = entry->portunit;
    mvrpUnlock();
    return kStatusOk;
}

void mvrpPortTimeoutsReset(MvrpPortEntry* entry) {
    entry->join_timeout = kMvrpJoinTimeoutDefault;
    entry->leave_timeout = kMvrpLeaveTimeoutDefault;
    entry->leaveAllTimeout = kMvrpLeaveAllTimeoutDefault;
    entry->period_trans_timeout = kMvrpPeriodTimeoutDefault;
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
