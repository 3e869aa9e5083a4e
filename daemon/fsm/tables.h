// SPDX-License-Identifier: MIT
//
// The four transition tables: a row per event, a column per current state, the next state in each
// cell. Every cell is written out, the ones that change nothing too, so that the grid can be held
// beside the tables of IEEE 802.1Q and of GARP.
//
// Cells that look irregular and are wanted:
//   MVRP 10 moves a fixed registration to LV; 11 and 12 leave it alone.
//   MVRP 15 and 16 differ only for AN: QA while the registrar is in, AA while it is not.
//   MVRP 6 leaves VO and VP where 5 makes observers of them.
//   MVRP 12 takes VO, AO and QO to VO, where 10 and 11 take them to LO.
//   MVRP 21 empties a registrar that is IN, 22 only one that is leaving.
//   MVRP 26 takes every applicant to LA and the registrar from MT and INF to LV.
//   MVRP 28 takes every registrar to IN; MVRP 0 and GVRP 0 every registrar, INF too, to MT.
//   GVRP 22 is also the row of every unknown received event: such an event ends a registration.
#pragma once

#include <array>
#include <cstddef>

#include "daemon/fsm/states.h"

inline constexpr u32 kMvrpApplicantStates = 12;  ///< VO to QP
inline constexpr u32 kGvrpApplicantStates = 13;  ///< VO to VA
inline constexpr u32 kMvrpRegistrarStates = 4;   ///< IN to INF

template <size_t States, size_t Events>
using MvrpTransTable = std::array<std::array<u8, States>, Events>;

namespace mvrp_table {

inline constexpr u8 VO = APP_STATE_VO, VP = APP_STATE_VP, VN = APP_STATE_VN_M, AN = APP_STATE_AN_M,
                    AA = APP_STATE_AA, QA = APP_STATE_QA, LA = APP_STATE_LA, LO = APP_STATE_LO,
                    AO = APP_STATE_AO, QO = APP_STATE_QO, AP = APP_STATE_AP, QP = APP_STATE_QP,
                    VA = APP_STATE_VA_G;
inline constexpr u8 IN = REG_STATE_IN, LV = REG_STATE_LV, MT = REG_STATE_MT, INF = REG_STATE_INF;

// clang-format off

inline constexpr MvrpTransTable<kMvrpApplicantStates, MVRP_EVENT_COUNT> mApplicantTransTable = {{
    //VO  VP  VN  AN  AA  QA  LA  LO  AO  QO  AP  QP
    {VO, VO, VO, VO, VO, VO, VO, VO, VO, VO, VO, VO},  //  0 begin
    {VN, VN, VN, AN, VN, VN, VN, VN, VN, VN, VN, VN},  //  1 New
    {VP, VP, VN, AN, AA, QA, AA, VP, AP, QP, AP, QP},  //  2 Join
    {VO, VO, LA, LA, LA, LA, LA, LO, AO, QO, AO, QO},  //  3 Leave
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP},  //  4 rNew
    {AO, AP, VN, AN, QA, QA, LA, LO, QO, QO, QP, QP},  //  5 rJoinIn
    {VO, VP, VN, AN, QA, QA, LA, LO, QO, QO, QP, QP},  //  6 rJoinIn (participant mode 2)
    {VO, VP, VN, AN, QA, QA, LA, LO, AO, QO, AP, QP},  //  7 rIn
    {VO, VP, VN, AN, AA, AA, LA, VO, AO, AO, AP, AP},  //  8 rMt
    {VO, VP, VN, AN, AA, AA, LA, VO, AO, AO, AP, AP},  //  9 rJoinMt
    {LO, VP, VN, VN, VP, VP, LA, LO, LO, LO, VP, VP},  // 10 rLv
    {LO, VP, VN, VN, VP, VP, LA, LO, LO, LO, VP, VP},  // 11 rLA
    {VO, VP, VN, VN, VP, VP, LA, LO, VO, VO, VP, VP},  // 12 rLv/rLA (participant mode 3)
    {LO, VP, VN, VN, VP, VP, LA, LO, LO, LO, VP, VP},  // 13 spare 13
    {VO, VP, VN, AN, AA, AA, LA, LO, AO, QO, AP, AP},  // 14 periodic
    {VO, AA, AN, QA, QA, QA, VO, VO, AO, QO, QA, QP},  // 15 New sent, registrar IN or INF
    {VO, AA, AN, AA, QA, QA, VO, VO, AO, QO, QA, QP},  // 16 New sent, registrar LV or MT
    {VO, AA, AN, QA, QA, QA, VO, VO, AO, QO, QA, QP},  // 17 Join sent
    {VO, AA, AN, QA, QA, QA, VO, VO, AO, QO, QA, QP},  // 18 Mt sent
    {VO, AA, AN, QA, QA, QA, VO, VO, AO, QO, QA, QP},  // 19 In sent
    {VO, AA, AN, QA, QA, QA, VO, VO, AO, QO, QA, QP},  // 20 Lv sent
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP},  // 21 leave timer, global compliance on
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP},  // 22 leave timer, global compliance off
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP},  // 23 spare 23
    {LO, AA, AN, QA, QA, QA, LO, LO, LO, LO, QA, QA},  // 24 VLAN in own LeaveAll vector
    {LO, VP, VN, VN, VP, VP, LO, LO, LO, LO, VP, VP},  // 25 own LeaveAll sent
    {LA, LA, LA, LA, LA, LA, LA, LA, LA, LA, LA, LA},  // 26 static VLAN removed
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP},  // 27 spare 27
    {VO, VO, VO, VO, VO, VO, VO, VO, VO, VO, VO, VO},  // 28 spare 28
}};

inline constexpr MvrpTransTable<kMvrpRegistrarStates, MVRP_EVENT_COUNT> mRegistrarTransTable = {{
    // IN   LV   MT  INF
    { MT,  MT,  MT,  MT},  //  0 begin
    { IN,  LV,  MT, INF},  //  1 New
    { IN,  LV,  MT, INF},  //  2 Join
    { IN,  LV,  MT, INF},  //  3 Leave
    { IN,  IN,  IN, INF},  //  4 rNew
    { IN,  IN,  IN, INF},  //  5 rJoinIn
    { IN,  IN,  IN, INF},  //  6 rJoinIn (participant mode 2)
    { IN,  LV,  MT, INF},  //  7 rIn
    { IN,  LV,  MT, INF},  //  8 rMt
    { IN,  IN,  IN, INF},  //  9 rJoinMt
    { LV,  LV,  MT,  LV},  // 10 rLv
    { LV,  LV,  MT, INF},  // 11 rLA
    { LV,  LV,  MT, INF},  // 12 rLv/rLA (participant mode 3)
    { LV,  LV,  MT, INF},  // 13 spare 13
    { IN,  LV,  MT, INF},  // 14 periodic
    { IN,  LV,  MT, INF},  // 15 New sent, registrar IN or INF
    { IN,  LV,  MT, INF},  // 16 New sent, registrar LV or MT
    { IN,  LV,  MT, INF},  // 17 Join sent
    { IN,  LV,  MT, INF},  // 18 Mt sent
    { IN,  LV,  MT, INF},  // 19 In sent
    { IN,  LV,  MT, INF},  // 20 Lv sent
    { MT,  MT,  MT, INF},  // 21 leave timer, global compliance on
    { IN,  MT,  MT, INF},  // 22 leave timer, global compliance off
    { IN,  LV,  MT, INF},  // 23 spare 23
    { LV,  LV,  MT, INF},  // 24 VLAN in own LeaveAll vector
    { LV,  LV,  MT, INF},  // 25 own LeaveAll sent
    { IN,  LV,  LV,  LV},  // 26 static VLAN removed
    { IN,  LV,  MT, INF},  // 27 spare 27
    { IN,  IN,  IN,  IN},  // 28 spare 28
}};

inline constexpr MvrpTransTable<kGvrpApplicantStates, GVRP_EVENT_COUNT> gApplicantTransTable = {{
    //VO  VP  VN  AN  AA  QA  LA  LO  AO  QO  AP  QP  VA
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  //  0 spare 0
    {LO, VP, VN, AN, VP, VP, VO, VO, LO, LO, VP, VP, VP},  //  1 rLeaveEmpty
    {LO, VP, VN, AN, VA, VP, LA, VO, LO, LO, VP, VP, VA},  //  2 rLeaveIn
    {VO, VP, VN, AN, VA, VA, LA, VO, VO, VO, VP, VP, VA},  //  3 rEmpty
    {VO, VP, VN, AN, VA, VA, VO, VO, VO, VO, VP, VP, VA},  //  4 rJoinEmpty
    {AO, AP, VN, AN, QA, QA, LA, AO, QO, QO, QP, QP, AA},  //  5 rJoinIn
    {VP, VP, VN, AN, AA, QA, VA, VP, AP, QP, AP, QP, VA},  //  6 Join
    {VO, VO, VN, AN, LA, LA, LA, LO, AO, QO, AO, QO, LA},  //  7 Leave
    {VA, VP, VN, AN, VP, VP, LA, LO, VA, VA, VP, VP, VP},  //  8 spare 8
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  //  9 spare 9
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  // 10 spare 10
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  // 11 spare 11
    {LO, VP, VN, AN, VP, VP, VO, LO, LO, LO, VP, VP, VP},  // 12 rLeaveAll
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  // 13 spare 13
    {VO, AA, VN, AN, QA, QA, VO, VO, AO, QO, QA, QP, AA},  // 14 LeaveEmpty sent
    {VO, AA, VN, AN, QA, QA, VO, VO, AO, QO, QA, QP, AA},  // 15 LeaveIn sent
    {VO, AA, VN, AN, QA, QA, VO, VO, AO, QO, QA, QP, AA},  // 16 Empty sent
    {VO, AA, VN, AN, QA, QA, VO, VO, AO, QO, QA, QP, AA},  // 17 JoinEmpty sent
    {VO, AA, VN, AN, QA, QA, VO, VO, AO, QO, QA, QP, AA},  // 18 JoinIn sent
    {LO, VP, VN, AN, VP, VP, VO, LO, LO, LO, VP, VP, VP},  // 19 spare 19
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  // 20 spare 20
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  // 21 leave timer, global compliance on
    {VO, VP, VN, AN, AA, QA, LA, LO, AO, QO, AP, QP, VA},  // 22 leave timer, global compliance off; unknown received event
}};

inline constexpr MvrpTransTable<kMvrpRegistrarStates, GVRP_EVENT_COUNT> gRegistrarTransTable = {{
    // IN   LV   MT  INF
    { MT,  MT,  MT,  MT},  //  0 spare 0
    { LV,  LV,  MT, INF},  //  1 rLeaveEmpty
    { LV,  LV,  MT, INF},  //  2 rLeaveIn
    { IN,  LV,  MT, INF},  //  3 rEmpty
    { IN,  IN,  IN, INF},  //  4 rJoinEmpty
    { IN,  IN,  IN, INF},  //  5 rJoinIn
    { IN,  LV,  MT, INF},  //  6 Join
    { IN,  LV,  MT, INF},  //  7 Leave
    { IN,  LV,  MT, INF},  //  8 spare 8
    { IN,  IN,  IN, INF},  //  9 spare 9
    { LV,  LV,  MT, INF},  // 10 spare 10
    { LV,  LV,  MT, INF},  // 11 spare 11
    { LV,  LV,  MT, INF},  // 12 rLeaveAll
    { LV,  LV,  MT, INF},  // 13 spare 13
    { IN,  LV,  MT, INF},  // 14 LeaveEmpty sent
    { IN,  LV,  MT, INF},  // 15 LeaveIn sent
    { IN,  LV,  MT, INF},  // 16 Empty sent
    { IN,  LV,  MT, INF},  // 17 JoinEmpty sent
    { IN,  LV,  MT, INF},  // 18 JoinIn sent
    { IN,  LV,  MT, INF},  // 19 spare 19
    { IN,  LV,  MT, INF},  // 20 spare 20
    { MT,  MT,  MT, INF},  // 21 leave timer, global compliance on
    { MT,  MT,  MT, INF},  // 22 leave timer, global compliance off; unknown received event
}};

// clang-format on

/// Every cell of a table is a state of its own columns.
template <size_t States, size_t Events>
constexpr bool tableClosed(const MvrpTransTable<States, Events>& table) {
    for (const auto& row : table)
        for (const u8 next : row)
            if (next >= States)
                return false;
    return true;
}
static_assert(tableClosed(mApplicantTransTable) && tableClosed(mRegistrarTransTable));
static_assert(tableClosed(gApplicantTransTable) && tableClosed(gRegistrarTransTable));

}  // namespace mvrp_table

using mvrp_table::gApplicantTransTable;
using mvrp_table::gRegistrarTransTable;
using mvrp_table::mApplicantTransTable;
using mvrp_table::mRegistrarTransTable;

/// Names of the states, by value.
inline constexpr std::array<const char*, APP_STATE_MAX + 1> applicantStatesString = {
    "APP_STATE_VO", "APP_STATE_VP", "APP_STATE_VN_M", "APP_STATE_AN_M", "APP_STATE_AA",
    "APP_STATE_QA", "APP_STATE_LA", "APP_STATE_LO",   "APP_STATE_AO",   "APP_STATE_QO",
    "APP_STATE_AP", "APP_STATE_QP", "APP_STATE_VA_G", "APP_STATE_MAX",
};
inline constexpr std::array<const char*, kMvrpRegistrarStates> registrarStatesString = {
    "REG_STATE_IN",
    "REG_STATE_LV",
    "REG_STATE_MT",
    "REG_STATE_INF",
};
