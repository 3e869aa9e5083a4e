// SPDX-License-Identifier: MIT
#include "daemon/fsm/machine.h"

#include "daemon/fsm/tables.h"

namespace {

constexpr u8 kFlagMask = 0x03;

constexpr u8 mvrpMachineByte(u32 applicant, u32 registrar) {
    return static_cast<u8>(applicant << 4U | registrar << 2U);
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
u8 mvrpTransition(u8 machine, u32 event, u32 applicant,
                  const MvrpTransTable<ApplicantStates, Events>& applicants,
                  const MvrpTransTable<kMvrpRegistrarStates, Events>& registrars) {
    if (event >= Events || applicant >= ApplicantStates)
        return machine;
    return static_cast<u8>(
        (machine & kFlagMask) |
        mvrpMachineByte(applicants[event][applicant], registrars[event][mvrpRegistrar(machine)]));
}

/// GVRP row of each received attribute event: LeaveAll, JoinEmpty, JoinIn, LeaveEmpty, LeaveIn,
/// Empty.
constexpr std::array<u32, 6> kGidEvents = {
    GVRP_EVENT_R_LEAVE_ALL,   GVRP_EVENT_R_JOIN_EMPTY, GVRP_EVENT_R_JOIN_IN,
    GVRP_EVENT_R_LEAVE_EMPTY, GVRP_EVENT_R_LEAVE_IN,   GVRP_EVENT_R_EMPTY,
};

}  // namespace

void mvrpFsmInit(u8* machine, u32 kind) {
    *machine = kind == MVRP_MACHINE_STATIC ? mvrpMachineByte(APP_STATE_VP, REG_STATE_INF)
                                           : mvrpMachineByte(APP_STATE_VO, REG_STATE_MT);
}

u8 mvrpFsmChange(u8* machine, u32 event, u32 protocol) {
    const bool mvrp = protocol == MVRP_PROTOCOL_MVRP;
    const u32 applicant = mvrpApplicantFor(mvrpApplicant(*machine), mvrp);
    *machine = mvrp ? mvrpTransition(*machine, event, applicant, mApplicantTransTable,
                                     mRegistrarTransTable)
                    : mvrpTransition(*machine, event, applicant, gApplicantTransTable,
                                     gRegistrarTransTable);
    return *machine;
}

u32 mvrpAttributeEventToGidEvent(u32 attributeEvent) {
    return attributeEvent < kGidEvents.size() ? kGidEvents[attributeEvent]
                                              : u32{GVRP_EVENT_LEAVE_TIMER};
}
