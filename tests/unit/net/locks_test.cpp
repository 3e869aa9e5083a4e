// SPDX-License-Identifier: MIT
//
// How many locks a received and a sent frame take, and that none waits. The program is linked so
// that pthread_mutex_lock(), which every std::mutex comes to, and poll() pass through here.
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>

#include "platform/net/cables/open_cable.h"
#include "platform/requests/observation.h"
#include "tests/unit/net/net_node.h"

namespace {

thread_local unsigned tTaken = 0;
thread_local unsigned tWaited = 0;

}  // namespace

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++tTaken;
    return __real_pthread_mutex_lock(mutex);
}
int __real_poll(pollfd* items, nfds_t count, int timeout);
int __wrap_poll(pollfd* items, nfds_t count, int timeout) {
    ++tWaited;
    return __real_poll(items, count, timeout);
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace platform::testing {
namespace {

const frames::Bytes kJoin10 = frames::nativeFrame("00 01 01 0001 000a 24 0000");

/// A node that is observed as the program's is.
class OneFrame : public ::testing::Test {
  protected:
    OneFrame() {
        observation_.install(dispatcher_);
        node_.enable(3);
        arrive();  // the switch is asked what there is to know
    }
    ~OneFrame() override { installSwitchObserver(nullptr); }
    OneFrame(const OneFrame&) = delete;
    OneFrame& operator=(const OneFrame&) = delete;
    OneFrame(OneFrame&&) = delete;
    OneFrame& operator=(OneFrame&&) = delete;

    /// @return locks that one frame took
    unsigned arrive(const frames::Bytes& frame = kJoin10, u32 port = 3) {
        const unsigned before = tTaken;
        node_.net.frameArrived(port, frame, false);
        return tTaken - before;
    }

    /// @return locks that one frame took
    unsigned send(u32 unit = 3) {
        const unsigned before = tTaken;
        EXPECT_EQ(node_.net.transmit(unit, kJoin10), 0);
        return tTaken - before;
    }

    NetNode node_;
    Dispatcher dispatcher_;
    Observation observation_{node_.soft, node_.net};
};

using ReceivedFrame = OneFrame;
using SentFrame = OneFrame;

TEST_F(ReceivedFrame, TakesTheLocksOfFramesAndSockets) {
    EXPECT_EQ(arrive(), 2U);
    EXPECT_EQ(arrive(frames::ieeeFrame("00 01 02 0001 000a 24 0000 0000")), 2U);
    EXPECT_EQ(node_.net.counters(3).framesIn, 3U);
}

TEST_F(ReceivedFrame, OfAPortThatTakesNoPartTakesThatOfFrames) {
    arrive(kJoin10, 5);
    EXPECT_EQ(arrive(kJoin10, 5), 1U);
}

TEST_F(ReceivedFrame, AsksTheSwitchAgainOnlyAfterItChanged) {
    node_.change(SwitchChangeKind::PortPermit, 3, 0);
    EXPECT_GT(arrive(), 2U);
    EXPECT_EQ(arrive(), 2U);
    ASSERT_TRUE(node_.soft.setProtocol(3, kProtocolMvrp, false));
    arrive();
    EXPECT_EQ(node_.net.counters(3).framesIn, 3U) << "it takes no part any more";
}

TEST_F(SentFrame, WithoutACableTakesTheLockOfFramesOnce) {
    EXPECT_EQ(send(), 1U);
}

/// Six neighbours that do not read cost no more than any that does.
TEST_F(SentFrame, IntoACableThatIsNotReadWaitsForNothing) {
    const ScratchDirectory directory;
    const std::string end = directory.path("b");
    node_.plug(3, "unix:" + directory.path("a") + "," + end);
    CableFailure failure;
    const auto neighbour = openCable({CableKind::Unix, end, directory.path("a"), ""}, {}, failure);
    ASSERT_NE(neighbour, nullptr) << failure.text;
    const unsigned before = tWaited;
    unsigned most = 0;
    while (node_.net.counters(3).sendFailed < 100) {
        const unsigned taken = tTaken;
        node_.net.transmit(3, kJoin10);
        most = std::max(most, tTaken - taken);
    }
    EXPECT_EQ(tWaited, before);
    EXPECT_EQ(most, 3U) << "that of frames before and after it is sent, and the cable's";
}

TEST_F(SentFrame, AsksTheSwitchAgainOnlyAfterItChanged) {
    node_.change(SwitchChangeKind::PortPermit, 3, 0);
    EXPECT_GT(send(), 1U);
    EXPECT_EQ(send(), 1U);
    node_.change(SwitchChangeKind::PortDelete, 3, 0);
    EXPECT_EQ(node_.net.transmit(3, kJoin10), ENXIO);
}

}  // namespace
}  // namespace platform::testing
