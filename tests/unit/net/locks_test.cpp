// SPDX-License-Identifier: MIT
//
// How many locks a received and a sent frame take. The program is linked so that
// pthread_mutex_lock(), which every std::mutex comes to, passes through here.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>

#include "platform/requests/observation.h"
#include "tests/unit/net/net_node.h"

namespace {

thread_local unsigned tTaken = 0;

}  // namespace

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++tTaken;
    return __real_pthread_mutex_lock(mutex);
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

TEST_F(SentFrame, TakesTheLockOfFramesBeforeAndAfterItIsSent) {
    EXPECT_EQ(send(), 2U);
}

TEST_F(SentFrame, AsksTheSwitchAgainOnlyAfterItChanged) {
    node_.change(SwitchChangeKind::PortPermit, 3, 0);
    EXPECT_GT(send(), 2U);
    EXPECT_EQ(send(), 2U);
    node_.change(SwitchChangeKind::PortDelete, 3, 0);
    EXPECT_EQ(node_.net.transmit(3, kJoin10), ENXIO);
}

}  // namespace
}  // namespace platform::testing
