// SPDX-License-Identifier: MIT
//
// What the kernel's notifications say that a look at the kernel does not: that there is reason to
// look, and what happened to a port and was over again before anybody looked. How things are is
// always read, so a lost or late notification costs nothing but a look.
#pragma once

#include <span>
#include <vector>

#include "platform/linux/bridge_book.h"

namespace platform {

struct Churn {
    bool look = false;         ///< something is different from the book
    bool lost = false;         ///< notifications were lost
    std::vector<u32> gone;     ///< ports whose interface was deleted
    std::vector<u32> removed;  ///< ports that were taken out of the bridge
    std::vector<u32> bounced;  ///< ports that were down or not forwarding for a while
};

/// @param bridge  name of the bridge that the book is of
Churn weighEvents(std::span<const KernelEvent> events, const BridgeBook& book,
                  const std::string& bridge);

}  // namespace platform
