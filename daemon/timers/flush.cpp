// SPDX-License-Identifier: MIT
#include "daemon/core/trace.h"
#include "daemon/db/platform_query.h"
#include "daemon/sync/standby.h"
#include "daemon/timers/apply.h"

namespace {

/// Everything one flush works with.
struct MvrpFlush {
    const MvrpApplyKind& kind;
    const MvrpFlushKind& how;
    MvrpBatch* batch;
    u32 last;  ///< VLAN index

    u32 step() const { return static_cast<u32>(how.reason); }
    MvrpPortEntry* port() const { return batch->port; }
    u32 unit() const { return batch->unit; }
};

/// Calls `action` with the index of each VLAN of the bitmap within the flush's range, in order.
template <class Action>
void mvrpForEachMarked(const MvrpFlush& flush, const MvrpVlanBitmap& vlans, Action action) {
    for (u32 index = flush.batch->start; index <= flush.last; ++index)
        if (mvrpBitTest(vlans.data(), index) != 0)
            action(index);
}

/// Deletes the pair of an index of the flushed port, which is done with.
void mvrpPairDone(const MvrpFlush& flush, u32 index, u32 traceStep) {
    const u32 vid = index + 1;
    MVRP_TRACE(flush.kind.category, flush.unit(), vid,
               "%s step%u; port %u vlan %u entry del. (%u)\n\r", flush.kind.name, traceStep,
               flush.unit(), vid, gMvrpInfo.vlanEntryNum);
    mvrpPortVlanEntryDel(mvrpPortVlanEntryGet(flush.unit(), static_cast<u16>(vid)));
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

/// Whether a port holds a VLAN that its protocol no longer knows.
bool mvrpHoldsForgotten(const MvrpPortEntry* port, u32 index) {
    return mvrpBitTest(&port->vlanFlag[index], MVRP_FLAG_APPLIED) != 0 &&
           port->madMachine[index] == 0;
}

bool mvrpStillNeeds(const MvrpPortEntry* port, u32 index) {
    const u8* flag = &port->vlanFlag[index];
    const bool stays =
        mvrpBitTest(flag, MVRP_FLAG_APPLIED) != 0 && mvrpBitTest(flag, MVRP_FLAG_REMOVE) == 0;
    return port->enable != 0 && (stays || mvrpBitTest(flag, MVRP_FLAG_ADD) != 0);
}

/// Looks at every port about a VLAN that one port was taken out of: queues the removal where the
/// VLAN is held without need, and settles whether it may go from the switch.
void mvrpPortsReview(const MvrpFlush& flush, u32 index) {
    const u32 vid = index + 1;
    for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        if (flush.how.concludes) {
            MVRP_TRACE(flush.kind.category, port->portunit, 0,
                       "%s step9; unit:%u (0x%02x,0x%02x)\n\r", flush.kind.name, port->portunit,
                       port->vlanFlag[index], port->madMachine[index]);
        }
        if (mvrpHoldsForgotten(port, index)) {
            mvrpVlanFlagRemovePending(port, vid);
            mvrpPortVlanEntryEnsure(port->portunit, vid);
        }
        if (!flush.kind.spares || !mvrpStillNeeds(port, index))
            continue;
        if (flush.how.deletesRemoved)
            mvrpBitClear(flush.batch->deletion.data(), index);
        else
            mvrpBitSet(flush.batch->deletion.data(), index);
    }
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
    mvrpPortsReview(flush, index);
}

/// VLAN indexes that the marking loop shows as it passes them.
constexpr bool mvrpIndexShown(u32 index) {
    return index == 1 || index == 2;
}

void mvrpIndexTrace(const MvrpFlush& flush, const char* mark, u32 index) {
    if (!mvrpIndexShown(index))
        return;
    MVRP_TRACE(flush.kind.category, 0, 0, "%s; %s:%u\r\n", flush.kind.name, mark, index);
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
    for (u32 index = batch->start; index <= flush.last; ++index) {
        mvrpIndexTrace(flush, "j1", index);
        if (mvrpBitTest(batch->removal.data(), index) == 0)
            continue;
        mvrpIndexTrace(flush, "j2", index);
        mvrpRemovalMark(flush, index);
    }
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
    if (kind.adds) {
        if (mvrpVlansCreate(flush))
            mvrpMembershipAdd(flush);
        if (how.clearsCreation)
            batch->creation = {};
    }
    if (mvrpMembershipRemove(flush))
        mvrpVlansDelete(flush);
}
