// SPDX-License-Identifier: MIT
//
// What one event makes of one machine byte, as a function that the compiler can run: the single
// step (machine.h) and the maps over many machines (machines.h) are both made of it. Pure.
#pragma once

#include "daemon/fsm/states.h"
#include "daemon/fsm/tables.h"

/// Bits of a machine byte that are REG-BIT and PROPAGATE-BIT.
inline constexpr u8 kMvrpMachineFlags = 0x03;

constexpr u8 mvrpMachineByte(u32 applicant, u32 registrar) {
    return static_cast<u8>(applicant << 4U | registrar << 2U);
}

/// The byte with its registrar replaced.
constexpr u8 mvrpWithRegistrar(u8 machine, u32 registrar) {
    return static_cast<u8>((machine & ~mvrpMachineByte(0, 3)) | mvrpMachineByte(0, registrar));
}

/// The state that stands for `applicant` in the tables of a protocol that does not know it.
constexpr u32 mvrpApplicantFor(u32 applicant, bool mvrp) {
    if (mvrp)
        return applicant == APP_STATE_VA_G ? u32{APP_STATE_VN_M} : applicant;
    if (applicant == APP_STATE_VN_M)
        return APP_STATE_VA_G;
    return applicant == APP_STATE_AN_M ? u32{APP_STATE_AA} : applicant;
}

template <size_t ApplicantStates, size_t Events>
constexpr u8 mvrpTransition(u8 machine, u32 event, u32 applicant,
                            const MvrpTransTable<ApplicantStates, Events>& applicants,
                            const MvrpTransTable<kMvrpRegistrarStates, Events>& registrars) {
    if (event >= Events || applicant >= ApplicantStates)
        return machine;
    return static_cast<u8>(
        (machine & kMvrpMachineFlags) |
        mvrpMachineByte(applicants[event][applicant], registrars[event][mvrpRegistrar(machine)]));
}

/// The byte after an event; see mvrpFsmChange().
constexpr u8 mvrpMachineAfter(u8 machine, u32 event, u32 protocol) {
    const bool mvrp = protocol == MVRP_PROTOCOL_MVRP;
    const u32 applicant = mvrpApplicantFor(mvrpApplicant(machine), mvrp);
    return mvrp ? mvrpTransition(machine, event, applicant, mApplicantTransTable,
                                 mRegistrarTransTable)
                : mvrpTransition(machine, event, applicant, gApplicantTransTable,
                                 gRegistrarTransTable);
}

/// The byte of a machine that begins; see mvrpFsmInit().
constexpr u8 mvrpMachineBegin(u32 kind) {
    return kind == MVRP_MACHINE_STATIC ? mvrpMachineByte(APP_STATE_VP, REG_STATE_INF)
                                       : mvrpMachineByte(APP_STATE_VO, REG_STATE_MT);
}
