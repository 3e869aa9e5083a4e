// SPDX-License-Identifier: MIT
//
// Every cell of the four transition tables against a second copy, which was typed on its own and
// the other way round: one line per current state, one hex digit per event, in the order of the
// rows.
#include "daemon/fsm/tables.h"

#include <gtest/gtest.h>

#include <string_view>

#include "daemon/fsm/machine.h"

namespace {

constexpr std::array<std::string_view, 12> kMvrpApplicantByState = {
    "02100800007707000000000077600",  // VO
    "02101a11111111144444411141610",  // VP
    "02262222222222233333322232620",  // VN
    "03363333332222354555533352630",  // AN
    "02464555441111455555544451640",  // AA
    "02565555441111455555555551650",  // QA
    "02466666666666600000066677660",  // LA
    "02177777007777700000077777670",  // LO
    "02a88998887707888888888877680",  // AO
    "02b99999887707999999999977690",  // QO
    "02a8abbaaa1111a555555aaa516a0",  // AP
    "02b9bbbbaa1111abbbbbbbbb516b0",  // QP
};

constexpr std::array<std::string_view, 4> kMvrpRegistrarByState = {
    "20000000001111000000020011000",  // IN
    "21110001101111111111122111110",  // LV
    "22220002202222222222222222120",  // MT
    "23333333331333333333333333130",  // INF
};

constexpr std::array<std::string_view, 13> kGvrpApplicantByState = {
    "07700810c00070000007000",  // VO
    "11111a10111111444441111",  // VP
    "22222222222222222222222",  // VN
    "33333333333333333333333",  // AN
    "41ccc546144414555551444",  // AA
    "511cc556155515555551555",  // QA
    "606606c6666606000000666",  // LA
    "70000817777777000007777",  // LO
    "877009a8c88878888887888",  // AO
    "977009b9c99979999997999",  // QO
    "a1111ba81aaa1a555551aaa",  // AP
    "b1111bb91bbb1bbbbbb1bbb",  // QP
    "c1ccc4c61ccc1c444441ccc",  // VA
};

constexpr std::array<std::string_view, 4> kGvrpRegistrarByState = {
    "21100000001111000000022",  // IN
    "21110011101111111111122",  // LV
    "22220022202222222222222",  // MT
    "23333333333333333333333",  // INF
};

u32 digit(char c) {
    return static_cast<u32>(c <= '9' ? c - '0' : c - 'a' + 10);
}

/// Compares a table with its copy by looking at the cells.
template <class Table, size_t States>
void expectCells(const Table& table, const std::array<std::string_view, States>& copy) {
    for (size_t state = 0; state < States; ++state) {
        ASSERT_EQ(copy[state].size(), table.size());
        for (size_t event = 0; event < table.size(); ++event)
            EXPECT_EQ(table[event][state], digit(copy[state][event]))
                << "event " << event << ", state " << state;
    }
}

TEST(TransitionTables, MvrpApplicantCells) {
    expectCells(mApplicantTransTable, kMvrpApplicantByState);
}

TEST(TransitionTables, MvrpRegistrarCells) {
    expectCells(mRegistrarTransTable, kMvrpRegistrarByState);
}

TEST(TransitionTables, GvrpApplicantCells) {
    expectCells(gApplicantTransTable, kGvrpApplicantByState);
}

TEST(TransitionTables, GvrpRegistrarCells) {
    expectCells(gRegistrarTransTable, kGvrpRegistrarByState);
}

/// Column of the tables that a stored applicant is looked up in.
u32 column(u32 applicant, bool mvrp) {
    if (mvrp)
        return applicant == APP_STATE_VA_G ? u32{APP_STATE_VN_M} : applicant;
    if (applicant == APP_STATE_VN_M)
        return APP_STATE_VA_G;
    return applicant == APP_STATE_AN_M ? u32{APP_STATE_AA} : applicant;
}

TEST(Machine, ChangeIsTheLookUpOfApplicantAndRegistrarForEveryByteAndEvent) {
    for (const u32 protocol : {u32{MVRP_PROTOCOL_MVRP}, u32{MVRP_PROTOCOL_GVRP}}) {
        const bool mvrp = protocol == MVRP_PROTOCOL_MVRP;
        const u32 events = mvrp ? u32{MVRP_EVENT_COUNT} : u32{GVRP_EVENT_COUNT};
        for (u32 event = 0; event < events; ++event) {
            for (u32 byte = 0; byte < u32{APP_STATE_MAX} << 4U; ++byte) {
                u8 machine = static_cast<u8>(byte);
                const u32 applicant = column(mvrpApplicant(machine), mvrp);
                const u32 registrar = mvrpRegistrar(machine);
                const u32 nextApplicant = digit((mvrp ? kMvrpApplicantByState[applicant]
                                                      : kGvrpApplicantByState[applicant])[event]);
                const u32 nextRegistrar = digit((mvrp ? kMvrpRegistrarByState[registrar]
                                                      : kGvrpRegistrarByState[registrar])[event]);
                const u8 result = mvrpFsmChange(&machine, event, protocol);
                EXPECT_EQ(machine, nextApplicant << 4U | nextRegistrar << 2U | (byte & 3U))
                    << "protocol " << protocol << ", event " << event << ", byte " << byte;
                EXPECT_EQ(result, machine);
            }
        }
    }
}

TEST(Machine, StateNamesAreThoseOfTheirValues) {
    EXPECT_STREQ(applicantStatesString[APP_STATE_VO], "APP_STATE_VO");
    EXPECT_STREQ(applicantStatesString[APP_STATE_VN_M], "APP_STATE_VN_M");
    EXPECT_STREQ(applicantStatesString[APP_STATE_AN_M], "APP_STATE_AN_M");
    EXPECT_STREQ(applicantStatesString[APP_STATE_QP], "APP_STATE_QP");
    EXPECT_STREQ(applicantStatesString[APP_STATE_VA_G], "APP_STATE_VA_G");
    EXPECT_STREQ(applicantStatesString[APP_STATE_MAX], "APP_STATE_MAX");
    EXPECT_STREQ(registrarStatesString[REG_STATE_IN], "REG_STATE_IN");
    EXPECT_STREQ(registrarStatesString[REG_STATE_INF], "REG_STATE_INF");
}

}  // namespace
