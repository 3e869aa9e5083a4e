// SPDX-License-Identifier: MIT
//
// The requests about corrections: which are on and how often each has acted, and which one decided
// last for a VLAN on a port.
#pragma once

#include "platform/channel/dispatcher.h"
#include "platform/observe/correction_book.h"

namespace platform {

/// Registers Corrections and CorrectionLast. The book outlives the dispatcher.
void registerCorrectionRequests(Dispatcher& dispatcher, const CorrectionBook& book);

}  // namespace platform
