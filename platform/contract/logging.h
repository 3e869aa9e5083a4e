// SPDX-License-Identifier: MIT
//
// Logging. Texts are printf formats, checked by the compiler; they end in the line ends of the
// system's own conventions, which a host strips before it prints.
#pragma once

#include "platform/contract/types.h"

/// A trace line. `tag` tells lines of one id apart (0 where none is given).
void loggingDebugOutput(u32 logId, u32 level, u32 tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
/// An operator message.
void loggingLogOutput(u32 logId, u32 level, u32 tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
