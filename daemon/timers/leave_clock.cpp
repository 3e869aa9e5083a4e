// SPDX-License-Identifier: MIT
#include "daemon/timers/leave_clock.h"

#include <algorithm>

#include "daemon/base/corrections.h"
#include "daemon/fsm/machine.h"
#include "daemon/timers/protocol_timers.h"

namespace {

/// Bits of a `vlanFlag` byte that count the quarters.
constexpr u8 kQuartersMask = 0x07;
/// One more than there are in a leave time: the clock may tick at once.
constexpr u8 kQuartersAtFirst = 5;
constexpr u32 kQuartersPerLeave = 4;

constexpr u32 mvrpQuarters(u8 flag) {
    return flag & kQuartersMask;
}

constexpr u8 mvrpWithQuarters(u8 flag, u32 quarters) {
    return static_cast<u8>((flag & ~kQuartersMask) | quarters);
}

constexpr MvrpByteMap kBegun =
    mvrpByteMap([](u8 flag) { return mvrpWithQuarters(flag, kQuartersAtFirst); });
constexpr MvrpByteMap kOver = mvrpByteMap([](u8 flag) { return mvrpWithQuarters(flag, 0); });
constexpr MvrpByteMap kOneLess = mvrpByteMap([](u8 flag) {
    return mvrpWithQuarters(flag, mvrpQuarters(flag) == 0 ? 0 : mvrpQuarters(flag) - 1);
});
constexpr MvrpByteMarks kHasTime = mvrpByteMarks([](u8 flag) { return mvrpQuarters(flag) > 1; });

std::span<u8> mvrpFlags(MvrpPortEntry* port) {
    return std::span(port->vlanFlag).first(kMvrpVlanCount);
}

}  // namespace

void mvrpMachineChange(MvrpPortEntry* port, u32 vid, u32 event, u32 protocol) {
    u8* machine = &port->madMachine[vid - 1];
    const u32 before = mvrpRegistrar(*machine);
    const u32 after = mvrpRegistrar(mvrpFsmChange(machine, event, protocol));
    if (after == REG_STATE_LV && before != REG_STATE_LV && mvrpCorrects(Correction::LeaveClock)) {
        u8* flag = &port->vlanFlag[vid - 1];
        *flag = mvrpWithQuarters(*flag, kQuartersAtFirst);
    }
}

void mvrpMachinesChange(MvrpPortEntry* port, const MvrpByteMap& after,
                        const MvrpByteMarks& leaving) {
    MvrpVlanBitmap begun;
    if (mvrpLeavingMark(mvrpMachines(port), leaving, &begun))
        mvrpLeaveClockBegin(mvrpFlags(port), begun);
    gMvrpBytes.apply(mvrpMachines(port), after);
}

bool mvrpLeavingMark(std::span<const u8> machines, const MvrpByteMarks& leaving,
                     MvrpVlanBitmap* begun) {
    return mvrpCorrects(Correction::LeaveClock) && gMvrpBytes.mark(machines, leaving, begun);
}

void mvrpLeaveClockBegin(std::span<u8> flags, const MvrpVlanBitmap& begun) {
    gMvrpBytes.applyWhere(flags, begun, kBegun);
}

void mvrpLeaveTimerStart(MvrpPortEntry* port) {
    u32 ms = port->leave_timeout;
    if (mvrpCorrects(Correction::LeaveClock)) {
        if (silTimerRemain(&gMvrpInfo.timerList, &port->leaveTimer) != 0)
            return;
        ms = std::max(ms / kQuartersPerLeave, 1U);
    }
    mvrpPortTimerRestart(port, &port->leaveTimer, ms, mvrpLeaveTimerHandler);
}

bool mvrpLeaveClockTick(MvrpPortEntry* port, MvrpVlanBitmap* vlans) {
    MvrpVlanBitmap ending;
    gMvrpBytes.mark(mvrpMachines(port), kMvrpLeavingMachines, &ending);
    mvrpBitmapKeep(&ending, *vlans);
    MvrpVlanBitmap waiting;
    gMvrpBytes.mark(mvrpFlags(port), kHasTime, &waiting);
    mvrpBitmapKeep(&waiting, ending);
    mvrpBitmapRemove(&ending, waiting);
    gMvrpBytes.applyWhere(mvrpFlags(port), waiting, kOneLess);
    gMvrpBytes.applyWhere(mvrpFlags(port), ending, kOver);
    mvrpBitmapRemove(vlans, waiting);
    if (mvrpBitmapEmpty(waiting))
        return false;
    correctionActed(Correction::LeaveClock, port->portunit, 0);
    return true;
}
