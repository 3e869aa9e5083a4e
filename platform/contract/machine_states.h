// SPDX-License-Identifier: MIT
//
// The states of a VLAN's applicant and registrar on a port, as the attributes MVRP_PORT_APPLICANT
// and MVRP_PORT_REGISTRAR show them, and as the daemon packs them into a byte.
#pragma once

#include "platform/contract/types.h"

/// Applicant states of IEEE 802.1Q, and VA of GARP.
enum MvrpApplicantState : u8 {
    APP_STATE_VO = 0,     ///< very anxious observer
    APP_STATE_VP = 1,     ///< very anxious passive
    APP_STATE_VN_M = 2,   ///< very anxious new; MVRP tables only
    APP_STATE_AN_M = 3,   ///< anxious new; MVRP tables only
    APP_STATE_AA = 4,     ///< anxious active
    APP_STATE_QA = 5,     ///< quiet active
    APP_STATE_LA = 6,     ///< leaving active
    APP_STATE_LO = 7,     ///< leaving observer
    APP_STATE_AO = 8,     ///< anxious observer
    APP_STATE_QO = 9,     ///< quiet observer
    APP_STATE_AP = 10,    ///< anxious passive
    APP_STATE_QP = 11,    ///< quiet passive
    APP_STATE_VA_G = 12,  ///< very anxious active; GVRP tables only
    APP_STATE_MAX = 13,
};

enum MvrpRegistrarState : u8 {
    REG_STATE_IN = 0,
    REG_STATE_LV = 1,   ///< leaving: the leave timer decides
    REG_STATE_MT = 2,   ///< empty
    REG_STATE_INF = 3,  ///< fixed by static configuration
};

/// What a port holds of a VLAN beside its states.
inline constexpr u8 kMachineRegistered = 2;  ///< REG-BIT
inline constexpr u8 kMachinePropagated = 1;  ///< PROPAGATE-BIT
