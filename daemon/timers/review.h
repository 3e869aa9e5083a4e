// SPDX-License-Identifier: MIT
//
// The look at all ports that follows a removal: a port that holds a removed VLAN without need is to
// be taken out too, and a VLAN that a port still needs is spared, or not, on the switch.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/timers/apply.h"

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
    for (u32 index = mvrpBitmapNext(vlans, flush.batch->start); index <= flush.last;
         index = mvrpBitmapNext(vlans, index + 1))
        action(index);
}

/// Reviews all ports about one VLAN that the flushed port was taken out of.
void mvrpPortsReview(const MvrpFlush& flush, u32 index);

/// What one look at all other ports tells about the VLANs that a batch removes, before its own port
/// is taken out of them.
struct MvrpReviews {
    /// They may be done port by port, after the flushed port was taken out of all: they write no
    /// line, and each removal that they find has its pair already, so that the order shows nowhere.
    /// Without this the rest does not count.
    bool mayWait;
    bool unmarked;          ///< a port holds one of them without need, and is not yet marked for it
    MvrpVlanBitmap needed;  ///< by an enabled port
};
MvrpReviews mvrpReviewsPrepare(const MvrpFlush& flush);
/// Does reviews that may wait.
void mvrpReviewsCatchUp(const MvrpFlush& flush, const MvrpReviews& reviews);
