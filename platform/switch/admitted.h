// SPDX-License-Identifier: MIT
//
// What is remembered of the registrations that a port was let make.
#pragma once

#include "platform/contract/types.h"
#include "platform/model/vlan_algebra.h"

namespace platform {

/// The answer to the question whether a port may register a VLAN.
enum class Admission {
    Admitted,
    NotPermitted,  ///< not on the port's permit list
    TooMany,       ///< the port has registered as many as it may
};

/// VLANs that were admitted and are no members yet. A registration that ends before it became a
/// membership is forgotten after a while.
struct RecentlyAdmitted {
    static constexpr u64 kForgetMs = 60'000;

    VlanBitmap recent{};
    VlanBitmap older{};
    u64 turnedMs = 0;  ///< when `recent` became `older` last

    /// The VLANs are members now.
    void applied(const VlanBitmap& vlans) {
        recent = vlanDifference(recent, vlans);
        older = vlanDifference(older, vlans);
    }
};

}  // namespace platform
