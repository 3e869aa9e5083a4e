// SPDX-License-Identifier: MIT
//
// Debug traces: which lines are wanted, and the one way to write them.
#pragma once

#include "daemon/base/info.h"
#include "platform/contract/logging.h"

/// Whether a filter value (0: all) lets a port unit or VLAN ID (0: none in particular) pass.
constexpr bool mvrpFilterPasses(u32 filter, u32 subject) {
    return filter == 0 || subject == 0 || filter == subject;
}

/// Whether a line of `category` about this port and VLAN is wanted. Pass 0 for a line that is about
/// no port, or no VLAN, in particular.
inline bool mvrpTraceWanted(MvrpDebug category, u32 portUnit, u32 vid) {
    if ((gMvrpInfo.debug & category) == 0) [[likely]]
        return false;
    return mvrpFilterPasses(gMvrpInfo.dbgPort, portUnit) &&
           mvrpFilterPasses(gMvrpInfo.dbgVlan, vid);
}

/// VLAN that the summary lines of a port show: the debug VLAN, or VLAN 2 when none is set.
inline u16 mvrpTraceVlan() {
    return gMvrpInfo.dbgVlan != 0 ? gMvrpInfo.dbgVlan : u16{2};
}

/// Writes one trace line when it is wanted. A macro so that the arguments are not evaluated when it
/// is not, and the compiler checks them against the format.
#define MVRP_TRACE_ID(log, category, portUnit, vid, ...)                                         \
    do {                                                                                         \
        if (mvrpTraceWanted((category), (portUnit), (vid)))                                      \
            loggingDebugOutput(kMvrpLogBase + (log), gMvrpInfo.logLevel[(log)], 0, __VA_ARGS__); \
    } while (false)

/// The same under the log id that most lines have.
#define MVRP_TRACE(category, portUnit, vid, ...) \
    MVRP_TRACE_ID(MVRP_LOG_TRACE, category, portUnit, vid, __VA_ARGS__)
