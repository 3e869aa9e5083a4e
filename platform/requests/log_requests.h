// SPDX-License-Identifier: MIT
//
// The request for the latest lines of the log.
#pragma once

#include "platform/channel/dispatcher.h"
#include "platform/channel/observations.h"
#include "platform/runtime/log_book.h"

namespace platform {

/// Registers LogRead. @param book  outlives the dispatcher; null: nothing is kept
void registerLogRequests(Dispatcher& dispatcher, const LogBook* book);

/// Appends what a LogQuery asks for to `reply`: as many lines as fit one.
void readLog(const LogBook& book, const LogQuery& query, std::vector<u8>& reply);

}  // namespace platform
