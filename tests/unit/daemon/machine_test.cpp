// SPDX-License-Identifier: MIT
#include "daemon/fsm/machine.h"

#include <gtest/gtest.h>

namespace {

constexpr u8 machineByte(u32 applicant, u32 registrar, u32 flags) {
    return static_cast<u8>(applicant << 4U | registrar << 2U | flags);
}

TEST(Machine, StaticInitGivesPassiveAndFixedWhateverTheByteHeld) {
    for (u32 held = 0; held <= 0xFF; ++held) {
        u8 machine = static_cast<u8>(held);
        mvrpFsmInit(&machine, MVRP_MACHINE_STATIC);
        EXPECT_EQ(machine, 0x1C);
    }
}

TEST(Machine, DynamicInitGivesObserverAndEmptyWhateverTheByteHeld) {
    for (u32 held = 0; held <= 0xFF; ++held) {
        u8 machine = static_cast<u8>(held);
        mvrpFsmInit(&machine, MVRP_MACHINE_DYNAMIC);
        EXPECT_EQ(machine, 0x08);
    }
}

TEST(Machine, AnyOtherKindInitialisesAsDynamic) {
    u8 machine = 0xFF;
    mvrpFsmInit(&machine, 0);
    EXPECT_EQ(machine, 0x08);
}

TEST(Machine, ReceivedNewRegistersAndKeepsBothFlags) {
    u8 machine = 0x0B;
    EXPECT_EQ(mvrpFsmChange(&machine, MVRP_EVENT_R_NEW, MVRP_PROTOCOL_MVRP), 0x03);
}

TEST(Machine, GvrpAnxiousStateIsLookedUpAsNewByMvrp) {
    u8 machine = 0xC8;
    EXPECT_EQ(mvrpFsmChange(&machine, MVRP_EVENT_JOIN_SENT, MVRP_PROTOCOL_MVRP), 0x38);
}

TEST(Machine, MvrpNewStateIsLookedUpAsAnxiousByGvrp) {
    u8 machine = 0x28;
    EXPECT_EQ(mvrpFsmChange(&machine, GVRP_EVENT_JOIN_IN_SENT, MVRP_PROTOCOL_GVRP), 0x48);
}

TEST(Machine, MvrpAnxiousNewStateIsLookedUpAsActiveByGvrp) {
    u8 machine = machineByte(APP_STATE_AN_M, REG_STATE_MT, 0);
    EXPECT_EQ(mvrpFsmChange(&machine, GVRP_EVENT_JOIN_IN_SENT, MVRP_PROTOCOL_GVRP),
              machineByte(APP_STATE_QA, REG_STATE_MT, 0));
}

TEST(Machine, PeerModeZeroSelectsTheGvrpTablesLikeTwo) {
    for (u32 event = 0; event < GVRP_EVENT_COUNT; ++event) {
        for (u32 byte = 0; byte < u32{APP_STATE_MAX} << 4U; ++byte) {
            u8 a = static_cast<u8>(byte);
            u8 b = static_cast<u8>(byte);
            EXPECT_EQ(mvrpFsmChange(&a, event, 0), mvrpFsmChange(&b, event, MVRP_PROTOCOL_GVRP));
        }
    }
}

TEST(Machine, RowsAndStatesBeyondTheTablesChangeNothing) {
    u8 machine = 0x4B;
    EXPECT_EQ(mvrpFsmChange(&machine, MVRP_EVENT_COUNT, MVRP_PROTOCOL_MVRP), 0x4B);
    EXPECT_EQ(mvrpFsmChange(&machine, GVRP_EVENT_COUNT, MVRP_PROTOCOL_GVRP), 0x4B);
    machine = 0xDB;
    EXPECT_EQ(mvrpFsmChange(&machine, MVRP_EVENT_R_LV, MVRP_PROTOCOL_MVRP), 0xDB);
    EXPECT_EQ(mvrpFsmChange(&machine, 0xFFFFFFFF, 7), 0xDB);
}

TEST(Machine, ReceivedGvrpEventsHaveTheirRows) {
    EXPECT_EQ(mvrpAttributeEventToGidEvent(0), GVRP_EVENT_R_LEAVE_ALL);
    EXPECT_EQ(mvrpAttributeEventToGidEvent(1), GVRP_EVENT_R_JOIN_EMPTY);
    EXPECT_EQ(mvrpAttributeEventToGidEvent(2), GVRP_EVENT_R_JOIN_IN);
    EXPECT_EQ(mvrpAttributeEventToGidEvent(3), GVRP_EVENT_R_LEAVE_EMPTY);
    EXPECT_EQ(mvrpAttributeEventToGidEvent(4), GVRP_EVENT_R_LEAVE_IN);
    EXPECT_EQ(mvrpAttributeEventToGidEvent(5), GVRP_EVENT_R_EMPTY);
}

TEST(Machine, UnknownGvrpEventsMapToTheRowThatEndsARegistration) {
    for (const u32 event : {6U, 7U, 255U, 0xFFFFFFFFU})
        EXPECT_EQ(mvrpAttributeEventToGidEvent(event), 22U);
    u8 machine = machineByte(APP_STATE_QA, REG_STATE_IN, 2);
    mvrpFsmChange(&machine, 22, MVRP_PROTOCOL_GVRP);
    EXPECT_EQ(mvrpRegistrar(machine), REG_STATE_MT);
}

}  // namespace
