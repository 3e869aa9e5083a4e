// SPDX-License-Identifier: MIT
//
// Cables that are real interfaces: a veth pair in a network namespace of the test's own. Needs the
// right to make one; without it the tests are skipped and say so.
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>

#include <algorithm>
#include <functional>
#include <thread>

#include "platform/contract/sil.h"
#include "platform/net/cables/open_cable.h"
#include "platform/runtime/tasks/sem.h"
#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

bool run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

/// Frames sent before the kernel has noticed the carrier are lost.
bool isUp(const std::string& name) {
    return await([&name] { return run("ip link show dev " + name + " | grep -q 'state UP'"); });
}

/// Runs a test body in a thread that has a namespace of its own with veth1 and veth2, both up.
class InterfaceCables : public ::testing::Test {
  protected:
    void inNamespace(const std::function<void()>& body) {
        std::string obstacle;
        std::thread thread([&] {
            if (unshare(CLONE_NEWNET) != 0)
                obstacle = "no right to make a network namespace";
            else if (!run("ip link add veth1 type veth peer name veth2") ||
                     !run("ip link set veth1 up") || !run("ip link set veth2 up"))
                obstacle = "no veth pair: iproute2 or the kernel's veth is missing";
            else if (!isUp("veth1") || !isUp("veth2"))
                obstacle = "the veth pair does not come up";
            else
                body();
        });
        thread.join();
        if (!obstacle.empty())
            GTEST_SKIP() << obstacle;
    }
    std::shared_ptr<Cable> open(const std::string& name) {
        CableFailure failure;
        auto cable = openCable({CableKind::Interface, "", "", name}, {}, failure);
        EXPECT_NE(cable, nullptr) << failure.text;
        return cable;
    }
    /// Waits for frames. @return how many came
    std::size_t receive(Cable& cable) {
        pollfd item = {cable.descriptor(), POLLIN, 0};
        return poll(&item, 1, 20'000) == 1 ? batch_->receiveFrom(cable.descriptor()) : 0;
    }
    std::size_t receiveNow(Cable& cable) { return batch_->receiveFrom(cable.descriptor()); }

    std::unique_ptr<FrameBatch> batch_ = std::make_unique<FrameBatch>();
    const frames::Bytes frame_ = frames::ieeeFrame("00 01 02 0001 000a 24 0000 0000");
    /// 336 VLANs, too many for an MTU of 68 bytes.
    const frames::Bytes longer_ = frames::nativeFrame(
        "00 01 01 0150 000a " + std::string(std::size_t{2} * 112, '0') + "0000");
};

TEST_F(InterfaceCables, FrameCrossesAndIsNotHeardByItsSender) {
    inNamespace([this] {
        const auto one = open("veth1");
        const auto two = open("veth2");
        ASSERT_EQ(one->send(frame_, NoRoom::Keep), 0);
        ASSERT_EQ(receive(*two), 1U);
        EXPECT_TRUE(std::ranges::equal(batch_->frame(0).bytes, frame_));
        EXPECT_FALSE(batch_->frame(0).tagged);
        EXPECT_EQ(receiveNow(*one), 0U) << "what is sent is not received";
    });
}

TEST_F(InterfaceCables, LengthFramesOfBothProtocolsAreReceived) {
    inNamespace([this] {
        const auto one = open("veth1");
        const auto two = open("veth2");
        ASSERT_EQ(one->send(frames::nativeFrame("00 01 01 0000"), NoRoom::Keep), 0);
        ASSERT_EQ(receive(*two), 1U);
        EXPECT_EQ(classifyFrame(batch_->frame(0).bytes).kind, FrameKind::NativeMvrp);
        ASSERT_EQ(one->send(frames::gvrpFrame("0001 01 02 00 00 00"), NoRoom::Keep), 0);
        ASSERT_EQ(receive(*two), 1U);
        EXPECT_EQ(classifyFrame(batch_->frame(0).bytes).kind, FrameKind::Gvrp);
    });
}

TEST_F(InterfaceCables, OtherDestinationsAreFilteredOut) {
    inNamespace([this] {
        const auto one = open("veth1");
        const auto two = open("veth2");
        frames::Bytes other = frame_;
        other[5] = 0x20;
        ASSERT_EQ(one->send(other, NoRoom::Keep), 0);
        other = frame_;
        other[0] = 0xFF;
        ASSERT_EQ(one->send(other, NoRoom::Keep), 0);
        ASSERT_EQ(one->send(frame_, NoRoom::Keep), 0);
        ASSERT_EQ(receive(*two), 1U);
        EXPECT_TRUE(std::ranges::equal(batch_->frame(0).bytes, frame_));
    });
}

TEST_F(InterfaceCables, TaggedFramesAreToldApart) {
    inNamespace([this] {
        const auto one = open("veth1");
        const auto two = open("veth2");
        const frames::Bytes tagged = frames::operator+(
            frames::kAddresses, frames::hex("8100 000a 88f5 00 01 02 0001 000a 24 0000 0000"));
        ASSERT_EQ(one->send(tagged, NoRoom::Keep), 0);
        ASSERT_EQ(receive(*two), 1U);
        const ReceivedFrame received = batch_->frame(0);
        EXPECT_TRUE(received.tagged || classifyFrame(received.bytes).reason == DropReason::Tagged);
    });
}

TEST_F(InterfaceCables, InterfaceThatIsDownLosesFramesAndComesBack) {
    inNamespace([this] {
        const auto one = open("veth1");
        const auto two = open("veth2");
        ASSERT_TRUE(run("ip link set veth1 down"));
        EXPECT_EQ(one->send(frame_, NoRoom::Keep), 0);
        EXPECT_EQ(receiveNow(*two), 0U);
        receiveNow(*one);  // takes the error that the socket was given
        ASSERT_TRUE(run("ip link set veth1 up"));
        ASSERT_TRUE(isUp("veth1") && isUp("veth2"));
        ASSERT_EQ(one->send(frame_, NoRoom::Keep), 0);
        EXPECT_EQ(receive(*two), 1U);
        ASSERT_TRUE(run("ip link del veth1"));
        EXPECT_EQ(one->send(frame_, NoRoom::Keep), 0);
    });
}

TEST_F(InterfaceCables, PortOnAnInterfaceDeliversToTheDaemon) {
    inNamespace([this] {
        NetNode node;
        node.start();
        node.enable(3);
        node.plug(3, "interface:veth1");
        const auto host = open("veth2");
        ASSERT_EQ(host->send(frame_, NoRoom::Keep), 0);
        EXPECT_EQ(node.receive(node.mvrp).frame, frames::nativeFrame("00 01 01 0001 000a 24 0000"));
        node.net.setWireForm(3, WireForm::Auto);
        node.send(node.mvrp, 3, frames::nativeFrame("00 01 01 0001 0014 24 0000"));
        ASSERT_EQ(receive(*host), 1U);
        EXPECT_TRUE(std::ranges::equal(batch_->frame(0).bytes,
                                       frames::ieeeFrame("00 01 02 0001 0014 24 0000 0000")));
        node.net.stop();
    });
}

/// What a driver does whose interfaces are its ports.
TEST_F(InterfaceCables, PortByIndexKeepsItsCableThroughARename) {
    inNamespace([this] {
        SwitchConfig config = smallSwitch();
        CableConfig& cable = config.ports[0].cable;
        cable = {CableKind::Interface, "", "", "veth1"};
        cable.interfaceIndex = if_nametoindex("veth1");
        config.ports[0].wireForm = WireForm::Auto;
        NetNode node(config);
        std::string error;
        ASSERT_TRUE(node.net.start(config, error)) << error;
        node.enable(3);
        const auto host = open("veth2");
        ASSERT_EQ(host->send(frame_, NoRoom::Keep), 0);
        ASSERT_FALSE(node.receive(node.mvrp).frame.empty());
        ASSERT_TRUE(run("ip link set veth1 down") && run("ip link set veth1 name uplink") &&
                    run("ip link set uplink up"));
        ASSERT_TRUE(isUp("uplink"));
        cable.interfaceName = "uplink";
        ASSERT_TRUE(node.net.reconfigure(config, error)) << error;
        EXPECT_EQ(node.net.cableState(3).cable, "interface:uplink");
        EXPECT_EQ(node.net.cableState(3).heard, static_cast<u32>(WireForm::Ieee)) << "still heard";
        ASSERT_EQ(host->send(frame_, NoRoom::Keep), 0);
        EXPECT_FALSE(node.receive(node.mvrp).frame.empty());
        cable.plugging++;
        ASSERT_TRUE(node.net.reconfigure(config, error)) << error;
        EXPECT_EQ(node.net.cableState(3).heard, 0U) << "an interface made anew was not heard yet";
        node.net.stop();
    });
}

/// A node whose port 3 is the veth pair's one end, and takes part.
class PluggedNode : public NetNode {
  public:
    PluggedNode() {
        plug(3, "interface:veth1");
        enable(3);
    }
};

/// The MTU fell below what the daemon planned its PDUs for.
TEST_F(InterfaceCables, FrameTooLongForItsMtuGoesInParts) {
    inNamespace([this] {
        ASSERT_TRUE(run("ip link set veth1 mtu 68"));
        PluggedNode node;
        ASSERT_EQ(node.net.setWireForm(3, WireForm::Ieee), HostStatus::Ok);
        const auto host = open("veth2");
        ASSERT_EQ(node.send(node.mvrp, 3, longer_), static_cast<ssize_t>(longer_.size()));
        u32 values = 0;
        std::size_t came = receive(*host);
        for (std::size_t i = 0; i < came; ++i) {
            const auto bytes = batch_->frame(i).bytes;
            EXPECT_LE(bytes.size(), 68U + 14U);
            EXPECT_EQ(bytes[19] << 8 | bytes[20], static_cast<int>(10 + values));
            values += static_cast<u32>(bytes[17] << 8 | bytes[18]);
        }
        EXPECT_EQ(values, 336U);
        EXPECT_EQ(node.net.counters(3).framesOut, came);
        EXPECT_EQ(node.net.counters(3).sendFailed, 0U);
        node.net.stop();
    });
}

/// The lock of the daemon, and a node that sends before it is given back.
class HeldLock {
  public:
    explicit HeldLock(NetNode& node) : sem_(silCreateMSem(0)) {
        setPutOffWork(&node.net);
        EXPECT_EQ(silTakeSem(sem_, -1), kStatusOk);
    }
    ~HeldLock() {
        setPutOffWork(nullptr);
        silDeleteSem(sem_);
    }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;
    HeldLock(HeldLock&&) = delete;
    HeldLock& operator=(HeldLock&&) = delete;
    void give() { EXPECT_EQ(silGiveSem(sem_), kStatusOk); }

  private:
    const u32 sem_;
};

/// A frame that declares one VLAN.
frames::Bytes joinOf(u32 vid) {
    frames::Bytes frame = frames::nativeFrame("00 01 01 0001 0000 24 0000");
    frame[frame.size() - 5] = static_cast<u8>(vid >> 8);
    frame[frame.size() - 4] = static_cast<u8>(vid & 0xFF);
    return frame;
}

TEST_F(InterfaceCables, FramesOfOneHoldOfTheLockGoTogetherInTheirOrder) {
    inNamespace([this] {
        PluggedNode node;
        const auto host = open("veth2");
        HeldLock lock(node);
        const std::size_t count = SendBatch::kMostFrames / 4;
        for (u32 vid = 0; vid < count; ++vid)
            ASSERT_GT(node.send(node.mvrp, 3, joinOf(vid)), 0);
        EXPECT_EQ(receiveNow(*host), 0U) << "before the lock is given back";
        EXPECT_EQ(node.net.counters(3).framesOut, 0U);
        lock.give();
        EXPECT_EQ(node.net.counters(3).framesOut, count);
        ASSERT_EQ(receive(*host), count);
        for (u32 vid = 0; vid < count; ++vid)
            EXPECT_TRUE(std::ranges::equal(batch_->frame(vid).bytes, joinOf(vid)));
        node.net.stop();
    });
}

TEST_F(InterfaceCables, GatheredFramesAreSentBeforeTheCablesAreUnplugged) {
    inNamespace([this] {
        PluggedNode node;
        const auto host = open("veth2");
        HeldLock lock(node);
        ASSERT_GT(node.send(node.mvrp, 3, joinOf(20)), 0);
        node.net.stop();
        EXPECT_EQ(receive(*host), 1U);
        lock.give();
    });
}

TEST_F(InterfaceCables, MoreFramesThanABatchHoldsAreAllSent) {
    inNamespace([] {
        PluggedNode node;
        HeldLock lock(node);
        const u32 count = 2 * SendBatch::kMostFrames + 1;
        for (u32 vid = 0; vid < count; ++vid)
            ASSERT_GT(node.send(node.mvrp, 3, joinOf(vid)), 0);
        EXPECT_EQ(node.net.counters(3).framesOut, 2 * SendBatch::kMostFrames);
        lock.give();
        EXPECT_EQ(node.net.counters(3).framesOut, count);
        node.net.stop();
    });
}

TEST_F(InterfaceCables, RefusedFrameHoldsNoOtherBack) {
    inNamespace([this] {
        ASSERT_TRUE(run("ip link set veth1 mtu 68"));
        PluggedNode node;
        const auto host = open("veth2");
        HeldLock lock(node);
        ASSERT_GT(node.send(node.mvrp, 3, joinOf(20)), 0);
        ASSERT_GT(node.send(node.mvrp, 3, longer_), 0);
        ASSERT_GT(node.send(node.mvrp, 3, joinOf(21)), 0);
        lock.give();
        const u64 sent = node.net.counters(3).framesOut;
        EXPECT_GT(sent, 3U) << "the long one in parts";
        EXPECT_EQ(node.net.counters(3).sendFailed, 0U);
        EXPECT_EQ(receive(*host), sent);
        EXPECT_TRUE(std::ranges::equal(batch_->frame(0).bytes, joinOf(20)));
        EXPECT_TRUE(std::ranges::equal(batch_->frame(1).bytes, joinOf(21)));
        node.net.stop();
    });
}

TEST_F(InterfaceCables, GatheredFramesOfAnInterfaceThatIsDownAreLostAsSingleOnesAre) {
    inNamespace([this] {
        PluggedNode node;
        const auto host = open("veth2");
        ASSERT_TRUE(run("ip link set veth1 down"));
        HeldLock lock(node);
        ASSERT_GT(node.send(node.mvrp, 3, joinOf(20)), 0);
        lock.give();
        EXPECT_EQ(node.net.counters(3).sendFailed, 0U);
        EXPECT_EQ(node.net.cableState(3).cableError, 0);
        EXPECT_EQ(receiveNow(*host), 0U);
        node.net.stop();
    });
}

}  // namespace
}  // namespace platform::testing
