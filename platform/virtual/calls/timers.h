// SPDX-License-Identifier: MIT
//
// What the rest of the scenario host asks of its timer list.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/contract/sil.h"
#include "platform/contract/types.h"

namespace scenario {

/// Name of a handler of the daemon, as traces have it.
std::string_view nameOfHandler(SilTimerHandler handler);

/// Due time of the earliest timer of the daemon; none when no timer runs.
std::optional<u64> earliestDueMs();

/// Remaining milliseconds of a slot (0 when overdue), `-` when it is idle. A handler other than
/// `usual` is named after the time.
std::string formatTimer(const SilTimerNode& node, SilTimerHandler usual);

}  // namespace scenario
