// SPDX-License-Identifier: MIT
//
// Facts that a host shows in place: what the calls of qor_vlan.h and qor_if.h would answer about
// the types of VLANs, and about the PVID and the permit list of a port. Read here, a PDU of
// thousands of VLANs asks nothing one by one.
//
// A host that shows nothing answers null, and is asked. One that shows a fact has it be, at every
// moment, what the call would answer at that moment; a fact that a question itself may change
// (which VLANs may be registered, where they are counted) is not shown.
//
// Locking: read without a lock, while the host changes it under its own: each word by itself is as
// it was before or after a change, never in between, as the answers about two VLANs are when they
// are asked one after the other. What the reader's own calls change, and what is changed under the
// daemon's lock, it sees. The memory stays for as long as calls may be made.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstring>

#include "platform/contract/qor_vlan.h"
#include "platform/contract/types.h"

using QorVlanBytes = std::array<u8, kVlanBitmapBytes>;

/// A set of VLANs that one thread at a time changes, while any thread reads it. Numbered as a VLAN
/// bitmap: index n stands for VLAN ID n + 1.
class QorVlanFacts {
  public:
    static constexpr u32 kWordBits = 64;
    static constexpr u32 kWords = kVlanBitmapBytes * 8 / kWordBits;

    /// 64 VLANs from index `number` * 64 on, the first of them highest.
    u64 word(u32 number) const {
        const u64 bytes = words_[number].load(std::memory_order_acquire);
        return std::endian::native == std::endian::little ? __builtin_bswap64(bytes) : bytes;
    }
    bool has(u32 index) const {
        constexpr u32 kLast = std::endian::native == std::endian::little ? 7 : kWordBits - 1;
        const u64 bytes = words_[index / kWordBits].load(std::memory_order_acquire);
        return (bytes >> (index % kWordBits ^ kLast) & 1U) != 0;
    }

    /// Host: the set is that of a bitmap from now on.
    void assign(const QorVlanBytes& bitmap) {
        change(bitmap, [](u64, u64 other) { return other; });
    }
    /// Host: puts the VLANs of a bitmap in, takes them out.
    void add(const QorVlanBytes& bitmap) {
        change(bitmap, [](u64 own, u64 other) { return own | other; });
    }
    void remove(const QorVlanBytes& bitmap) {
        change(bitmap, [](u64 own, u64 other) { return own & ~other; });
    }

  private:
    /// Words that stay as they are are not written to.
    template <class Combine>
    void change(const QorVlanBytes& bitmap, Combine combine) {
        for (u32 number = 0; number < kWords; ++number) {
            u64 other = 0;
            std::memcpy(&other, &bitmap[number * sizeof(other)], sizeof(other));
            const u64 own = words_[number].load(std::memory_order_relaxed);
            if (const u64 next = combine(own, other); next != own)
                words_[number].store(next, std::memory_order_release);
        }
    }

    std::array<std::atomic<u64>, kWords> words_{};  ///< as the bytes of a bitmap lie in memory
};

/// The types of the switch's VLANs. One that is in neither set does not exist; one that is in both
/// is on its way from one to the other, and counts as dynamic: hosts add to a set before they take
/// out of the other, and readers look at `dynamic` first.
struct QorVlanTypeFacts {
    QorVlanFacts dynamic;  ///< QorVlanType::Dynamic
    QorVlanFacts fixed;    ///< QorVlanType::Static; a host that knows other types shows nothing

    /// @param index  VLAN ID - 1. @return the type as a number, 0 for none
    u32 type(u32 index) const {
        if (dynamic.has(index))
            return static_cast<u32>(QorVlanType::Dynamic);
        return fixed.has(index) ? static_cast<u32>(QorVlanType::Static) : 0;
    }
};

/// What is shown of one port.
struct QorPortFacts {
    /// Unit in the upper half; PVID, kAdmitsAll and kShown in the lower: in one word, so that they
    /// belong together. The place of a port that went may become that of another: who reads
    /// `permitted` asks of() once more behind it.
    std::atomic<u64> port{0};
    QorVlanFacts permitted;                   ///< QorIfAttribute::Permitted, and PermittedVlan
    const QorVlanTypeFacts* types = nullptr;  ///< of the switch

    static constexpr u32 kPvidMask = 0xFFFF;  ///< QorIfAttribute::Pvid
    /// QorIfAttribute::AdmittedVlan succeeds for VLAN IDs 1 to kLastAdmitted, as many as there are.
    static constexpr u32 kAdmitsAll = 0x1'0000;
    static constexpr u32 kLastAdmitted = 4094;
    /// Always there.
    static constexpr u32 kShown = 0x2'0000;

    /// Host: the word of a port.
    static constexpr u64 wordOf(u32 unit, u32 pvid, bool admitsAll) {
        return u64{unit} << 32U | kShown | (admitsAll ? kAdmitsAll : 0) | (pvid & kPvidMask);
    }
    /// @return the lower half of the word; 0 when these are not the facts of the unit
    u32 of(u32 unit) const {
        const u64 now = port.load(std::memory_order_acquire);
        return now >> 32U == unit ? static_cast<u32>(now) : 0;
    }
};

/// What the host shows of a port, to be read until the daemon is done with what it received; null
/// where it shows nothing: then it is asked.
const QorPortFacts* qorPortFacts(u32 unit);
