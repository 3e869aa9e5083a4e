// SPDX-License-Identifier: MIT
//
// The questions of platform_query.h that each VLAN of a received PDU asks, answered by what the
// host shows in place, where it does (platform/contract/qor_facts.h).
//
// Lock: gMvrpInfo.sem held by the caller; none of the host's.
#pragma once

#include <algorithm>
#include <bit>

#include "daemon/db/platform_query.h"
#include "platform/contract/qor_facts.h"

/// What is known in place of one port while a PDU of it is handled.
struct MvrpFacts {
    u32 unit = 0;
    const QorPortFacts* shown = nullptr;  ///< null: the host is asked
};

inline MvrpFacts mvrpFactsOf(u32 portUnit) {
    return {portUnit, qorPortFacts(portUnit)};
}

/// The lower half of QorPortFacts::port; 0 when nothing is shown, or no longer.
inline u32 mvrpShown(const MvrpFacts& facts) {
    return facts.shown == nullptr ? 0 : facts.shown->of(facts.unit);
}

/// @param vid  1 to 4095. @return the type of a VLAN; nothing for one that does not exist
inline std::optional<QorVlanType> mvrpVlanType(const MvrpFacts& facts, u32 vid) {
    if (facts.shown == nullptr)
        return mvrpVlanType(vid);
    const u32 type = facts.shown->types->type(vid - 1);
    return type == 0 ? std::nullopt : std::optional(static_cast<QorVlanType>(type));
}

/// The first VLAN from `vid` on that may be static; `endVid` when there is none before it.
/// @pre something is shown
inline u32 mvrpNextFixed(const MvrpFacts& facts, u32 vid, u32 endVid) {
    constexpr u32 kBits = QorVlanFacts::kWordBits;
    u64 beyond = ~u64{0} >> (vid - 1) % kBits;
    for (u32 number = (vid - 1) / kBits; number * kBits + 1 < endVid; ++number) {
        const u64 word = facts.shown->types->fixed.word(number) & beyond;
        if (word != 0)
            return std::min(number * kBits + static_cast<u32>(std::countl_zero(word)) + 1, endVid);
        beyond = ~u64{0};
    }
    return endVid;
}

/// Whether the port's list of VLANs, tagged or untagged, has one. @return nothing when that is not
/// shown, or no longer
inline std::optional<bool> mvrpPermitShown(const MvrpFacts& facts, u32 vid) {
    if (facts.shown == nullptr)
        return std::nullopt;
    const bool permitted = facts.shown->permitted.has(vid - 1);
    return mvrpShown(facts) == 0 ? std::nullopt : std::optional(permitted);
}

inline bool mvrpPortCarriesVlan(const MvrpFacts& facts, u32 vid) {
    const std::optional<bool> shown = mvrpPermitShown(facts, vid);
    return shown.has_value() ? *shown : mvrpPortCarriesVlan(facts.unit, vid);
}

/// Whether the host lets the port register the VLAN. A no is always asked for: the host counts it.
inline bool mvrpPortMayRegister(const MvrpFacts& facts, u32 vid) {
    const bool all = (mvrpShown(facts) & QorPortFacts::kAdmitsAll) != 0;
    return (all && vid <= QorPortFacts::kLastAdmitted) || mvrpPortMayRegister(facts.unit, vid);
}
