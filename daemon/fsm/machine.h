// SPDX-License-Identifier: MIT
//
// The one step of a machine (states.h): begin, and what an event makes of it. Pure table look-ups:
// who sends, arms timers and propagates is the caller.
#pragma once

#include "daemon/fsm/states.h"

/// Clears the byte, flags included, and sets VP and INF (static) or VO and MT (dynamic).
void mvrpFsmInit(u8* machine, u32 kind);

/// Applies one event, a row of the tables that `protocol` selects; leaves the flags alone. A state
/// that only the other protocol knows is looked up as its nearest relation: VA as VN for MVRP, VN
/// as VA and AN as AA for GVRP. Rows and stored applicants beyond the tables change nothing.
/// @return the new byte
u8 mvrpFsmChange(u8* machine, u32 event, u32 protocol);

/// Row of the GVRP tables for a received GVRP attribute event.
u32 mvrpAttributeEventToGidEvent(u32 attributeEvent);
