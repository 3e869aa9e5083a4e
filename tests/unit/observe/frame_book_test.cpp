// SPDX-License-Identifier: MIT
#include "platform/observe/frame_book.h"

#include <gtest/gtest.h>

#include "platform/runtime/tasks/timer.h"
#include "tests/unit/switch/soft_harness.h"
#include "tests/unit/wire/frame_builder.h"

namespace platform::testing {
namespace {

constexpr u32 kPort = 3;

class FrameWatching : public ::testing::Test {
  protected:
    void receive(const frames::Bytes& frame, Delivery outcome = Delivery::Delivered) {
        const FrameView view = classifyFrame(frame);
        if (view.kind == FrameKind::None)
            watch.frameHandled(kPort, view, view.reason, std::nullopt);
        else
            watch.frameHandled(kPort, view, DropReason::None, outcome);
    }
    u64 failures(FailedRegistration reason) {
        return watch.statistics(kPort).failed.at(static_cast<std::size_t>(reason));
    }
    u64 eventsIn(PduEvent event) {
        return watch.statistics(kPort).eventsIn.at(static_cast<std::size_t>(event));
    }

    SoftSwitch soft{smallSwitch()};
    std::mutex mutex;
    FrameBook watch{soft, mutex};
    const frames::Bytes joinTen = frames::nativeFrame("00 01 01 0001 000a 24 0000");
    const frames::Bytes leaveTen = frames::nativeFrame("00 01 01 0001 000a b4 0000");
};

TEST_F(FrameWatching, CountsPdusAndEventsByFormAndDirection) {
    receive(joinTen);
    receive(frames::ieeeFrame("00 01 02 0002 0014 6c 0000 0000"));
    receive(frames::gvrpFrame("0001 01 04 02 000a 00 00"));
    watch.frameSent(kPort, leaveTen, 0, monotonicMs());
    watch.frameSent(kPort, leaveTen, 5, monotonicMs());
    const PortStatisticsRecord statistics = watch.statistics(kPort);
    EXPECT_EQ(statistics.pdusIn, (std::array<u64, 3>{1, 1, 1}));
    EXPECT_EQ(statistics.pdusOut, (std::array<u64, 3>{1, 0, 0}));
    EXPECT_EQ(statistics.sendFailed, 1U);
    EXPECT_EQ(eventsIn(PduEvent::JoinIn), 1U);
    EXPECT_EQ(eventsIn(PduEvent::JoinMt), 1U);
    EXPECT_EQ(eventsIn(PduEvent::New), 1U);
    EXPECT_EQ(eventsIn(PduEvent::GvrpJoinIn), 1U);
    EXPECT_EQ(statistics.eventsOut.at(static_cast<std::size_t>(PduEvent::Lv)), 1U);
    EXPECT_EQ(statistics.lastPduOrigin, (std::array<u8, 6>{2, 0, 0, 0, 1, 2}));
    EXPECT_NE(statistics.lastPduMs, kNever);
}

TEST_F(FrameWatching, TellsWhatIsHeardAndWhatWasWithdrawn) {
    const auto vlansOf = [](const std::vector<VlanTimeRun>& runs) {
        VlanBitmap vlans{};
        for (const VlanTimeRun& run : runs)
            for (u32 vid = run.firstVid; vid <= run.lastVid; ++vid)
                vlanInsert(vlans, vid);
        return vlans;
    };
    EXPECT_TRUE(watch.vlanTimes(kPort).heard.empty());
    receive(joinTen);
    receive(frames::ieeeFrame("00 01 02 0002 0014 6c 0000 0000"));
    VlanBitmap both = vlanRange(20, 21);
    vlanInsert(both, 10);
    EXPECT_EQ(vlansOf(watch.vlanTimes(kPort).heard), both);
    receive(leaveTen);
    EXPECT_EQ(vlansOf(watch.vlanTimes(kPort).heard), vlanRange(20, 21));
    EXPECT_EQ(vlansOf(watch.vlanTimes(kPort).withdrawn), vlanRange(10, 10));
}

TEST_F(FrameWatching, TellsWhoIsHeardAndInWhichForm) {
    EXPECT_TRUE(watch.neighbours(kPort).empty());
    receive(joinTen);
    ASSERT_EQ(watch.neighbours(kPort).size(), 1U);
    EXPECT_EQ(watch.neighbours(kPort)[0].protocol, static_cast<u8>(FrameKind::NativeMvrp));
    EXPECT_EQ(watch.neighbours(kPort)[0].mac, (MacAddress{2, 0, 0, 0, 1, 2}));
    EXPECT_EQ(watch.neighbours(kPort)[0].lost, 0);
    receive(frames::gvrpFrame("0001 01 04 02 000a 00 00"));
    ASSERT_EQ(watch.neighbours(kPort).size(), 1U);
    EXPECT_EQ(watch.neighbours(kPort)[0].protocol, static_cast<u8>(FrameKind::Gvrp));
}

TEST_F(FrameWatching, CountsEachOfTheSameFramesInARow) {
    const frames::Bytes leaveAll = frames::nativeFrame("00 01 01 2001 000a 24 0000");
    for (int i = 0; i < 3; ++i)
        watch.frameSent(kPort, leaveAll, 0, monotonicMs());
    EXPECT_EQ(watch.statistics(kPort).pdusOut[0], 3U);
    for (const frames::Bytes& frame : {leaveAll, leaveTen, leaveTen, leaveAll})
        watch.frameSent(kPort, frame, 0, monotonicMs());
    const PortStatisticsRecord statistics = watch.statistics(kPort);
    EXPECT_EQ(statistics.pdusOut[0], 7U);
    EXPECT_EQ(statistics.bytesOut, 5 * leaveAll.size() + 2 * leaveTen.size());
    EXPECT_EQ(statistics.eventsOut.at(static_cast<std::size_t>(PduEvent::LeaveAll)), 5U);
    EXPECT_EQ(statistics.eventsOut.at(static_cast<std::size_t>(PduEvent::JoinIn)), 5U);
    EXPECT_EQ(statistics.eventsOut.at(static_cast<std::size_t>(PduEvent::Lv)), 2U);
    EXPECT_EQ(watch.vlanHistory(kPort, 10).sentEvent, static_cast<u8>(PduEvent::JoinIn));
    EXPECT_NE(watch.history(kPort).leaveAllOutMs, kNever);
    watch.frameSent(kPort, leaveTen, 0, monotonicMs());
    watch.clear(kPort);
    EXPECT_EQ(watch.statistics(kPort).pdusOut[0], 0U);
}

TEST_F(FrameWatching, CountsFramesThatAreTooLongToKeep) {
    frames::Bytes padded = leaveTen;
    padded.resize(RepeatedFrame::kMostBytes + 1);
    for (const frames::Bytes& frame : {leaveTen, padded, padded, leaveTen})
        watch.frameSent(kPort, frame, 0, monotonicMs());
    EXPECT_EQ(watch.statistics(kPort).pdusOut[0], 4U);
    EXPECT_EQ(watch.statistics(kPort).eventsOut.at(static_cast<std::size_t>(PduEvent::Lv)), 4U);
}

TEST_F(FrameWatching, ALeaveAllInEveryVectorOfAPduIsOne) {
    receive(frames::nativeFrame("00 01 01 2001 000a 24 2001 0014 24 0000"));
    EXPECT_EQ(eventsIn(PduEvent::LeaveAll), 1U);
    EXPECT_EQ(eventsIn(PduEvent::JoinIn), 2U);
    EXPECT_NE(watch.history(kPort).leaveAllInMs, kNever);
    EXPECT_EQ(watch.history(kPort).leaveAllOutMs, kNever);
}

TEST_F(FrameWatching, RemembersWhoDeclaredAVlanAndThatItWasWithdrawn) {
    receive(joinTen);
    VlanHistoryRecord history = watch.vlanHistory(kPort, 10);
    EXPECT_NE(history.joinMs, kNever32);
    EXPECT_EQ(history.leaveMs, kNever32);
    EXPECT_EQ(history.origin, (std::array<u8, 6>{2, 0, 0, 0, 1, 2}));
    EXPECT_EQ(history.joinEvent, static_cast<u8>(PduEvent::JoinIn));
    receive(leaveTen);
    history = watch.vlanHistory(kPort, 10);
    EXPECT_NE(history.leaveMs, kNever32);
    EXPECT_NE(watch.history(kPort).leaveMs, kNever);
    EXPECT_EQ(watch.vlanHistory(kPort, 11).joinMs, kNever32);
    EXPECT_EQ(watch.vlanHistory(5, 10).joinMs, kNever32);
}

TEST_F(FrameWatching, AFailedRegistrationHasItsReason) {
    std::string error;
    SwitchChangeRecord permit = changeOf(SwitchChangeKind::PortPermit, kPort, 0, vlanRange(2, 9));
    ASSERT_EQ(soft.change(permit, error), HostStatus::Ok) << error;
    receive(joinTen);
    EXPECT_EQ(failures(FailedRegistration::NotPermitted), 1U);
    permit.vlans = vlanRange(2, 20);
    ASSERT_EQ(soft.change(permit, error), HostStatus::Ok) << error;
    receive(joinTen);
    EXPECT_EQ(failures(FailedRegistration::NotPermitted), 1U);
    watch.setRegistration(kPort, 3);
    receive(joinTen);
    EXPECT_EQ(failures(FailedRegistration::Forbidden), 1U);
    watch.setRegistration(kPort, 2);
    receive(joinTen);
    EXPECT_EQ(failures(FailedRegistration::Fixed), 1U);
    receive(frames::nativeFrame("00 01 01 0001 0001 24 0000"));  // VLAN 1 is static: no failure
    EXPECT_EQ(failures(FailedRegistration::Fixed), 1U);
    watch.membersRefused(kPort, vlanRange(5, 7));
    EXPECT_EQ(failures(FailedRegistration::SwitchRefused), 3U);
}

TEST_F(FrameWatching, RemembersTheLastFailedRegistrationAndWhoDeclaredIt) {
    EXPECT_EQ(watch.statistics(kPort).lastFailedVid, 0U);
    EXPECT_EQ(watch.statistics(kPort).lastFailedMs, kNever);
    receive(joinTen);
    watch.registrationRefused(kPort, 10, Admission::TooMany);
    PortStatisticsRecord statistics = watch.statistics(kPort);
    EXPECT_EQ(failures(FailedRegistration::TooMany), 1U);
    EXPECT_EQ(statistics.lastFailedVid, 10U);
    EXPECT_EQ(statistics.lastFailedOrigin, (MacAddress{2, 0, 0, 0, 1, 2}));
    EXPECT_EQ(statistics.lastFailedReason, static_cast<u32>(FailedRegistration::TooMany));
    EXPECT_NE(statistics.lastFailedMs, kNever);
    watch.clear(kPort);
    EXPECT_EQ(watch.statistics(kPort).lastFailedVid, 0U);
    EXPECT_EQ(watch.statistics(kPort).lastFailedMs, kNever);
}

TEST_F(FrameWatching, WhatIsNotPermittedCountsOnceWhenItIsRefused) {
    std::string error;
    const auto permit = changeOf(SwitchChangeKind::PortPermit, kPort, 0, vlanRange(2, 9));
    ASSERT_EQ(soft.change(permit, error), HostStatus::Ok) << error;
    receive(joinTen);
    watch.registrationRefused(kPort, 10, Admission::NotPermitted);
    EXPECT_EQ(failures(FailedRegistration::NotPermitted), 1U);
    EXPECT_EQ(watch.statistics(kPort).lastFailedVid, 10U);
    // What stays permitted only while it is registered passed the frame's test.
    watch.registrationRefused(kPort, 5, Admission::NotPermitted);
    EXPECT_EQ(failures(FailedRegistration::NotPermitted), 2U);
    EXPECT_EQ(watch.statistics(kPort).lastFailedVid, 5U);
}

TEST_F(FrameWatching, SaysWhatWasRefusedOnceAMinuteAPort) {
    receive(joinTen);
    const auto said = [this](u64 nowMs) {
        ::testing::internal::CaptureStderr();
        watch.sayRefusals(nowMs);
        return ::testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(said(1'000), "");
    watch.registrationRefused(kPort, 10, Admission::TooMany);
    watch.registrationRefused(kPort, 10, Admission::TooMany);
    const std::string line = said(2'000);
    EXPECT_NE(line.find("VLAN 10, declared by 02:00:00:00:01:02, is not registered"),
              std::string::npos)
        << line;
    EXPECT_NE(line.find("max-vlans"), std::string::npos) << line;
    EXPECT_NE(line.find("2 registrations were refused"), std::string::npos) << line;
    watch.registrationRefused(kPort, 10, Admission::TooMany);
    EXPECT_EQ(said(61'999), "");
    EXPECT_NE(said(62'000), "");
    EXPECT_EQ(said(200'000), "") << "nothing new";
}

TEST_F(FrameWatching, WhatIsNotDeliveredSaysWhyAndDeclaresNothing) {
    receive(joinTen, Delivery::Overflow);
    receive(joinTen, Delivery::Tunnel);
    receive(frames::hex("0180c2000021 020000000102 0003 aaaa"));
    receive(frames::nativeFrame("00 01 01 0001 000a"));
    const PortStatisticsRecord statistics = watch.statistics(kPort);
    EXPECT_EQ(statistics.overflow, 1U);
    EXPECT_EQ(statistics.tunnelled, 1U);
    EXPECT_EQ(statistics.drops.at(static_cast<std::size_t>(DropReason::BadLength)), 1U);
    EXPECT_EQ(statistics.drops.at(static_cast<std::size_t>(DropReason::BadPdu)), 1U);
    EXPECT_EQ(watch.vlanHistory(kPort, 10).joinMs, kNever32);
}

TEST_F(FrameWatching, ClearingOnePortLeavesTheOthersAndTheHistory) {
    receive(joinTen);
    watch.frameSent(5, joinTen, 0, monotonicMs());
    watch.clear(kPort);
    EXPECT_EQ(watch.statistics(kPort).pdusIn[0], 0U);
    EXPECT_EQ(watch.statistics(5).pdusOut[0], 1U);
    EXPECT_NE(watch.vlanHistory(kPort, 10).joinMs, kNever32);
    watch.clear(0);
    EXPECT_EQ(watch.statistics(5).pdusOut[0], 0U);
}

}  // namespace
}  // namespace platform::testing
