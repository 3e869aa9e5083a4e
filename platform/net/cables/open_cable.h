// SPDX-License-Identifier: MIT
//
// Opens the cable that a configuration names: see Cable.
//
// Locking: none.
#pragma once

#include <memory>

#include "platform/model/cable.h"
#include "platform/net/cables/cable.h"
#include "platform/runtime/files/places.h"

namespace platform {

struct CableRules {
    /// Where its sockets may be, of which its own may belong to no other user then; null: anywhere.
    const RequestPlaces* places = nullptr;
    /// The cable that it takes the place of, whose socket it may replace; null: none. No other
    /// socket that is in use is replaced.
    const Cable* before = nullptr;
};

/// @return the cable; null for none, and on failure with the reason in `failure`
std::shared_ptr<Cable> openCable(const CableConfig& config, const CableRules& rules,
                                 CableFailure& failure);

}  // namespace platform
