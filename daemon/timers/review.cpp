// SPDX-License-Identifier: MIT
#include "daemon/timers/review.h"

#include <bit>
#include <cstring>

#include "daemon/base/trace.h"
#include "platform/contract/corrections.h"

namespace {

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

// The same for eight VLANs at a time, as a byte of a bitmap each
// ------------------------------------

constexpr u32 kEight = 8;

/// The same byte eight times.
constexpr u64 mvrpEightOf(u8 byte) {
    return byte * u64{0x0101010101010101};
}
constexpr u64 kTopBits = mvrpEightOf(0x80);

/// Eight bytes from an index on, the first one lowest; 0 in place of those beyond the array.
inline u64 mvrpEightBytes(std::span<const u8> bytes, u32 index) {
    u64 eight = 0;
    if (index + kEight <= bytes.size()) [[likely]]
        std::memcpy(&eight, &bytes[index], kEight);
    else
        std::memcpy(&eight, &bytes[index], bytes.size() - index);
    return std::endian::native == std::endian::little ? eight : __builtin_bswap64(eight);
}

/// The top bits of eight bytes, the first byte's highest.
constexpr u8 mvrpTopBitsGather(u64 eight) {
    constexpr u64 kEachToItsPlace = 0x8040201008040201;
    return static_cast<u8>(((eight & kTopBits) >> 7U) * kEachToItsPlace >> 56U);
}
static_assert(mvrpTopBitsGather(0x80) == 0x80 && mvrpTopBitsGather(u64{0x80} << 56U) == 0x01);
static_assert(mvrpTopBitsGather(kTopBits) == 0xFF);

/// Top bit of each of eight bytes that is 0.
constexpr u64 mvrpZeroBytes(u64 eight) {
    return ~(((eight & ~kTopBits) + ~kTopBits) | eight) & kTopBits;
}
static_assert(mvrpZeroBytes(0) == kTopBits && mvrpZeroBytes(mvrpEightOf(0x80)) == 0);

/// The bit of a flag of eight flag bytes, at their top.
constexpr u64 mvrpFlagAtTop(u64 flags, MvrpVlanFlag flag) {
    return flags << flag & kTopBits;
}

/// Eight VLANs of a port, from an index on; the top bit of each byte counts.
struct MvrpEight {
    u64 applied;
    u64 adding;
    u64 removing;
    u64 unknown;  ///< to the protocol

    MvrpEight(const MvrpPortEntry* port, u32 index) {
        const u64 flags = mvrpEightBytes(port->vlanFlag, index);
        applied = mvrpFlagAtTop(flags, MVRP_FLAG_APPLIED);
        adding = mvrpFlagAtTop(flags, MVRP_FLAG_ADD);
        removing = mvrpFlagAtTop(flags, MVRP_FLAG_REMOVE);
        unknown = mvrpZeroBytes(mvrpEightBytes(port->madMachine, index));
    }

    u8 forgotten() const { return mvrpTopBitsGather(applied & unknown); }
    /// Forgotten, and not yet marked for removal alone.
    u8 unmarked() const { return mvrpTopBitsGather(applied & unknown & ~(removing & ~adding)); }
    /// Needed by an enabled port.
    u8 needed() const { return mvrpTopBitsGather((applied & ~removing) | adding); }
};

/// The VLANs of a batch that are removed, as bytes of a bitmap.
struct MvrpRemoved {
    MvrpVlanBitmap vlans = {};
    u32 firstByte = 0;
    u32 endByte = 0;

    explicit MvrpRemoved(const MvrpFlush& flush) {
        mvrpForEachMarked(flush, flush.batch->removal, [this](u32 index) {
            mvrpBitSet(vlans.data(), index);
            if (endByte == 0)
                firstByte = index / kEight;
            endByte = index / kEight + 1;
        });
    }
};

/// Whether a batch removes nothing, as most do while VLANs come: then no port need be looked at.
bool mvrpRemovesNothing(const MvrpFlush& flush) {
    return mvrpBitmapNext(flush.batch->removal, flush.batch->start) > flush.last;
}

/// Calls `action` with the first index and the removed VLANs of eight at a time.
template <class Action>
void mvrpForEachEight(const MvrpRemoved& removed, Action action) {
    for (u32 byte = removed.firstByte; byte < removed.endByte; ++byte)
        if (removed.vlans[byte] != 0)
            action(byte * kEight, removed.vlans[byte]);
}

/// Settles what a port that still needs a VLAN means for its deletion from the switch.
void mvrpDeletionSettle(const MvrpFlush& flush, const MvrpPortEntry* port, u32 byte, u8 needed) {
    u8* deletion = &flush.batch->deletion[byte];
    if (flush.kind.careful && (*deletion & needed) != 0)
        correctionActed(Correction::SpareOthers, port->portunit, 0);
    const bool takesOut = flush.how.deletesRemoved || flush.kind.careful;
    *deletion = static_cast<u8>(takesOut ? *deletion & ~needed : *deletion | needed);
}

/// Looks at a port for all removed VLANs. @return whether its reviews may wait
bool mvrpPortPrepare(const MvrpFlush& flush, const MvrpRemoved& removed, const MvrpPortEntry* port,
                     MvrpReviews* reviews) {
    const MvrpUnitPlace* place = mvrpUnitPlace(port->portunit);
    // Another entry of the same unit shares its pairs, which are being deleted.
    if (place == nullptr || port->portunit == flush.unit())
        return false;
    const auto needed = [reviews](u32 index) -> u8& { return reviews->needed[index / kEight]; };
    u32 missing = 0;
    u32 unmarked = 0;
    mvrpForEachEight(removed, [&](u32 index, u8 vlans) {
        const MvrpEight eight(port, index);
        const u32 forgotten = eight.forgotten() & vlans;
        missing |= forgotten & ~u32{place->pairs[index / kEight]};
        unmarked |= eight.unmarked() & vlans;
        if (port->enable != 0)
            needed(index) = static_cast<u8>(needed(index) | (eight.needed() & ~forgotten));
    });
    reviews->unmarked = reviews->unmarked || unmarked != 0;
    return missing == 0;
}

/// Does the reviews of a port.
void mvrpPortCatchUp(const MvrpFlush& flush, const MvrpRemoved& removed, MvrpPortEntry* port) {
    const bool spared = flush.kind.spares && port->enable != 0;
    mvrpForEachEight(removed, [&flush, port, spared](u32 index, u8 vlans) {
        const MvrpEight eight(port, index);
        // What is marked for removal here is not needed.
        const u8 needed = static_cast<u8>(eight.needed() & ~eight.forgotten() & vlans);
        if (const u32 unmarked = eight.unmarked() & vlans; unmarked != 0)
            for (u32 i = 0; i < kEight; ++i)
                if ((unmarked & kMvrpBitMask[i]) != 0)
                    mvrpVlanFlagRemovePending(port, index + i + 1);
        if (spared)
            mvrpDeletionSettle(flush, port, index / kEight, needed);
    });
}

}  // namespace

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
        if (flush.kind.spares && mvrpStillNeeds(port, index))
            mvrpDeletionSettle(flush, port, index / kEight, kMvrpBitMask[index % kEight]);
    }
}

MvrpReviews mvrpReviewsPrepare(const MvrpFlush& flush) {
    MvrpReviews reviews = {.mayWait = true, .unmarked = false, .needed = {}};
    if (mvrpRemovesNothing(flush))
        return reviews;
    reviews.mayWait = (gMvrpInfo.debug & flush.kind.category) == 0;
    const MvrpRemoved removed(flush);
    for (const MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr && reviews.mayWait;
         port = mvrpPortEntryNext(port))
        if (port != flush.port())  // it is being taken out, so it holds none of them
            reviews.mayWait = mvrpPortPrepare(flush, removed, port, &reviews);
    return reviews;
}

void mvrpReviewsCatchUp(const MvrpFlush& flush, const MvrpReviews& reviews) {
    if (mvrpRemovesNothing(flush))
        return;
    const MvrpRemoved removed(flush);
    // Who spares a VLAN matters only where it is told; else it is enough that somebody does.
    if (reviews.unmarked || flush.kind.careful) {
        for (MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
             port = mvrpPortEntryNext(port))
            mvrpPortCatchUp(flush, removed, port);
        return;
    }
    mvrpPortCatchUp(flush, removed, flush.port());
    if (flush.kind.spares)
        mvrpForEachEight(removed, [&flush, &reviews](u32 index, u8 vlans) {
            const u8 needed = static_cast<u8>(reviews.needed[index / kEight] & vlans);
            mvrpDeletionSettle(flush, flush.port(), index / kEight, needed);
        });
}
