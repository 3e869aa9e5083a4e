// SPDX-License-Identifier: MIT
#include "daemon/timers/pending.h"

#include "daemon/base/corrections.h"
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/timers/apply.h"
#include "platform/contract/qor_socket.h"

namespace {

constexpr MvrpApplyKind kPendingTimer = {
    .name = "pending timer handler",
    .category = MVRP_DEBUG_TIMER,
    .yields = true,
    .adds = true,
    .spares = true,
    .careful = false,
};

/// Wanted: an immediate removal deletes a VLAN from the switch though another port carries it.
constexpr MvrpApplyKind kImmediateRemoval = {
    .name = "if vlan del handler",
    .category = MVRP_DEBUG_DATABASE,
    .yields = false,
    .adds = false,
    .spares = false,
    .careful = false,
};

/// The same, corrected.
constexpr MvrpApplyKind kCarefulRemoval = {
    .name = kImmediateRemoval.name,
    .category = kImmediateRemoval.category,
    .yields = false,
    .adds = false,
    .spares = true,
    .careful = true,
};

/// Flushes that a run of the pending timer owes after one that gave way (correction).
constexpr u32 kFlushesOwed = 8;

struct MvrpSocketName {
    s32 MvrpInfo::*socket;
    const char* name;
};

/// In the order in which they are asked; the route socket is asked alone after a full batch.
constexpr std::array<MvrpSocketName, 3> kYieldSockets = {{
    {&MvrpInfo::routeSock, "rt"},
    {&MvrpInfo::mvrpDataSock, "mvrp"},
    {&MvrpInfo::gvrpDataSock, "gvrp"},
}};

u32 mvrpBytesWaiting(s32 socket) {
    s32 bytes = 0;
    if (qor_ioctl(socket, kQorIoctlBytesWaiting, &bytes) != 0 || bytes < 0)
        return 0;
    return static_cast<u32>(bytes);
}

/// Whether one of the first `sockets` has data, which ends the walk. `unit` is the port of the pair
/// at hand; after the last pair there is none.
bool mvrpMustYield(const MvrpApplyKind& kind, const MvrpBatch& batch, size_t sockets,
                   const MvrpPortVlanEntry* pair) {
    if (!kind.yields || batch.flushesOwed != 0)
        return false;
    for (const MvrpSocketName& socket : std::span(kYieldSockets).first(sockets)) {
        const u32 bytes = mvrpBytesWaiting(gMvrpInfo.*socket.socket);
        if (bytes == 0)
            continue;
        if (pair != nullptr) {
            MVRP_TRACE(kind.category, pair->portUnit, 0,
                       "%s; step1. %s sock read bytes %u.(%u)\n\r", kind.name, socket.name, bytes,
                       pair->portUnit);
        } else {
            MVRP_TRACE(kind.category, 0, 0, "%s; step2. %s sock read bytes %u\n\r", kind.name,
                       socket.name, bytes);
        }
        return true;
    }
    return false;
}

/// Batch size of a port: aggregations take smaller ones, and so does a port that can not be told.
u32 mvrpBatchLimit(const MvrpApplyKind& kind, u32 unit) {
    QorIndexInfo info = {};
    const u32 status = qorIndexTrans(unit, kIndexTransEndType, &info);
    const bool aggregation = info.endType == static_cast<u32>(QorEndType::Aggregation);
    if (status == kStatusOk && !aggregation)
        return gMvrpInfo.vlanNumPerTimes;
    if (!aggregation) {
        MVRP_TRACE(kind.category, unit, 0, "%s; get end type failed.(%u,%u)\r\n", kind.name, unit,
                   info.endType);
    }
    return gMvrpInfo.vlanNumPerTimesAgg;
}

/// Leaves nothing of the port before.
void mvrpBatchBegin(MvrpBatch* batch) {
    if (batch->count != 0 || batch->start != 0)
        correctionActed(Correction::OwnBatch, batch->unit, 0);
    const u32 owed = batch->flushesOwed;
    *batch = {};
    batch->flushesOwed = owed;
}

/// Makes `unit` the port whose pairs are collected; without an entry its pairs are passed over.
void mvrpBatchPortChange(const MvrpApplyKind& kind, MvrpBatch* batch, u32 unit) {
    const bool own = mvrpCorrects(Correction::OwnBatch);
    if (batch->count != 0 && batch->port != nullptr)
        mvrpBatchFlush(kind, own ? kMvrpFlushFinal : kMvrpFlushPortChange, batch,
                       kMvrpVlanCount - 1);
    if (own)
        mvrpBatchBegin(batch);

    batch->unit = unit;
    batch->port = mvrpPortEntryGet(unit);
    if (batch->port == nullptr)
        return;
    if (kind.adds && batch->port->enable != 0 &&
        !mvrpPortVlansRead(unit, QorIfAttribute::PermittedTagged, &batch->portVlans)) {
        MVRP_TRACE_ID(MVRP_LOG_PLATFORM, MVRP_DEBUG_STATE, unit, 0,
                      "%s; get port %u static tag vlan failed\n\r", kind.name, unit);
    }
    batch->limit = mvrpBatchLimit(kind, unit);
}

void mvrpPairDrop(const MvrpApplyKind& kind, const MvrpPortVlanEntry& pair, u32 step) {
    const u32 unit = pair.portUnit;
    const u32 vid = pair.vid;
    mvrpPortVlanEntryDel(unit, vid);
    MVRP_TRACE(kind.category, unit, vid, "%s step%u; port %u vlan %u entry del. (%u)\n\r",
               kind.name, step, unit, vid, gMvrpInfo.vlanEntryNum);
}

void mvrpPairTrace(const MvrpApplyKind& kind, const MvrpPortVlanEntry& pair, const char* text) {
    MVRP_TRACE(kind.category, 0, pair.vid, "%s; %s buf set vid %u\n\r", kind.name, text, pair.vid);
}

/// Takes a pair into the batch, or drops one that nothing is pending for, or passes over one that
/// is none of the walk's business. @return whether it was taken; a dropped pair is gone
bool mvrpPairCollect(const MvrpApplyKind& kind, MvrpBatch* batch, const MvrpPortVlanEntry& pair) {
    const u32 index = pair.vid - 1U;
    const u8* flag = &batch->port->vlanFlag[index];
    if (kind.adds && mvrpBitTest(flag, MVRP_FLAG_ADD) != 0) {
        if (batch->port->enable == 0) {
            mvrpPairDrop(kind, pair, 3);
            return false;
        }
        mvrpBitSet(batch->creation.data(), index);
        mvrpPairTrace(kind, pair, "create");
    } else if (kind.careful && mvrpBitTest(flag, MVRP_FLAG_ADD) != 0 &&
               mvrpBitTest(flag, MVRP_FLAG_REMOVE) == 0) {
        correctionActed(Correction::SpareOthers, pair.portUnit, pair.vid);
        return false;
    } else if (mvrpBitTest(flag, MVRP_FLAG_REMOVE) == 0) {
        mvrpPairDrop(kind, pair, 4);
        return false;
    } else {
        mvrpBitSet(batch->removal.data(), index);
        mvrpPairTrace(kind, pair, "rm");
    }
    ++batch->count;
    return true;
}

/// Flushes a batch that has reached its limit and begins the next behind its last VLAN.
void mvrpBatchFull(const MvrpApplyKind& kind, MvrpBatch* batch, u32 last) {
    mvrpBatchFlush(kind, kMvrpFlushLimit, batch, last);
    batch->removal = {};
    batch->deletion = {};
    batch->count = 0;
    batch->start = last + 1;
}

/// Handles one pair. @return whether the walk goes on
bool mvrpPairApply(const MvrpApplyKind& kind, MvrpBatch* batch, const MvrpPortVlanEntry& pair) {
    MVRP_TRACE(kind.category, pair.portUnit, pair.vid,
               "%s start1; port vlan info.(%u,%u,%u,%u)\n\r", kind.name, pair.portUnit, pair.vid,
               gMvrpInfo.vlanEntryNum, gMvrpInfo.mvrpNum);
    if (mvrpMustYield(kind, *batch, kYieldSockets.size(), &pair))
        return false;
    if (pair.portUnit != batch->unit)
        mvrpBatchPortChange(kind, batch, pair.portUnit);
    if (batch->port == nullptr || !mvrpPairCollect(kind, batch, pair))
        return true;
    if (batch->count >= batch->limit) {
        mvrpBatchFull(kind, batch, pair.vid - 1U);
        if (mvrpMustYield(kind, *batch, 1, &pair))
            return false;
    }
    MVRP_TRACE(kind.category, pair.portUnit, pair.vid, "%s end1; port vlan info.(%u,%u,%u)\n\r",
               kind.name, pair.portUnit, pair.vid, gMvrpInfo.vlanEntryNum);
    return true;
}

/// Walks all pairs. @return whether the walk came to its end
bool mvrpPairsApply(const MvrpApplyKind& kind, MvrpBatch* batch) {
    std::optional<MvrpPortVlanEntry> pair = mvrpPortVlanEntryFirst();
    while (pair.has_value()) {
        // Fixed before the pair is handled: one that this adds in between waits for the next walk.
        const std::optional<MvrpPortVlanEntry> next = mvrpPortVlanEntryNext(*pair);
        if (!mvrpPairApply(kind, batch, *pair))
            return false;
        pair = next;
    }
    return true;
}

void mvrpPendingTimerRestart() {
    silTimerStop(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer);
    silTimerStart(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer, 0,
                  gMvrpInfo.vlanEntryNum != 0 ? kMvrpPendingBusyMs : kMvrpPendingIdleMs,
                  mvrpPendingTimerHandler, nullptr, nullptr, nullptr);
}

/// One run over all pairs. Has nothing left to say when it returns.
/// @return whether it came to its end; else it gave way
bool mvrpPendingRun(const MvrpApplyKind& kind, u32 flushesOwed) {
    MvrpBatch batch = {};
    batch.flushesOwed = flushesOwed;
    if (!mvrpPairsApply(kind, &batch) || mvrpMustYield(kind, batch, kYieldSockets.size(), nullptr))
        return false;
    if (batch.count == 0)
        return true;

    MVRP_TRACE(kind.category, batch.unit, 0, "%s start2; port vlan info.(%u,%u,%u)\n\r", kind.name,
               batch.unit, batch.count, gMvrpInfo.vlanEntryNum);
    batch.port = mvrpPortEntryGet(batch.unit);
    if (batch.port == nullptr) {
        MVRP_TRACE(kind.category, 0, 0, "%s done3.(%u)\n\r", kind.name, gMvrpInfo.vlanEntryNum);
        return true;
    }
    mvrpBatchFlush(kind, kMvrpFlushFinal, &batch, kMvrpVlanCount - 1);
    MVRP_TRACE(kind.category, batch.unit, 0, "%s end2; port vlan info.(%u,%u)\n\r", kind.name,
               batch.unit, gMvrpInfo.vlanEntryNum);
    return true;
}

/// What a run owes before it may give way: nothing, or, if that is corrected, a few flushes after a
/// run that gave way, so that work goes on under any load.
u32 mvrpFlushesOwed() {
    return gMvrpInfo.pendingGaveWay && mvrpCorrectsNow(Correction::YieldBounded, 0, 0)
               ? kFlushesOwed
               : 0;
}

}  // namespace

u32 mvrpPendingTimerHandler(void* /*argument*/) {
    gMvrpInfo.pendingGaveWay = !mvrpPendingRun(kPendingTimer, mvrpFlushesOwed());
    mvrpPendingTimerRestart();
    return kStatusOk;
}

void mvrpPortVlanDel() {
    const bool careful = mvrpCorrects(Correction::SpareOthers);
    mvrpPendingRun(careful ? kCarefulRemoval : kImmediateRemoval, 0);
}
