// SPDX-License-Identifier: MIT
//
// Puts a book of corrections behind the contract's calls about them.
#pragma once

#include "platform/observe/correction_book.h"

namespace platform {

/// Before the daemon starts; it outlives the daemon's tasks. Null: no corrections, and none are
/// counted.
void installCorrections(CorrectionBook* book);

}  // namespace platform
