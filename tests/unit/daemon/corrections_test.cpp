// SPDX-License-Identifier: MIT
//
// What no trace shows of the corrections: when they are asked for, and that the host is told of
// each that acts.
#include "daemon/base/corrections.h"

#include "daemon/db/port.h"
#include "daemon/fsm/states.h"
#include "daemon/map/propagate.h"
#include "daemon/map/registered.h"
#include "daemon/map/static_vlan.h"
#include "daemon/mgmt/config.h"
#include "daemon/pdu/receive.h"
#include "daemon/pdu/send.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"
#include "platform/contract/qor_vlan.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

constexpr u32 kPorts = 4;
constexpr u32 kVid = 20;
/// Machine bytes: registered here, declared for others, fixed.
constexpr u8 kRegistered = 0x52;
constexpr u8 kDeclared = 0x51;
constexpr u8 kFixed = 0x5E;
constexpr u8 kLeaving = 0x56;

class Corrections : public StartedDaemon {
  protected:
    /// Starts the daemon anew with ports 1 to kPorts.
    void startWith(CorrectionSet set) {
        host_.corrections = set;
        scenario::startDaemon(host_);
        host_.correctionsActed = {};
        gMvrpInfo.debug = 0;
        host_.switchState.vlanTypes.set(1, static_cast<u32>(QorVlanType::Static));
        u32 on = MVRP_ON;
        EXPECT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_ENABLE, &on), kStatusOk);
        for (u32 unit = 1; unit <= kPorts; unit++) {
            host_.switchState.addPort(unit).permitted.set();
            EXPECT_EQ(mvrpPortSetApi(unit, MVRP_PORT_ENABLE, &on), kStatusOk);
        }
    }
    static CorrectionSet only(Correction which) {
        CorrectionSet set;
        set.add(which);
        return set;
    }
    u64 acted(Correction which) const {
        return host_.correctionsActed[static_cast<std::size_t>(which)];
    }
    static MvrpPortEntry* port(u32 unit) { return mvrpPortEntryGet(unit); }
    static u8& machine(u32 unit, u32 vid = kVid) { return port(unit)->madMachine[vid - 1]; }
    static void receive(u32 unit, std::vector<u8> pdu) {
        mvrpPktProcess(port(unit), pdu.data(), static_cast<s32>(pdu.size()));
    }
    static void join(u32 unit) { receive(unit, {0, 1, 1, 0, 1, 0, kVid, 36, 0, 0}); }
};

TEST_F(Corrections, AreAskedForAtTheStartAndNotAgain) {
    startWith(only(Correction::OwnBatch));
    host_.corrections = CorrectionSet::all();
    EXPECT_TRUE(mvrpCorrects(Correction::OwnBatch));
    EXPECT_FALSE(mvrpCorrects(Correction::SendOnChange));
    startWith({});
    EXPECT_FALSE(mvrpCorrects(Correction::OwnBatch));
}

TEST_F(Corrections, NoneActsWhileNoneIsOn) {
    startWith({});
    join(1);
    mvrpPendingTimerHandler(nullptr);
    mvrpLeaveallTimerHandler(port(1));
    mvrpLeaveTimerHandler(port(1));
    mvrpPortAddStaticVlan(port(2), kVid);
    mvrpPortDelStaticVlan(port(2), kVid);
    for (const u64 count : host_.correctionsActed)
        EXPECT_EQ(count, 0U);
}

TEST_F(Corrections, ALeaveThatIsKeptIsToldForEachTargetThatKeepsIt) {
    startWith(only(Correction::LeaveNeeded));
    machine(2) = kRegistered;
    machine(3) = machine(4) = kDeclared;
    mvrpMapPropagateLeave(kVid, port(1));
    EXPECT_EQ(acted(Correction::LeaveNeeded), 2U);
    MvrpVlanBitmap vlans = {};
    mvrpBitSet(vlans.data(), kVid - 1);
    mvrpMapPropagateLeaves(vlans, port(1));
    EXPECT_EQ(acted(Correction::LeaveNeeded), 4U);
    EXPECT_EQ(machine(3), kDeclared);
}

TEST_F(Corrections, WhatEveryPortNeedsIsTheSameForOneVlanAndForMany) {
    startWith({});
    constexpr std::array<u8, 6> kBytes = {0, kRegistered, kDeclared, kFixed, kLeaving, 0x53};
    u32 state = 1;
    for (u32 unit = 1; unit <= kPorts; unit++)
        for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; vid++) {
            state = state * 1664525U + 1013904223U;
            machine(unit, vid) = kBytes[(state >> 16U) % kBytes.size()];
        }
    port(4)->enable = 0;
    for (u32 source = 1; source <= kPorts; source++) {
        const MvrpRegisteredElsewhere elsewhere(port(source));
        for (u32 target = 1; target <= kPorts; target++) {
            if (target == source || target == 4)
                continue;
            const MvrpVlanBitmap needed = elsewhere.neededOn(port(target));
            for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; vid++)
                ASSERT_EQ(mvrpBitTest(needed.data(), vid - 1) != 0,
                          mvrpNeededOn(port(target), vid, port(source)))
                    << "VLAN " << vid << " on " << target << " from " << source;
        }
        for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; vid++)
            ASSERT_EQ(mvrpBitTest(elsewhere.any().data(), vid - 1) != 0,
                      mvrpRegisteredOnOther(vid, port(source)));
    }
}

TEST_F(Corrections, EachOfTheOthersIsToldWhenItActs) {
    startWith(CorrectionSet::all());
    join(1);
    EXPECT_EQ(acted(Correction::ApplySoon), 1U);
    mvrpPortSendPkt(port(2));
    join(1);
    EXPECT_GE(acted(Correction::SendOnChange), 1U);
    host_.switchState.addPort(3).admitted.reset(kVid);
    join(3);
    EXPECT_EQ(acted(Correction::Admission), 1U);
    mvrpPortAddStaticVlan(port(2), kVid + 1);
    EXPECT_EQ(acted(Correction::StaticKept), 1U);
    machine(4) = kLeaving;
    port(4)->vlanFlag[kVid - 1] = 3;
    mvrpLeaveTimerHandler(port(4));
    EXPECT_EQ(acted(Correction::LeaveClock), 1U);
    u32 off = MVRP_OFF;
    EXPECT_EQ(mvrpPortSetApi(1, MVRP_PORT_ENABLE, &off), kStatusOk);
    EXPECT_EQ(acted(Correction::OffWithdraws), 1U);
    u32 forbidden = MVRP_REGISTRATION_FORBIDDEN;
    EXPECT_EQ(mvrpPortSetApi(4, MVRP_PORT_REGISTRATION_MODE, &forbidden), kStatusOk);
    EXPECT_EQ(acted(Correction::ForbiddenForgets), 1U);
    machine(2) = kRegistered;
    u32 normal = MVRP_REGISTRATION_NORMAL;
    EXPECT_EQ(mvrpPortSetApi(4, MVRP_PORT_REGISTRATION_MODE, &normal), kStatusOk);
    EXPECT_EQ(acted(Correction::OnDeclares), 1U);
}

/// A LeaveAll vector that ends at a state without an event has begun the leave time of those before
/// it, and of no other.
TEST_F(Corrections, AVectorThatIsNotWrittenBeginsNoLeaveTimeBehindItsEnd) {
    startWith(only(Correction::LeaveClock));
    machine(1, kVid) = kRegistered;
    machine(1, kVid + 1) = 0x72;  // LO stands in no LeaveAll vector
    machine(1, kVid + 2) = kRegistered;
    std::array<u8, 8> out{};
    EXPECT_EQ(mvrpLeaveallVectorBuild(port(1), kVid + 3, 3, out), -1);
    EXPECT_EQ(port(1)->vlanFlag[kVid - 1], 5);
    EXPECT_EQ(port(1)->vlanFlag[kVid], 5);
    EXPECT_EQ(port(1)->vlanFlag[kVid + 1], 0);
}

}  // namespace
