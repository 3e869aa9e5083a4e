// SPDX-License-Identifier: MIT
#include "platform/observe/correction_book.h"

#include <new>

#include "platform/runtime/moment.h"

namespace platform {
namespace {

constexpr u32 kVidBits = 16;
constexpr u32 kWhichBits = 8;
constexpr u32 kVidMask = (1U << kVidBits) - 1;

using Word = std::atomic_ref<u64>;

}  // namespace

// Not an array of the language's own: that would write every page to zero it.
CorrectionBook::CorrectionBook(CorrectionSet on)
    : on_(on), places_(static_cast<Place*>(std::calloc(kPlaces, sizeof(Place)))) {
    if (!places_)
        throw std::bad_alloc();
}

/// Unit, VLAN, and the correction counted from 1, so that no key is 0.
u64 CorrectionBook::keyOf(Correction which, u32 unit, u32 vid) {
    return (u64{unit} << kVidBits | (vid & kVidMask)) << kWhichBits | (static_cast<u32>(which) + 1);
}

/// The VLANs of a port lie side by side, those of different ports far apart.
CorrectionBook::Place& CorrectionBook::placeOf(u32 unit, u32 vid) const {
    constexpr u32 kSpread = 0x9E3779B1U;  // 2^32 divided by the golden ratio
    return places_[((unit * kSpread >> kVidBits) + vid) % kPlaces];
}

void CorrectionBook::acted(Correction which, u32 unit, u32 vid) {
    const auto index = static_cast<u32>(which);
    if (index >= kCorrectionCount)
        return;
    counts_[index].fetch_add(1, std::memory_order_relaxed);
    Place& place = placeOf(unit, vid);
    Word(place.key).store(0, std::memory_order_relaxed);
    // Both orders matter: no reader may take the time of one decision for that of another.
    Word(place.whenMs).store(momentMs(), std::memory_order_release);
    Word(place.key).store(keyOf(which, unit, vid), std::memory_order_release);
}

u64 CorrectionBook::count(Correction which) const {
    return counts_.at(static_cast<u32>(which)).load(std::memory_order_relaxed);
}

std::optional<CorrectionDecision> CorrectionBook::last(u32 unit, u32 vid) const {
    Place& place = placeOf(unit, vid);
    const u64 key = Word(place.key).load(std::memory_order_acquire);
    const u64 whenMs = Word(place.whenMs).load(std::memory_order_acquire);
    if (key == 0 || key != Word(place.key).load(std::memory_order_relaxed))
        return std::nullopt;
    const u32 number = static_cast<u32>(key & ((1U << kWhichBits) - 1));
    const auto which = static_cast<Correction>(number - 1);
    if (key != keyOf(which, unit, vid))
        return std::nullopt;
    return CorrectionDecision{which, whenMs};
}

}  // namespace platform
