// SPDX-License-Identifier: MIT
//
// The command server: a task of its own that calls the handlers of a table, one request at a time.
#pragma once

#include <variant>

#include "platform/contract/types.h"

/// Enumerating handlers: store the first unit, or the first one above `unit`.
using IcmFirstHandler = u32 (*)(u32* unit);
using IcmNextHandler = u32 (*)(u32 unit, u32* next);
/// Attribute handlers. `value` is a u32, or a QorBuffer for the attributes that carry more.
using IcmAttributeHandler = u32 (*)(u32 unit, u32 attribute, void* value);

/// One row of a handler table; std::monostate: the request has no handler.
struct IcmFunc {
    u32 request;
    std::variant<std::monostate, IcmFirstHandler, IcmNextHandler, IcmAttributeHandler> handler;
};

/// Starts the command server `task` on the UNIX stream socket `path`. `map` must outlive it.
/// @return 0, or non-zero when the server could not be started
u32 icmProcTcpInit(const char* task, const char* path, const IcmFunc* map, u32 count);
