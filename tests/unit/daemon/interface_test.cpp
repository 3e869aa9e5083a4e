// SPDX-License-Identifier: MIT
//
// Functions of the daemon's interface that it does not call itself, and what only an unusual host
// brings: called here as another program would.
#include "daemon/core/task.h"
#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machine.h"
#include "daemon/mgmt/config.h"
#include "daemon/pdu/gvrp_receive.h"
#include "daemon/pdu/gvrp_send.h"
#include "daemon/pdu/send.h"
#include "daemon/sync/standby.h"
#include "daemon/timers/pending.h"
#include "platform/contract/qor_vlan.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

constexpr u32 kLastPermitted = 30;

class Interface : public StartedDaemon {
  protected:
    Interface() {
        gMvrpInfo.debug = 0;
        host_.switchState.vlanTypes.set(1, static_cast<u32>(QorVlanType::Static));
        u32 on = MVRP_ON;
        EXPECT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_ENABLE, &on), kStatusOk);
        for (u32 unit = 1; unit <= 2; unit++) {
            auto& port = host_.switchState.addPort(unit);
            for (u32 vid = 1; vid <= kLastPermitted; vid++)
                port.permitted.set(vid);
            port.tagged = port.permitted;
            EXPECT_EQ(mvrpPortSetApi(unit, MVRP_PORT_ENABLE, &on), kStatusOk);
        }
        trace_.clear();
    }

    void speakGvrp() {
        u32 on = MVRP_ON;
        EXPECT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_GVRP_COMPLIANCE, &on), kStatusOk);
        trace_.clear();
    }
    bool wrote(const std::string& text) const { return trace_.find(text) != std::string::npos; }
    static u8& machine(u32 unit, u32 vid) { return mvrpPortEntryGet(unit)->madMachine[vid - 1]; }
};

TEST_F(Interface, AReceivedGvrpAttributeIsRegisteredAndPropagated) {
    speakGvrp();
    EXPECT_EQ(mvrpGidRcvAttribute(mvrpPortEntryGet(1), 20, GVRP_EVENT_R_JOIN_IN), 0);
    EXPECT_NE(mvrpBitTest(&machine(1, 20), MVRP_REG_BIT), 0U);
    EXPECT_NE(mvrpBitTest(&machine(2, 20), MVRP_PROPAGATE_BIT), 0U);
}

TEST_F(Interface, AGvrpAttributeThatDeclaresNothingIsNotPropagated) {
    speakGvrp();
    EXPECT_EQ(mvrpGidRcvAttribute(mvrpPortEntryGet(1), 20, GVRP_EVENT_R_EMPTY), 0);
    EXPECT_EQ(machine(2, 20), 0);
}

TEST_F(Interface, GvrpJoinsAreForwardedWhereThePortCarriesTheVlan) {
    speakGvrp();
    host_.switchState.addPort(2).permitted.reset(21);
    mvrpGidRcvAttribute(mvrpPortEntryGet(1), 20, GVRP_EVENT_R_JOIN_IN);
    mvrpGidRcvAttribute(mvrpPortEntryGet(1), 21, GVRP_EVENT_R_JOIN_IN);
    trace_.clear();
    EXPECT_EQ(mvrpForwardGvrpJoinPkt(mvrpPortEntryGet(2)), 0);
    EXPECT_TRUE(wrote("send gvrp 2 ")) << trace_;
    // An attribute: length 4, the event, the VLAN ID.
    EXPECT_TRUE(wrote("0014")) << trace_;
    EXPECT_FALSE(wrote("0015")) << trace_;
}

TEST_F(Interface, AVectorOfJoinsHoldsJoinMtForEachVlan) {
    MvrpPortEntry* port = mvrpPortEntryGet(1);
    for (u32 vid = 10; vid < 14; vid++)
        mvrpFsmInit(&machine(1, vid), MVRP_MACHINE_DYNAMIC);
    std::array<u8, 6> out{};
    ASSERT_EQ(mvrpJoinVectorBuild(port, 14, 4, out), 6);
    // Four values from VLAN 10 on; JoinMt is 3, so 3 * 36 + 3 * 6 + 3, and 3 * 36.
    EXPECT_EQ(out, (std::array<u8, 6>{0, 4, 0, 10, 129, 108}));
}

TEST_F(Interface, AVectorThatDoesNotFitIsNotBegun) {
    std::array<u8, 5> out{};
    EXPECT_EQ(mvrpJoinVectorBuild(mvrpPortEntryGet(1), 14, 4, out), -1);
    EXPECT_EQ(out, (std::array<u8, 5>{}));
}

TEST_F(Interface, ALeaveAllVectorEndsAtAStateThatHasNoEvent) {
    constexpr std::array<u32, 4> kApplicants = {APP_STATE_VP, APP_STATE_VN_M, APP_STATE_AN_M,
                                                APP_STATE_MAX};
    for (u32 index = 0; index < kApplicants.size(); index++)
        machine(1, 10 + index) = static_cast<u8>(kApplicants[index] << 4U);
    const u8 strange = machine(1, 13);
    std::array<u8, 6> out{};
    EXPECT_EQ(mvrpLeaveallVectorBuild(mvrpPortEntryGet(1), 14, 4, out), -1);
    // Those before have had their event by then.
    EXPECT_EQ(mvrpApplicant(machine(1, 10)), APP_STATE_AA);
    EXPECT_EQ(mvrpApplicant(machine(1, 11)), APP_STATE_AN_M);
    EXPECT_EQ(mvrpApplicant(machine(1, 12)), APP_STATE_QA);
    EXPECT_EQ(machine(1, 13), strange);
}

/// Port 1 gives up VLAN 20; port 2 is a member whose protocol knows nothing of it any more, with a
/// pair that waits for nothing, or without.
TEST_F(Interface, AForgottenMembershipGoesWithTheNextRemoval) {
    constexpr u32 kIndex = 20 - 1;
    MvrpPortEntry* left = mvrpPortEntryGet(1);
    MvrpPortEntry* forgetful = mvrpPortEntryGet(2);
    for (const bool hasPair : {false, true}) {
        trace_.clear();
        mvrpBitSet(&left->vlanFlag[kIndex], MVRP_FLAG_APPLIED);
        mvrpBitSet(&left->vlanFlag[kIndex], MVRP_FLAG_REMOVE);
        mvrpBitSet(&forgetful->vlanFlag[kIndex], MVRP_FLAG_APPLIED);
        ASSERT_EQ(machine(2, 20), 0);
        ASSERT_TRUE(mvrpPortVlanEntryEnsure(1, 20));
        ASSERT_EQ(hasPair && mvrpPortVlanEntryEnsure(2, 20), hasPair);
        mvrpPendingTimerHandler(nullptr);
        mvrpPendingTimerHandler(nullptr);
        EXPECT_FALSE(mvrpPortVlanEntryGet(2, 20));
        EXPECT_EQ(forgetful->vlanFlag[kIndex], 0);
        EXPECT_TRUE(wrote("ifsync 2 195 20")) << trace_;
    }
}

TEST_F(Interface, AMessageGoesToAStandbyThatIsThere) {
    MvrpSyncBuffer buffer = {};
    const u32 length = mvrpVlanSyncPktBuild(mvrpPortEntryGet(1), MVRP_SYNC_ADD, buffer);
    EXPECT_EQ(mvrpSyncPktSend(std::span<u8>(buffer).first(length)), kStatusOk);
    EXPECT_TRUE(wrote("cmdsync")) << trace_;
}

TEST_F(Interface, NoMessageGoesToAStandbyThatIsNotThere) {
    constexpr u32 kNotThere = 5;
    host_.switchState.standbyAnswer = kNotThere;
    MvrpSyncBuffer buffer = {};
    EXPECT_EQ(mvrpSyncPktSend(buffer), kNotThere);
    EXPECT_FALSE(wrote("cmdsync")) << trace_;
}

TEST_F(Interface, AnEmptyMessageAsksNothing) {
    EXPECT_EQ(mvrpSyncPktSend({}), kStatusOk);
    EXPECT_EQ(trace_, "");
}

TEST_F(Interface, PacketInformationIsFoundBehindAForeignItem) {
    scenario::QueuedFrame frame;
    frame.interfaceIndex = 1;
    frame.destination = scenario::MacAddress{0x01, 0x80, 0xC2, 0x00, 0x00, 0x21};
    frame.bytes = {0xFF, 0xFF, 0x00, 0x01, 0x01, 0x00, 0x01, 0x00, 0x14, 0x24, 0x00, 0x00};
    frame.pduOffset = 2;
    frame.foreignItem = true;
    host_.sockets.frames[0].push_back(frame);
    mvrpTaskPass(&host_.task);
    EXPECT_TRUE(host_.task.packetInfoKnown);
    EXPECT_EQ(host_.task.packetInfo.pduOffset, 2);
    EXPECT_NE(mvrpBitTest(&machine(1, 20), MVRP_REG_BIT), 0U);
}

}  // namespace
