// SPDX-License-Identifier: MIT
//
// An active's link to a standby, which is the command server over the fake daemon.
#include "platform/replication/standby_link.h"

#include <sys/socket.h>

#include <atomic>
#include <cstring>
#include <memory>

#include "platform/channel/server_socket.h"
#include "platform/contract/management.h"
#include "platform/replication/agreement.h"
#include "platform/replication/command_carrier.h"
#include "platform/replication/role.h"
#include "platform/requests/standby_requests.h"
#include "tests/unit/channel/server_fixture.h"

namespace platform {
namespace {

/// Time that no test needs.
constexpr std::chrono::seconds kLong{30};

constexpr ManagementCommand kEnable{false, 0, MVRP_SCALAR_ENABLE, MVRP_ON};

constexpr ManagementCommand port(u32 unit, u32 attribute, u32 value) {
    return {true, unit, attribute, value};
}

template <typename Record>
void sendReply(int connection, u32 status, const Record& record) {
    const ReplyHeader header{status, sizeof record};
    EXPECT_EQ(send(connection, &header, sizeof header, MSG_NOSIGNAL),
              static_cast<ssize_t>(sizeof header));
    EXPECT_EQ(send(connection, &record, sizeof record, MSG_NOSIGNAL),
              static_cast<ssize_t>(sizeof record));
}

constexpr LinkState kStandbyState{kLinkVersion, static_cast<u32>(HostRole::Standby), 1, 0, 0, 0};

/// A standby that agrees with the next active that connects, and says nothing from then on.
Descriptor agreeAndFallSilent(int listener) {
    Descriptor connection;
    while (!connection.isOpen())
        connection = Descriptor(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    struct {
        RequestHeader header;
        LinkHello hello;
    } request{};
    EXPECT_EQ(recv(connection.get(), &request, sizeof request, MSG_WAITALL),
              static_cast<ssize_t>(sizeof request));
    EXPECT_EQ(request.header.request, static_cast<u32>(Request::StandbyHello));
    EXPECT_EQ(request.hello.state.version, kLinkVersion);
    sendReply(connection.get(), 0, kStandbyState);
    return connection;
}

/// A request that carries a number, as it arrives at a standby.
RequestHeader takeSetting(int connection) {
    struct {
        RequestHeader header;
        u32 value;
    } request{};
    EXPECT_EQ(recv(connection, &request, sizeof request, MSG_WAITALL),
              static_cast<ssize_t>(sizeof request));
    EXPECT_EQ(request.header.length, sizeof request.value);
    return request.header;
}

std::vector<u8> list(VlanListKind kind, u32 unit) {
    std::vector<u8> bytes(kVlanListBytes, 0x5A);
    bytes[0] = static_cast<u8>(kind);
    bytes[4] = bytes[5] = 0;
    bytes[6] = static_cast<u8>(unit >> 8U);
    bytes[7] = static_cast<u8>(unit);
    return bytes;
}

class Standby : public ServerFixture {
  protected:
    ~Standby() override {
        link_.reset();
        if (thread_.joinable()) {
            server_.stop();
            thread_.join();
        }
    }
    Standby() = default;
    Standby(const Standby&) = delete;
    Standby& operator=(const Standby&) = delete;
    Standby(Standby&&) = delete;
    Standby& operator=(Standby&&) = delete;

    /// The other end: a standby that listens, until the test ends.
    void start(CorrectionSet corrections = {}) {
        standby_.configured = true;
        standby_.role = HostRole::Standby;
        standby_.listenPath = path_;
        standby_.lostAfterMs = 60'000;
        role_ = std::make_unique<StandbyRole>(standby_, corrections, server_, [](HostRole) {});
        registerStandbyRequests(dispatcher_, *role_);
        std::string error;
        ASSERT_TRUE(role_->start(error)) << error;
        thread_ = std::thread([this] { server_.run(); });
    }

    static LinkOwner owner() {
        return {
            [] { return LinkState{kLinkVersion, static_cast<u32>(HostRole::Active), 2, 0, 0, 1}; },
            [](const LinkState&) {}, [] {}};
    }

    void startLink(CorrectionSet corrections = {},
                   std::chrono::milliseconds lostAfter = std::chrono::seconds(2)) {
        StandbyConfig config;
        config.peerPath = path_;
        config.lostAfterMs = static_cast<u32>(lostAfter.count());
        config.heartbeatMs = heartbeatMs_;
        link_ = std::make_unique<StandbyLink>(config, corrections, owner());
        ASSERT_TRUE(link_->start());
    }

    u32 carry(const ManagementCommand& command, std::chrono::milliseconds time = kLong) const {
        return link_->carry(command, std::chrono::steady_clock::now() + time);
    }

    void awaitConnected(bool connected) const {
        while (link_->connected() != connected)
            std::this_thread::yield();
    }

    static std::vector<std::string> callsOfStandby() {
        const std::lock_guard lock(fake::daemon().guard);
        return fake::daemon().calls;
    }

    static std::vector<u8> packetOfStandby() {
        const std::lock_guard lock(fake::daemon().guard);
        return fake::daemon().packet;
    }

    static void awaitPacket(const std::vector<u8>& packet) {
        while (packetOfStandby() != packet)
            std::this_thread::yield();
    }

    u32 heartbeatMs_ = 10'000;  // none disturbs a test that is not about it
    StandbyConfig standby_;
    std::unique_ptr<StandbyRole> role_;
    std::unique_ptr<StandbyLink> link_;
};

TEST_F(Standby, WithoutAStandbyEveryCommandSucceeds) {
    startLink();
    EXPECT_EQ(carry(kEnable), 0U);
    EXPECT_EQ(link_->carryPacket(std::vector<u8>(520)), 0U);
    EXPECT_FALSE(link_->connected());
}

TEST_F(Standby, ACommandReachesTheStandbysSyncHandler) {
    start();
    startLink();
    awaitConnected(true);
    EXPECT_EQ(carry(kEnable), 0U);
    EXPECT_EQ(carry(port(3, 2, 2)), 0U);
    EXPECT_EQ(callsOfStandby(), (std::vector<std::string>{"set scalar 1 = 1", "set port 3 2 = 2"}));
}

TEST_F(Standby, WhatWasSetBeforeTheStandbyConnectedIsToldFirst) {
    startLink();
    carry(kEnable);
    carry(port(3, MVRP_PORT_ENABLE, MVRP_ON));
    carry(port(3, 5, 300));
    carry(port(9, MVRP_PORT_ENABLE, MVRP_ON));
    carry(port(9, MVRP_PORT_ENABLE, MVRP_OFF));
    start();
    awaitConnected(true);
    EXPECT_EQ(callsOfStandby(),
              (std::vector<std::string>{"set scalar 1 = 1", "set port 3 1 = 1",
                                        "set port 3 5 = 300", "set port 9 1 = 2"}));
}

TEST_F(Standby, TimesAreToldUntilTheyFitTogether) {
    fake::daemon().checksTimes = true;
    fake::daemon().attributes = {{{3, 5}, 200}, {{3, 6}, 450}, {{3, 7}, 650}};
    startLink();
    carry(kEnable);
    carry(port(3, 5, 6000));
    carry(port(3, 6, 30000));
    carry(port(3, 7, 120000));
    carry(port(3, MVRP_PORT_ENABLE, MVRP_ON));
    start();
    awaitConnected(true);
    const std::lock_guard lock(fake::daemon().guard);
    EXPECT_EQ((fake::daemon().attributes[{3, 5}]), 6000U);
    EXPECT_EQ((fake::daemon().attributes[{3, 6}]), 30000U);
}

TEST_F(Standby, APacketArrivesAsItIs) {
    start();
    startLink();
    awaitConnected(true);
    const std::vector<u8> packet = list(VlanListKind::Applied, 3);
    EXPECT_EQ(link_->carryPacket(packet), 0U);
    awaitPacket(packet);
    EXPECT_TRUE(link_->connected());
}

TEST_F(Standby, WhatIsNoListOfAPortIsNotSent) {
    start();
    startLink();
    awaitConnected(true);
    EXPECT_EQ(link_->carryPacket(std::vector<u8>(kMaxValueBytes + 1)), 22U);
    EXPECT_EQ(link_->carryPacket(std::vector<u8>(kVlanListBytes)), 22U);
    EXPECT_EQ(link_->carryPacket({}), 22U);
    EXPECT_EQ(carry(kEnable), 0U);
    EXPECT_TRUE(packetOfStandby().empty());
}

TEST_F(Standby, APacketDoesNotWaitForAStandbyThatDoesNotAnswer) {
    std::string error;
    const Descriptor listener = listenUnix(path_, {}, error);
    ASSERT_TRUE(listener.isOpen()) << error;
    startLink({}, kLong);
    const Descriptor silent = agreeAndFallSilent(listener.get());
    awaitConnected(true);
    for (u32 unit = 1; unit <= 2 * kMostWaitingPorts; unit++)
        EXPECT_EQ(link_->carryPacket(list(VlanListKind::Applied, unit)), 0U);
    EXPECT_TRUE(link_->connected()) << "it was awaited until it was cut off";
}

TEST_F(Standby, ARefusalComesBackAndIsNotRemembered) {
    start();
    startLink();
    awaitConnected(true);
    EXPECT_EQ(carry(port(4, 2, 2)), fake::kNoSuchPort);
    EXPECT_EQ(carry(kEnable), 0U);
    EXPECT_TRUE(link_->connected());
}

TEST_F(Standby, AStandbyThatGoesAwayAndComesBackIsToldAgain) {
    start();
    startLink();
    awaitConnected(true);
    carry(kEnable);
    server_.post([this] { server_.close(path_); });
    awaitConnected(false);
    EXPECT_EQ(carry(port(3, MVRP_PORT_ENABLE, MVRP_ON)), 0U);
    fake::reset();
    server_.post([this] {
        std::string error;
        server_.open(path_, error);
    });
    awaitConnected(true);
    EXPECT_EQ(callsOfStandby(), (std::vector<std::string>{"set scalar 1 = 1", "set port 3 1 = 1"}));
}

TEST_F(Standby, HeartbeatsGoBothWaysInTheirOrder) {
    heartbeatMs_ = 50;
    start();
    startLink();
    awaitConnected(true);
    // Silence grows, and is over with each heartbeat; a wrong one would have ended the connection.
    for (int beat = 0; beat < 3; beat++) {
        while (role_->info().heardAgoMs == 0)
            std::this_thread::yield();
        while (role_->info().heardAgoMs != 0)
            std::this_thread::yield();
    }
    EXPECT_TRUE(link_->connected());
    EXPECT_EQ(role_->info().otherProcess, 2U);
}

TEST_F(Standby, AHeartbeatOutOfTurnEndsTheConnection) {
    heartbeatMs_ = 50;
    std::string error;
    const Descriptor listener = listenUnix(path_, {}, error);
    ASSERT_TRUE(listener.isOpen()) << error;
    startLink({}, kLong);
    const Descriptor wrong = agreeAndFallSilent(listener.get());
    struct {
        RequestHeader header;
        LinkBeat beat;
    } request{};
    for (const u64 sequence : {u64{1}, u64{3}}) {
        EXPECT_EQ(recv(wrong.get(), &request, sizeof request, MSG_WAITALL),
                  static_cast<ssize_t>(sizeof request));
        EXPECT_EQ(request.header.request, static_cast<u32>(Request::StandbyBeat));
        sendReply(wrong.get(), 0, LinkBeat{sequence, kStandbyState});
    }
    EXPECT_EQ(request.beat.sequence, 2U);
    awaitConnected(false);
}

TEST_F(Standby, AStandbyOfTheFirstVersionIsRefused) {
    std::atomic<u32> asked{0};
    dispatcher_.registerRequest(Request::StandbyHello,
                                [&](const RequestHeader&, std::span<const u8>, std::vector<u8>&) {
                                    asked++;
                                    return static_cast<u32>(HostStatus::Unsupported);
                                });
    testing::internal::CaptureStderr();
    std::string error;
    ASSERT_TRUE(server_.open(path_, error)) << error;
    thread_ = std::thread([this] { server_.run(); });
    startLink();
    EXPECT_EQ(carry(kEnable), 0U);
    while (asked < 2)  // what came of the first is in the log
        std::this_thread::yield();
    EXPECT_FALSE(link_->connected());
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("the other end speaks version 1 of the standby link; allowed: 2"),
              std::string::npos)
        << log;
}

TEST_F(Standby, AStandbyThatDoesNotAnswerIsCutOff) {
    std::string error;
    const Descriptor listener = listenUnix(path_, {}, error);
    ASSERT_TRUE(listener.isOpen()) << error;
    startLink();
    const Descriptor silent = agreeAndFallSilent(listener.get());  // nothing else to tell
    awaitConnected(true);
    EXPECT_EQ(carry(kEnable), 0U);
    EXPECT_FALSE(link_->connected());
    EXPECT_EQ(carry(port(3, 2, 2)), 0U);
}

TEST_F(Standby, ASettingIsInForceWhenItsTimeIsOverAndTheStandbyIsStillTold) {
    std::string error;
    const Descriptor listener = listenUnix(path_, {}, error);
    ASSERT_TRUE(listener.isOpen()) << error;
    startLink({}, kLong);
    const Descriptor slow = agreeAndFallSilent(listener.get());
    awaitConnected(true);
    EXPECT_EQ(carry(kEnable, std::chrono::milliseconds(0)), 0U);
    EXPECT_EQ(carry(port(3, 2, 2), std::chrono::milliseconds(0)), 0U);
    EXPECT_TRUE(link_->connected());
    for (const u32 attribute : {u32{MVRP_SCALAR_ENABLE}, 2U}) {
        EXPECT_EQ(takeSetting(slow.get()).attribute, attribute);
        const ReplyHeader done{};
        EXPECT_EQ(send(slow.get(), &done, sizeof done, MSG_NOSIGNAL),
                  static_cast<ssize_t>(sizeof done));
    }
    EXPECT_TRUE(link_->connected());
}

TEST_F(Standby, ASettingGoesAheadOfTheListsThatWait) {
    std::string error;
    const Descriptor listener = listenUnix(path_, {}, error);
    ASSERT_TRUE(listener.isOpen()) << error;
    startLink({}, kLong);
    const Descriptor slow = agreeAndFallSilent(listener.get());
    awaitConnected(true);
    EXPECT_EQ(carry(kEnable, std::chrono::milliseconds(0)), 0U);
    EXPECT_EQ(takeSetting(slow.get()).attribute, MVRP_SCALAR_ENABLE);  // not answered yet
    EXPECT_EQ(link_->carryPacket(list(VlanListKind::Applied, 3)), 0U);
    EXPECT_EQ(carry(port(3, 2, 2), std::chrono::milliseconds(0)), 0U);
    const ReplyHeader done{};
    EXPECT_EQ(send(slow.get(), &done, sizeof done, MSG_NOSIGNAL),
              static_cast<ssize_t>(sizeof done));
    EXPECT_EQ(takeSetting(slow.get()).attribute, 2U);
}

TEST_F(Standby, AStandbyWithOtherCorrectionsIsRefused) {
    start();
    startLink(CorrectionSet::all());
    EXPECT_EQ(carry(kEnable), 0U) << "the active goes on by itself";
    StandbyConfig config;
    config.peerPath = path_;
    StandbyLink like(config, {}, owner());
    ASSERT_TRUE(like.start());
    while (!like.connected())
        std::this_thread::yield();
    EXPECT_FALSE(link_->connected());
    EXPECT_TRUE(callsOfStandby().empty());
}

TEST(Agreement, NamesBothSets) {
    EXPECT_EQ(disagreement(CorrectionSet::all(), CorrectionSet::all()), "");
    EXPECT_EQ(disagreement(CorrectionSet::all(), {}),
              "the active runs with the corrections all, the standby with none; allowed: the same "
              "[mvrp] corrections in both");
}

TEST_F(Standby, CommandsOfTheDaemonGoToStandbyAndStore) {
    start();
    StandbyConfig config;
    config.configured = true;
    config.role = HostRole::Active;
    config.peerPath = path_;
    const std::string file = directory_.path("store");
    {
        CommandCarrier sync(file, config, {}, owner());
        sync.start();
        sync.setSource(CommandSource::Management);
        sync.newRequest();
        while (!sync.standbyConnected())
            std::this_thread::yield();
        u32 value = MVRP_ON;
        EXPECT_EQ(sync.carry(0, 0xFC001, &value), 0U);
        EXPECT_EQ(sync.carry(4, 0x040A8001, &value), fake::kNoSuchPort);
        std::vector<u8> bytes = list(VlanListKind::NotApplied, 3);
        QorBuffer packet{bytes.data(), kVlanListBytes};
        EXPECT_EQ(sync.carry(0, 0xFC004, &packet), 0U);
        EXPECT_EQ(sync.carry(0, 0xFC001, nullptr), 22U);
        EXPECT_EQ(sync.carry(0, 7, &value), 22U);
        awaitPacket(bytes);
        sync.store().flush();
        EXPECT_EQ(sync.store().appliedTo({}).enable, MVRP_ON);
        EXPECT_TRUE(sync.store().appliedTo({}).ports.empty());
    }
    unlink(file.c_str());
}

}  // namespace
}  // namespace platform
