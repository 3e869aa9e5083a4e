// SPDX-License-Identifier: MIT
//
// One walk over the pending pairs, in order of port and VLAN: collects them into batches, and
// flushes a batch to the switch when the port changes, when it is full, and at the end. The pending
// timer and the immediate removal are this walk with different answers to the questions below.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/base/info.h"
#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"

/// What makes one walk differ from the other.
struct MvrpApplyKind {
    const char* name;    ///< begins the trace lines
    MvrpDebug category;  ///< of the trace lines
    bool yields;         ///< gives way as soon as a socket has data
    bool adds;           ///< applies pending additions; else they are dropped, their flag left set
    bool spares;         ///< a VLAN that another enabled port needs is not deleted from the switch
    /// What others need is left alone throughout: what is spared is so in every flush, and pairs
    /// that wait for an addition stay.
    bool careful;
};

/// Why a batch is flushed. The value numbers the flush in the trace lines.
enum class MvrpFlushReason : u32 { PortChange = 1, Limit = 2, Final = 3 };

/// What makes one flush differ from the others.
struct MvrpFlushKind {
    MvrpFlushReason reason;
    u32 addedTraceStep;    ///< number in the "entry del" line of an addition
    u32 removedTraceStep;  ///< the same of a removal
    /// Wanted: what was created stays collected over a change of port, and at the end.
    bool clearsCreation;
    /// Wanted: a flush at a change of port deletes from the switch exactly the VLANs that an
    /// enabled port still needs, or none at all where the walk spares nothing: the reverse of the
    /// others.
    bool deletesRemoved;
    /// Wanted: only the last flush of a walk shows each port it looks at, and tells the standby.
    bool concludes;
};

/// State of one walk; starts zeroed. Bitmaps and count outlive a change of port: wanted so.
struct MvrpBatch {
    MvrpVlanBitmap portVlans;  ///< the VLANs the port carries tagged, as last read
    MvrpVlanBitmap creation;   ///< VLANs to create and to add the port to
    MvrpVlanBitmap removal;    ///< VLANs to take the port out of
    MvrpVlanBitmap deletion;   ///< VLANs to delete from the switch
    u32 unit;                  ///< port whose pairs are being collected
    MvrpPortEntry* port;       ///< its entry, or null
    u32 count;                 ///< pairs collected since the last flush at the limit
    u32 limit;                 ///< pairs at which the batch is flushed
    u32 start;                 ///< first VLAN index that the marking loops look at
    u32 flushesOwed;           ///< flushes to do before the walk may give way
};

/// Flushes a batch for its port; the marking loops end with VLAN index `last`.
void mvrpBatchFlush(const MvrpApplyKind& kind, const MvrpFlushKind& flush, MvrpBatch* batch,
                    u32 last);

inline constexpr MvrpFlushKind kMvrpFlushPortChange = {
    MvrpFlushReason::PortChange, 1, 2, false, false, false};
inline constexpr MvrpFlushKind kMvrpFlushLimit = {MvrpFlushReason::Limit, 5, 6, true, true, false};
inline constexpr MvrpFlushKind kMvrpFlushFinal = {MvrpFlushReason::Final, 7, 8, false, true, true};
