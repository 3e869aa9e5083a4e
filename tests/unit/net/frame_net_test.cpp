// SPDX-License-Identifier: MIT
//
// The road of a frame: from a cable to the daemon, past it, and back out.
#include "platform/net/frame_net.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>

#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

using frames::Bytes;
using frames::gvrpFrame;
using frames::ieeeFrame;
using frames::nativeFrame;
using frames::padded;

const Bytes kJoin10 = nativeFrame("00 01 01 0001 000a 24 0000");
const Bytes kJoin10Ieee = ieeeFrame("00 01 02 0001 000a 24 0000 0000");
const Bytes kGvrpJoin10 = gvrpFrame("0001 01 04 02 000a 00 00");

/// Frames are put into port 3 without a cable or a thread.
class FrameNetReception : public ::testing::Test {
  protected:
    void arrive(const Bytes& frame, u32 port = 3, bool tagged = false) {
        node_.net.frameArrived(port, frame, tagged);
    }
    Received mvrp() { return node_.receive(node_.mvrp, false); }
    Received gvrp() { return node_.receive(node_.gvrp, false); }
    PortCountersRecord counters(u32 unit = 3) { return node_.net.counters(unit); }
    NetNode node_;
};

TEST_F(FrameNetReception, NativeFrameIsDeliveredWithoutItsPadding) {
    node_.enable(3);
    arrive(padded(kJoin10));
    const Received received = mvrp();
    EXPECT_EQ(received.unit, 3U);
    EXPECT_EQ(received.pduOffset, 22U);
    EXPECT_EQ(received.frame, kJoin10);
    EXPECT_EQ(counters().framesIn, 1U);
    EXPECT_EQ(counters().bytesIn, 60U);
}

TEST_F(FrameNetReception, StandardFrameIsDeliveredInTheDaemonsForm) {
    node_.enable(3);
    arrive(padded(kJoin10Ieee));
    EXPECT_EQ(mvrp().frame, kJoin10);
    EXPECT_EQ(node_.net.cableState(3).heard, static_cast<u32>(WireForm::Ieee));
    EXPECT_EQ(node_.net.cableState(3).peer, (std::array<u8, 6>{2, 0, 0, 0, 1, 2}));
}

TEST_F(FrameNetReception, LeaveAllComesAheadOfItsVectors) {
    node_.enable(3);
    arrive(ieeeFrame("00 01 02 2001 000a 24 0000 0000"));
    EXPECT_EQ(mvrp().frame, nativeFrame("00 01 01 2000 0000 0000"));
    EXPECT_EQ(mvrp().frame, kJoin10);
    EXPECT_EQ(counters().framesIn, 1U) << "frames are counted as they came";
}

TEST_F(FrameNetReception, ProtocolsReachTheirOwnSockets) {
    node_.enable(3, kProtocolGvrp);
    arrive(kGvrpJoin10);
    arrive(kJoin10);
    const Received received = gvrp();
    EXPECT_EQ(received.frame, kGvrpJoin10);
    EXPECT_EQ(received.pduOffset, 17U);
    EXPECT_TRUE(mvrp().frame.empty()) << "MVRP is not enabled";
    EXPECT_EQ(counters().droppedDisabled, 1U);
}

TEST_F(FrameNetReception, PortWithoutLinkOrRoleDeliversNothing) {
    node_.enable(3);
    node_.change(SwitchChangeKind::PortLink, 3, 0);
    arrive(kJoin10);
    node_.change(SwitchChangeKind::PortLink, 3, 1);
    node_.soft.setRole(HostRole::Standby);
    arrive(kJoin10);
    EXPECT_TRUE(mvrp().frame.empty());
    EXPECT_EQ(counters().droppedDisabled, 2U);
    node_.soft.setRole(HostRole::Active);
    arrive(kJoin10);
    EXPECT_EQ(mvrp().frame, kJoin10);
}

TEST_F(FrameNetReception, UnknownPortIsCountedAndNothingElse) {
    arrive(kJoin10, 77);
    EXPECT_TRUE(mvrp().frame.empty());
}

TEST_F(FrameNetReception, TaggedAndForeignFramesAreIgnored) {
    node_.enable(3);
    arrive(kJoin10, 3, true);
    arrive(frames::hex("0180c2000021 020000000102 8100 000a 88f5"));
    arrive(frames::hex("0180c2000000 020000000102 0026 424203"));
    EXPECT_TRUE(mvrp().frame.empty());
    EXPECT_EQ(counters().ignored, 3U);
    EXPECT_EQ(counters().droppedMalformed, 0U);
}

TEST_F(FrameNetReception, TunnelledFramesAreCounted) {
    node_.enable(3);
    QorReceiveMatch match{};
    match.interfaceIndex = 3;
    match.length = 28;
    match.kind = 1;
    ASSERT_EQ(node_.sockets.setOption(node_.mvrp, kQorLevelSocket, kQorOptionMatchAdd, &match, 28),
              0);
    match.kind = 2;
    std::ranges::copy(kMvrpGroupAddress, match.value);
    ASSERT_EQ(node_.sockets.setOption(node_.mvrp, kQorLevelSocket, kQorOptionMatchAdd, &match, 28),
              0);
    arrive(kJoin10);
    arrive(kJoin10Ieee);
    EXPECT_TRUE(mvrp().frame.empty());
    EXPECT_EQ(counters().droppedTunnel, 2U);
}

TEST_F(FrameNetReception, OverflowIsCountedAndTheOldestFramesStay) {
    node_.enable(3);
    int sent = 0;
    while (counters().droppedOverflow == 0 && sent < 100'000) {
        arrive(
            nativeFrame("00 01 01 0001 0" + std::string(sent == 0 ? "00b" : "00a") + " 24 0000"));
        ++sent;
    }
    EXPECT_GE(sent, 513);
    EXPECT_EQ(counters().framesIn, static_cast<u64>(sent - 1));
    EXPECT_EQ(mvrp().frame, nativeFrame("00 01 01 0001 000b 24 0000"));
    arrive(kJoin10);
    EXPECT_EQ(counters().framesIn, static_cast<u64>(sent));
}

TEST_F(FrameNetReception, FrameOfAMemberComesFromItsAggregation) {
    node_.change(SwitchChangeKind::PortJoinAgg, 3, 100);
    node_.enable(100);
    arrive(kJoin10);
    EXPECT_EQ(mvrp().unit, 100U);
    EXPECT_EQ(counters(100).framesIn, 1U);
}

/// Two switches, port 3 of each connected.
class TwoNodes : public ::testing::Test {
  protected:
    void SetUp() override {
        left_.start();
        right_.start();
        left_.plug(3, "unix:" + a_ + "," + b_);
        right_.plug(3, "unix:" + b_ + "," + a_);
        left_.enable(3);
        right_.enable(3);
    }
    void expectJoin10AtRight() {
        const Received received = right_.receive(right_.mvrp);
        EXPECT_EQ(received.unit, 3U);
        EXPECT_EQ(received.frame, kJoin10);
    }

    ScratchDirectory directory_;
    const std::string a_ = directory_.path("a");
    const std::string b_ = directory_.path("b");
    NetNode left_;
    NetNode right_;
};

TEST_F(TwoNodes, FrameCrossesTheCable) {
    ASSERT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    expectJoin10AtRight();
    EXPECT_EQ(left_.net.counters(3).framesOut, 1U);
    EXPECT_EQ(left_.net.counters(3).bytesOut, kJoin10.size());
}

TEST_F(TwoNodes, StandardFormCrossesTheCable) {
    left_.net.setWireForm(3, WireForm::Ieee);
    ASSERT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    expectJoin10AtRight();
    EXPECT_EQ(right_.net.cableState(3).heard, static_cast<u32>(WireForm::Ieee));
}

TEST_F(TwoNodes, PduWithoutVectorsIsNotSentInTheStandardForm) {
    left_.net.setWireForm(3, WireForm::Ieee);
    const Bytes empty = nativeFrame("00 01 01 0000");
    EXPECT_EQ(left_.send(left_.mvrp, 3, empty), static_cast<ssize_t>(empty.size()));
    EXPECT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    expectJoin10AtRight();
    EXPECT_EQ(left_.net.counters(3).framesOut, 1U);
}

TEST_F(TwoNodes, AutoSpeaksNativeUntilAStandardFrameIsHeard) {
    right_.net.setWireForm(3, WireForm::Auto);
    right_.send(right_.mvrp, 3, kJoin10);
    EXPECT_EQ(left_.receive(left_.mvrp).frame, kJoin10);
    EXPECT_EQ(left_.net.cableState(3).heard, static_cast<u32>(WireForm::Native));
    left_.net.setWireForm(3, WireForm::Ieee);
    left_.send(left_.mvrp, 3, kJoin10);
    expectJoin10AtRight();
    right_.send(right_.mvrp, 3, kJoin10);
    EXPECT_EQ(left_.receive(left_.mvrp).frame, kJoin10);
    EXPECT_EQ(left_.net.cableState(3).heard, static_cast<u32>(WireForm::Ieee));
    // Our own form does not bring it back: the peer understands both.
    left_.net.setWireForm(3, WireForm::Native);
    left_.send(left_.mvrp, 3, kJoin10);
    expectJoin10AtRight();
    right_.send(right_.mvrp, 3, kJoin10);
    EXPECT_EQ(left_.receive(left_.mvrp).frame, kJoin10);
    EXPECT_EQ(left_.net.cableState(3).heard, static_cast<u32>(WireForm::Ieee));
}

TEST_F(TwoNodes, GvrpHasOneForm) {
    left_.net.setWireForm(3, WireForm::Ieee);
    right_.enable(3, kProtocolGvrp);
    left_.send(left_.gvrp, 3, kGvrpJoin10);
    EXPECT_EQ(right_.receive(right_.gvrp).frame, kGvrpJoin10);
}

TEST_F(TwoNodes, SendsWithoutLinkCableOrRoleSucceedAndAreLost) {
    const auto size = static_cast<ssize_t>(kJoin10.size());
    left_.change(SwitchChangeKind::PortLink, 3, 0);
    EXPECT_EQ(left_.send(left_.mvrp, 3, kJoin10), size);
    left_.change(SwitchChangeKind::PortLink, 3, 1);
    left_.soft.setRole(HostRole::Standby);
    EXPECT_EQ(left_.send(left_.mvrp, 3, kJoin10), size);
    left_.soft.setRole(HostRole::Active);
    EXPECT_EQ(left_.send(left_.mvrp, 5, kJoin10), size) << "no cable";
    EXPECT_EQ(left_.net.counters(3).framesOut, 0U);
    EXPECT_EQ(left_.send(left_.mvrp, 77, kJoin10), -1);
    EXPECT_EQ(errno, ENXIO);
}

TEST_F(TwoNodes, PeerMayBeUnpluggedAndComeBack) {
    right_.plug(3, "none");
    EXPECT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    right_.plug(3, "unix:" + b_ + "," + a_);
    ASSERT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    expectJoin10AtRight();
}

TEST_F(TwoNodes, ReplacedCableKeepsItsSocket) {
    right_.plug(3, "unix:" + b_ + "," + a_);
    ASSERT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    expectJoin10AtRight();
}

TEST_F(TwoNodes, BurstsLongerThanTheQueueOfTheCableArriveWhole) {
    constexpr int kBurst = 300;
    for (int i = 0; i < kBurst; ++i)
        ASSERT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    EXPECT_TRUE(await([this] { return right_.net.counters(3).framesIn == kBurst; }));
}

TEST_F(TwoNodes, GarbageOnTheCableIsCountedAndTheNextFrameArrives) {
    NetNode& attacker = left_;
    for (std::size_t size = 1; size <= 200; ++size)
        attacker.send(attacker.mvrp, 3, Bytes(size, 0x5A));
    attacker.send(attacker.mvrp, 3, kJoin10);
    expectJoin10AtRight();
    const PortCountersRecord counters = right_.net.counters(3);
    EXPECT_EQ(counters.droppedMalformed, 13U) << "shorter than an Ethernet header";
    EXPECT_EQ(counters.ignored, 187U) << "to another destination";
}

TEST_F(TwoNodes, RecordingHoldsBothDirectionsAsTheyStoodOnTheWire) {
    std::string error;
    left_.net.setWireForm(3, WireForm::Ieee);
    const std::string file = directory_.path("record.pcap");
    ASSERT_EQ(left_.net.setRecording(3, {file}, error), HostStatus::Ok) << error;
    left_.send(left_.mvrp, 3, kJoin10);
    expectJoin10AtRight();
    right_.send(right_.mvrp, 3, kJoin10);
    EXPECT_EQ(left_.receive(left_.mvrp).frame, kJoin10);
    ASSERT_EQ(left_.net.setRecording(3, {}, error), HostStatus::Ok);
    const auto capture = readPcap(file, error);
    ASSERT_TRUE(capture) << error;
    ASSERT_EQ(capture->records.size(), 2U);
    EXPECT_TRUE(std::ranges::equal(capture->frame(capture->records[0]), kJoin10Ieee));
    EXPECT_TRUE(std::ranges::equal(capture->frame(capture->records[1]), kJoin10));
}

TEST_F(TwoNodes, CaptureIsFedIntoThePort) {
    std::string error;
    ASSERT_EQ(right_.net.replay(3, {MVRP_TEST_DATA "/captures/mvrp-one-vlan.pcap"}, 0, error),
              HostStatus::Ok)
        << error;
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(frames::readNative(right_.receive(right_.mvrp).frame.data(), 32).events,
                  (std::vector<frames::Event>{{10, 1}}));
    }
    EXPECT_EQ(frames::readNative(right_.receive(right_.mvrp).frame.data(), 32).events,
              (std::vector<frames::Event>{{10, 5}}));
}

TEST_F(TwoNodes, BadCablesAndFilesSayWhatIsAllowed) {
    std::string error;
    EXPECT_EQ(left_.net.setCable(3, "tin can", error), HostStatus::BadArgument);
    EXPECT_NE(error.find("unix:LOCAL,PEER"), std::string::npos);
    EXPECT_EQ(left_.net.setCable(3, "interface:nosuchinterface", error), HostStatus::BadArgument);
    EXPECT_NE(error.find("nosuchinterface"), std::string::npos);
    EXPECT_EQ(left_.net.setCable(3, "unix:/nonexistent/a,/b", error), HostStatus::BadArgument);
    EXPECT_NE(error.find("/nonexistent/a"), std::string::npos);
    EXPECT_EQ(left_.net.replay(3, {"/nonexistent"}, 1, error), HostStatus::BadArgument);
    EXPECT_EQ(left_.net.setRecording(3, {"/nonexistent/x"}, error), HostStatus::BadArgument);
    EXPECT_EQ(left_.net.setCable(3, "unix:" + directory_.path("x") + ",/etc/peer", error),
              HostStatus::BadArgument);
    EXPECT_NE(error.find("/etc/peer"), std::string::npos);
    // The cable that was there still works.
    left_.send(left_.mvrp, 3, kJoin10);
    expectJoin10AtRight();
}

/// left 3 -- 3 middle 5 -- 5 right
class ThreeNodes : public ::testing::Test {
  protected:
    void SetUp() override {
        for (NetNode* node : {&left_, &middle_, &right_})
            node->start();
        connect(left_, middle_, 3, "l");
        connect(right_, middle_, 5, "r");
        left_.enable(3);
        right_.enable(5);
    }
    void connect(NetNode& outer, NetNode& inner, u32 unit, const std::string& name) {
        const std::string a = directory_.path(name + "a");
        const std::string b = directory_.path(name + "b");
        outer.plug(unit, "unix:" + a + "," + b);
        inner.plug(unit, "unix:" + b + "," + a);
    }
    void sendFromLeft() {
        ASSERT_EQ(left_.send(left_.mvrp, 3, kJoin10), static_cast<ssize_t>(kJoin10.size()));
    }

    ScratchDirectory directory_;
    NetNode left_;
    NetNode middle_;
    NetNode right_;
};

TEST_F(ThreeNodes, SwitchThatTakesNoPartForwardsTheGroupAddress) {
    sendFromLeft();
    const Received received = right_.receive(right_.mvrp);
    EXPECT_EQ(received.unit, 5U);
    EXPECT_EQ(received.frame, kJoin10);
    EXPECT_EQ(middle_.net.counters(3).forwarded, 1U);
    EXPECT_TRUE(middle_.receive(middle_.mvrp, false).frame.empty());
}

TEST_F(ThreeNodes, PortThatTakesPartForwardsNothing) {
    middle_.enable(3);
    sendFromLeft();
    EXPECT_EQ(middle_.receive(middle_.mvrp).frame, kJoin10);
    EXPECT_EQ(middle_.net.counters(3).forwarded, 0U);
    // GVRP is not enabled on the port, and is not forwarded either.
    left_.send(left_.gvrp, 3, kGvrpJoin10);
    EXPECT_TRUE(await([this] { return middle_.net.counters(3).droppedDisabled == 1; }));
    EXPECT_EQ(middle_.net.counters(3).forwarded, 0U);
    EXPECT_EQ(right_.net.counters(5).framesIn, 0U);
}

TEST_F(ThreeNodes, WhatFindsNoRoomInACableOnItsWayThroughIsCounted) {
    // A socket that nobody reads takes a few frames, and nothing more.
    const std::string path = directory_.path("full");
    const Descriptor unread(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(unread.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    middle_.plug(5, "unix:" + directory_.path("out") + "," + path);
    EXPECT_TRUE(await([this] {
        sendFromLeft();
        return middle_.net.losses().forwarded > 0;
    }));
    EXPECT_GT(middle_.net.counters(3).forwarded, middle_.net.losses().forwarded);
    EXPECT_EQ(middle_.net.losses().recorded, 0U);
}

TEST_F(ThreeNodes, ARecordingThatCanNotBeWrittenCountsItsFrames) {
    std::string error;
    ASSERT_EQ(middle_.net.setRecording(
                  3, {"full", Descriptor(open("/dev/full", O_WRONLY | O_CLOEXEC))}, error),
              HostStatus::Ok)
        << error;
    EXPECT_TRUE(await([this] {
        sendFromLeft();
        return middle_.net.losses().recorded > 0;
    }));
}

TEST_F(ThreeNodes, NothingIsForwardedOutOfAPortWithoutLink) {
    middle_.change(SwitchChangeKind::PortLink, 5, 0);
    sendFromLeft();
    EXPECT_TRUE(await([this] { return middle_.net.counters(3).forwarded == 1; }));
    middle_.change(SwitchChangeKind::PortLink, 5, 1);
    sendFromLeft();
    EXPECT_FALSE(right_.receive(right_.mvrp).frame.empty());
    EXPECT_TRUE(await([this] { return right_.net.counters(5).framesIn == 1; }));
}

TEST_F(ThreeNodes, NothingIsForwardedBetweenMembersOfAnAggregation) {
    middle_.change(SwitchChangeKind::PortJoinAgg, 3, 100);
    middle_.change(SwitchChangeKind::PortJoinAgg, 5, 100);
    sendFromLeft();
    EXPECT_TRUE(await([this] { return middle_.net.counters(3).forwarded == 1; }));
    EXPECT_EQ(right_.net.counters(5).framesIn, 0U);
}

TEST_F(ThreeNodes, FrameForAnAggregationGoesOutOfAMemberWithALink) {
    middle_.change(SwitchChangeKind::PortJoinAgg, 3, 100);
    middle_.change(SwitchChangeKind::PortJoinAgg, 5, 100);
    ASSERT_GT(middle_.send(middle_.mvrp, 100, kJoin10), 0);
    EXPECT_EQ(left_.receive(left_.mvrp).frame, kJoin10);
    middle_.change(SwitchChangeKind::PortLink, 3, 0);
    ASSERT_GT(middle_.send(middle_.mvrp, 100, kJoin10), 0);
    EXPECT_EQ(right_.receive(right_.mvrp).frame, kJoin10);
    EXPECT_EQ(middle_.net.counters(100).framesOut, 2U);
}

TEST(FrameNetConfiguration, PortsAreSetUpAndChangedByTheirConfiguration) {
    const ScratchDirectory directory;
    SwitchConfig config = smallSwitch();
    config.ports[0].wireForm = WireForm::Auto;
    config.ports[0].cable = {CableKind::Unix, directory.path("a"), directory.path("b"), ""};
    config.ports[0].recordFile = directory.path("record.pcap");
    NetNode node(config);
    std::string error;
    ASSERT_TRUE(node.net.start(config, error)) << error;
    EXPECT_EQ(node.net.cableState(3).form, WireForm::Auto);
    EXPECT_EQ(node.net.cableState(3).cable, formatCable(config.ports[0].cable));
    EXPECT_EQ(node.net.cableState(5).cable, "none");
    config.ports[0].cable = {};
    config.ports[1].cable = {CableKind::Interface, "", "", "nosuchinterface"};
    EXPECT_TRUE(node.net.reconfigure(config, error)) << error;
    EXPECT_EQ(node.net.cableState(5).cableError, ENODEV) << "it may come";
    config.ports[1].cable = {CableKind::Unix, directory.path("absent/a"), "b", ""};
    EXPECT_FALSE(node.net.reconfigure(config, error));
    EXPECT_NE(error.find("port 5"), std::string::npos);
    EXPECT_EQ(node.net.cableState(3).cable, "none") << "the rest is in force";
}

TEST_F(TwoNodes, ACableIsPluggedAnewOverItsOwnSocketAndNotOverOneThatIsInUse) {
    std::string error;
    const std::string again = left_.net.cableState(3).cable;
    ASSERT_EQ(left_.net.setCable(3, again, error), HostStatus::Ok) << error;
    EXPECT_EQ(left_.net.setCable(5, again, error), HostStatus::BadArgument);
    EXPECT_NE(error.find("in use"), std::string::npos) << error;
    left_.send(left_.mvrp, 3, kJoin10);
    expectJoin10AtRight();
}

TEST(FrameNetConfiguration, WireFormOfAnOperatorStaysUntilTheConfigurationSaysAnother) {
    SwitchConfig config = smallSwitch();
    NetNode node(config);
    std::string error;
    ASSERT_TRUE(node.net.start(config, error)) << error;
    node.net.setWireForm(3, WireForm::Ieee);
    ASSERT_TRUE(node.net.reconfigure(config, error)) << error;
    EXPECT_EQ(node.net.cableState(3).form, WireForm::Ieee);
    config.ports[0].wireForm = WireForm::Auto;
    ASSERT_TRUE(node.net.reconfigure(config, error)) << error;
    EXPECT_EQ(node.net.cableState(3).form, WireForm::Auto);
}

TEST(FrameNetConfiguration, CaptureOfThePortBeginsWhenItTakesPart) {
    SwitchConfig config = smallSwitch();
    config.ports[0].replayFile = MVRP_TEST_DATA "/captures/mvrp-one-vlan.pcap";
    NetNode node(config);
    std::string error;
    ASSERT_TRUE(node.net.start(config, error)) << error;
    node.enable(3);
    const Received first = node.receive(node.mvrp);
    EXPECT_EQ(frames::readNative(first.frame.data(), first.frame.size()).events,
              (std::vector<frames::Event>{{10, 1}}));
    EXPECT_EQ(node.net.counters(3).forwarded, 0U);
    EXPECT_EQ(node.net.counters(3).droppedDisabled, 0U);
}

TEST(FrameNetConfiguration, PortThatFailedIsTriedAgain) {
    const ScratchDirectory directory;
    SwitchConfig config = smallSwitch();
    NetNode node(config);
    std::string error;
    ASSERT_TRUE(node.net.start(config, error)) << error;
    config.ports[0].recordFile = directory.path("later/record.pcap");
    EXPECT_FALSE(node.net.reconfigure(config, error));
    EXPECT_FALSE(node.net.reconfigure(config, error));
    ASSERT_EQ(mkdir(directory.path("later").c_str(), 0700), 0);
    EXPECT_TRUE(node.net.reconfigure(config, error)) << error;
}

TEST(FrameNetConfiguration, StartFailsWithAReason) {
    SwitchConfig config = smallSwitch();
    config.ports[0].cable = {CableKind::Unix, "/nonexistent/a", "/nonexistent/b", ""};
    NetNode node(config);
    std::string error;
    EXPECT_FALSE(node.net.start(config, error));
    EXPECT_NE(error.find("/nonexistent/a"), std::string::npos);
}

}  // namespace
}  // namespace platform::testing
