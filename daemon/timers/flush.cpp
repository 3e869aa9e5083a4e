// SPDX-License-Identifier: MIT
#include "daemon/base/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/sync/standby.h"
#include "daemon/timers/review.h"

namespace {

/// Deletes the pair of an index of the flushed port, which is done with.
void mvrpPairDone(const MvrpFlush& flush, u32 index, u32 traceStep) {
    const u32 vid = index + 1;
    MVRP_TRACE(flush.kind.category, flush.unit(), vid,
               "%s step%u; port %u vlan %u entry del. (%u)\n\r", flush.kind.name, traceStep,
               flush.unit(), vid, gMvrpInfo.vlanEntryNum);
    mvrpPortVlanEntryDel(flush.unit(), vid);
}

bool mvrpVlansCreate(const MvrpFlush& flush) {
    QorBuffer creation = mvrpBitmapBuffer(flush.batch->creation);
    if (qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::CreateDynamic), &creation) ==
        kStatusOk)
        return true;
    const char* separator = flush.how.reason == MvrpFlushReason::PortChange ? "," : ", ";
    MVRP_TRACE(flush.kind.category, flush.unit(), 0, "%s; step%u.add mvrp vlan failed.(%u%s%u)\n\r",
               flush.kind.name, flush.step(), flush.unit(), separator, flush.batch->count);
    return false;
}

/// Adds the port to those of the created VLANs that it carries. The others stay pending.
void mvrpMembershipAdd(const MvrpFlush& flush) {
    MvrpVlanBitmap addition = {};
    mvrpBitmapIntersect(addition, flush.batch->creation, flush.batch->portVlans, kMvrpBitmapBits);
    QorBuffer added = mvrpBitmapBuffer(addition);
    if (qorIfSyncApi(flush.unit(), static_cast<u32>(QorIfAttribute::AddDynamic), &added,
                     kMvrpBitmapBits) != kStatusOk) {
        MVRP_TRACE(flush.kind.category, flush.unit(), 0,
                   "%s; step%u.add dynamic tag vlan to port %d error\r\n", flush.kind.name,
                   flush.step(), flush.unit());
        return;
    }
    mvrpForEachMarked(flush, addition, [&flush](u32 index) {
        u8* flag = &flush.port()->vlanFlag[index];
        mvrpBitSet(flag, MVRP_FLAG_APPLIED);
        mvrpBitClear(flag, MVRP_FLAG_ADD);
        MVRP_TRACE(flush.kind.category, flush.unit(), index + 1,
                   "%s; step%u.add dynamic tag vlan %u to port %d ok\r\n", flush.kind.name,
                   flush.step(), index + 1, flush.unit());
        mvrpPairDone(flush, index, flush.how.addedTraceStep);
    });
}

void mvrpRemovalMark(const MvrpFlush& flush, u32 index) {
    u8* flag = &flush.port()->vlanFlag[index];
    mvrpBitClear(flag, MVRP_FLAG_APPLIED);
    mvrpBitClear(flag, MVRP_FLAG_REMOVE);
    MVRP_TRACE(flush.kind.category, flush.unit(), index + 1,
               "%s; step%u.remove dynamic vlan %u to port %d ok\r\n", flush.kind.name, flush.step(),
               index + 1, flush.unit());
    mvrpPairDone(flush, index, flush.how.removedTraceStep);
    if (flush.how.deletesRemoved)
        mvrpBitSet(flush.batch->deletion.data(), index);
}

/// VLAN indexes that the marking loop shows as it passes them.
constexpr u32 kFirstShown = 1;
constexpr u32 kLastShown = 2;

void mvrpIndexTrace(const MvrpFlush& flush, const char* mark, u32 index) {
    if (index < kFirstShown || index > kLastShown)
        return;
    MVRP_TRACE(flush.kind.category, 0, 0, "%s; %s:%u\r\n", flush.kind.name, mark, index);
}

/// Marks what was removed, and has all ports looked at.
void mvrpRemovalsMark(const MvrpFlush& flush) {
    const MvrpReviews reviews = mvrpReviewsPrepare(flush);
    const MvrpVlanBitmap& removal = flush.batch->removal;
    u32 index = flush.batch->start;
    while (index <= flush.last) {
        mvrpIndexTrace(flush, "j1", index);
        if (mvrpBitTest(removal.data(), index) != 0) {
            mvrpIndexTrace(flush, "j2", index);
            mvrpRemovalMark(flush, index);
            if (!reviews.mayWait)
                mvrpPortsReview(flush, index);
        }
        ++index;
        if (index > kLastShown)
            index = mvrpBitmapNext(removal, index);
    }
    if (reviews.mayWait)
        mvrpReviewsCatchUp(flush, reviews);
}

/// @return whether the switch took the port out of the VLANs
bool mvrpMembershipRemove(const MvrpFlush& flush) {
    constexpr u32 kShownVlan = 2;
    MvrpBatch* batch = flush.batch;
    QorBuffer removed = mvrpBitmapBuffer(batch->removal);
    if (qorIfSyncApi(flush.unit(), static_cast<u32>(QorIfAttribute::RemoveDynamic), &removed) !=
        kStatusOk) {
        MVRP_TRACE(flush.kind.category, flush.unit(), 0,
                   "%s; step%u.remove dynamic vlan to port %d error\r\n", flush.kind.name,
                   flush.step(), flush.unit());
        return false;
    }
    MVRP_TRACE(flush.kind.category, 0, 0, "%s; start:%u\r\n", flush.kind.name, batch->start);
    mvrpRemovalsMark(flush);
    if (mvrpBitTest(batch->removal.data(), kShownVlan - 1) != 0) {
        MVRP_TRACE(flush.kind.category, flush.unit(), kShownVlan,
                   "%s; step%u.remove dynamic vlan %u to port %d ok\r\n", flush.kind.name,
                   flush.step(), kShownVlan, flush.unit());
    }
    return true;
}

void mvrpVlansDelete(const MvrpFlush& flush) {
    QorBuffer deleted = mvrpBitmapBuffer(flush.batch->deletion);
    const u32 status =
        qorVlanScalarSyncApi(0, static_cast<u32>(QorVlanAttribute::DeleteDynamic), &deleted);
    if (status != kStatusOk) {
        const char* base = flush.how.reason == MvrpFlushReason::PortChange ? "0x" : "";
        MVRP_TRACE(flush.kind.category, flush.unit(), 0,
                   "Leave indication; step%u.port %u rm dynamic vlan failed(%s%#x)\r\n",
                   flush.step(), flush.unit(), base, status);
        return;
    }
    mvrpForEachMarked(flush, flush.batch->deletion, [&flush](u32 index) {
        MVRP_TRACE(flush.kind.category, 0, index + 1, "%s; step%u.del vlan %u ok\r\n",
                   flush.kind.name, flush.step(), index + 1);
    });
    if (flush.how.concludes)
        mvrpSyncPort(flush.port(), MVRP_SYNC_REMOVE);
}

}  // namespace

void mvrpBatchFlush(const MvrpApplyKind& kind, const MvrpFlushKind& how, MvrpBatch* batch,
                    u32 last) {
    const MvrpFlush flush = {kind, how, batch, last};
    if (batch->flushesOwed != 0)
        --batch->flushesOwed;
    if (kind.adds) {
        if (mvrpVlansCreate(flush))
            mvrpMembershipAdd(flush);
        if (how.clearsCreation)
            batch->creation = {};
    }
    if (mvrpMembershipRemove(flush))
        mvrpVlansDelete(flush);
}
