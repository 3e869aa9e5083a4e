// SPDX-License-Identifier: MIT
//
// Corrections: named amendments of single rules of the daemon, each of which a host may ask for.
// With none, the daemon does what it has always done, call by call.
//
// The daemon asks which are on once, at its start, and keeps the answer with its state. It tells
// the host each time one has changed the outcome, so that people see which rules their network
// leans on.
#pragma once

#include <array>
#include <bit>
#include <optional>
#include <string_view>

#include "platform/contract/types.h"

/// In the order in which they are listed to people. The value is the bit of a CorrectionSet.
enum class Correction : u32 {
    StaticKept,           ///< a static VLAN stays declared whatever happens to the VLAN below it
    StaticHeard,          ///< what a neighbour says of a static VLAN is heard
    LeaveNeeded,          ///< a leave is not passed on while another port registers the VLAN
    OwnBatch,             ///< a batch holds pairs of one port only
    SpareOthers,          ///< an immediate removal leaves alone what other ports need
    GvrpStaticRenewed,    ///< static VLANs are declared anew after a LeaveAll under compliance
    OffWithdraws,         ///< a port that is switched off withdraws what it had registered
    SendOnChange,         ///< only ports that have something to say send
    LeaveClock,           ///< each registration that is leaving has its own leave time
    GvrpStaticWithdrawn,  ///< a static VLAN that goes is withdrawn at once under compliance
    OnDeclares,           ///< a port that is switched on declares what others have registered
    ForbiddenForgets,     ///< a forbidden port keeps no registration
    ApplySoon,            ///< a registration is applied 20 ms after it was made
    YieldBounded,         ///< memberships are applied under any load
    Admission,            ///< the host decides which VLANs may be registered
};

/// Their names in configuration, command lines and scenarios, by value.
inline constexpr std::array<std::string_view, 15> kCorrectionNames = {
    "static-kept",  "static-heard",          "leave-needed",  "own-batch",
    "spare-others", "gvrp-static-renewed",   "off-withdraws", "send-on-change",
    "leave-clock",  "gvrp-static-withdrawn", "on-declares",   "forbidden-forgets",
    "apply-soon",   "yield-bounded",         "admission",
};
inline constexpr u32 kCorrectionCount = kCorrectionNames.size();
static_assert(static_cast<u32>(Correction::Admission) + 1 == kCorrectionCount);

constexpr std::string_view correctionName(Correction which) {
    return kCorrectionNames[static_cast<u32>(which)];
}

/// @return the correction of that name, or nothing
constexpr std::optional<Correction> correctionOfName(std::string_view name) {
    for (u32 i = 0; i < kCorrectionCount; ++i)
        if (kCorrectionNames[i] == name)
            return static_cast<Correction>(i);
    return std::nullopt;
}

/// Which corrections are on.
class CorrectionSet {
  public:
    constexpr CorrectionSet() = default;
    static constexpr CorrectionSet all() { return CorrectionSet((1U << kCorrectionCount) - 1); }
    /// From bits() of another; bits that stand for no correction are dropped.
    static constexpr CorrectionSet ofBits(u32 bits) { return CorrectionSet(bits & all().bits_); }

    constexpr bool has(Correction which) const { return (bits_ & bit(which)) != 0; }
    constexpr void add(Correction which) { bits_ |= bit(which); }
    constexpr bool empty() const { return bits_ == 0; }
    constexpr u32 count() const { return static_cast<u32>(std::popcount(bits_)); }
    /// Bit n stands for the correction of value n.
    constexpr u32 bits() const { return bits_; }
    constexpr bool operator==(const CorrectionSet&) const = default;

  private:
    explicit constexpr CorrectionSet(u32 bits) : bits_(bits) {}
    static constexpr u32 bit(Correction which) { return 1U << static_cast<u32>(which); }

    u32 bits_ = 0;
};

/// Host: the corrections that this daemon is to run with. Called once, at the daemon's start,
/// before its tasks exist; answers from memory, and is no start-up option.
CorrectionSet correctionsWanted();

/// Host: a correction has just changed what happens to a VLAN on a port, or to a whole port (`vid`
/// 0) or switch (`unit` 0). Called by the daemon with its lock held, on the way of frames and
/// timers: may neither block, allocate, nor call back.
void correctionActed(Correction which, u32 unit, u32 vid);
