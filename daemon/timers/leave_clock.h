// SPDX-License-Identifier: MIT
//
// The leave time of each registration, with the correction leave-clock: the low three bits of a
// `vlanFlag` byte count the quarters of the leave time that it has left, and the leave timer is a
// clock that ticks once a quarter. Without the correction the port has one leave timer, which each
// withdrawal restarts, and the bits stay 0.
//
// Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/db/port.h"
#include "daemon/fsm/machines.h"

/// Raises an event on a machine of the port, as mvrpFsmChange() does, and begins the leave time of
/// a registrar that is leaving by it.
void mvrpMachineChange(MvrpPortEntry* port, u32 vid, u32 event, u32 protocol);

/// Raises an event on all machines of the port: `after` is what it makes of them, `leaving` marks
/// those whose registrar is leaving by it.
void mvrpMachinesChange(MvrpPortEntry* port, const MvrpByteMap& after,
                        const MvrpByteMarks& leaving);

/// The two halves of that for a run of machines: which are about to be leaving, and once they are,
/// the beginning of their leave time; `flags` are theirs. Bit 0 of `begun` is the run's first.
/// @return whether there are any; without that `begun` may be unwritten
bool mvrpLeavingMark(std::span<const u8> machines, const MvrpByteMarks& leaving,
                     MvrpVlanBitmap* begun);
void mvrpLeaveClockBegin(std::span<u8> flags, const MvrpVlanBitmap& begun);

/// Starts the leave timer with the leave time; as a clock, with a quarter, and only when it is
/// idle.
void mvrpLeaveTimerStart(MvrpPortEntry* port);

/// What a tick of the clock means for VLANs that are in use and whose registrar may be leaving:
/// counts down those that have time left and takes them out of `vlans`; the others have none.
/// @return whether one was counted down
bool mvrpLeaveClockTick(MvrpPortEntry* port, MvrpVlanBitmap* vlans);

/// Bytes that the event of a map makes leaving.
template <u32 Event, u32 Protocol>
inline constexpr MvrpByteMarks kMvrpActiveLeavingMarks = mvrpByteMarks([](u8 machine) {
    return mvrpVlanActive(machine) && mvrpRegistrar(machine) != REG_STATE_LV &&
           mvrpRegistrar(mvrpMachineAfter(machine, Event, Protocol)) == REG_STATE_LV;
});
