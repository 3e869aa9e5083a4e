// SPDX-License-Identifier: MIT
#include "platform/net/cable.h"

#include <gtest/gtest.h>
#include <sys/un.h>

#include <cerrno>

#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

class UnixCables : public ::testing::Test {
  protected:
    std::shared_ptr<Cable> open(const std::string& local, const std::string& peer) {
        std::string error;
        auto cable =
            openCable({CableKind::Unix, directory_.path(local), directory_.path(peer), ""}, error);
        EXPECT_NE(cable, nullptr) << error;
        return cable;
    }
    bool exists(const std::string& name) {
        return access(directory_.path(name).c_str(), F_OK) == 0;
    }
    std::size_t drain(Cable& cable) { return batch_->receiveFrom(cable.descriptor()); }

    ScratchDirectory directory_;
    std::unique_ptr<FrameBatch> batch_ = std::make_unique<FrameBatch>();
    const frames::Bytes frame_ = frames::nativeFrame("00 01 01 0000");
};

TEST_F(UnixCables, FrameIsOneDatagram) {
    const auto a = open("a", "b");
    const auto b = open("b", "a");
    EXPECT_EQ(a->send(frame_, true), 0);
    EXPECT_EQ(a->send({}, true), 0);
    ASSERT_EQ(drain(*b), 2U);
    const ReceivedFrame first = batch_->frame(0);
    EXPECT_TRUE(std::ranges::equal(first.bytes, frame_));
    EXPECT_FALSE(first.tagged);
    EXPECT_TRUE(batch_->frame(1).bytes.empty());
}

TEST_F(UnixCables, SendWithoutPeerIsLostAndNotAnError) {
    const auto a = open("a", "b");
    EXPECT_EQ(a->send(frame_, true), 0);
    const auto b = open("b", "a");
    EXPECT_EQ(a->send(frame_, true), 0);
    EXPECT_EQ(drain(*b), 1U);
}

TEST_F(UnixCables, PeerThatRestartsIsFoundAgain) {
    const auto a = open("a", "b");
    auto b = open("b", "a");
    EXPECT_EQ(a->send(frame_, true), 0);
    b.reset();
    EXPECT_EQ(a->send(frame_, true), 0);
    b = open("b", "a");
    EXPECT_EQ(a->send(frame_, true), 0);
    EXPECT_EQ(drain(*b), 1U);
    EXPECT_EQ(b->send(frame_, true), 0) << "the peer's first frame after a restart arrives too";
    EXPECT_EQ(drain(*a), 1U);
}

TEST_F(UnixCables, StaleSocketIsReplacedAndAFileIsNot) {
    const int stale = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    directory_.path("a").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(stale);
    EXPECT_NE(open("a", "b"), nullptr);
    FILE* file = std::fopen(directory_.path("file").c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    std::string error;
    EXPECT_EQ(openCable({CableKind::Unix, directory_.path("file"), "x", ""}, error), nullptr);
    EXPECT_NE(error.find("file"), std::string::npos);
    EXPECT_TRUE(exists("file"));
}

TEST_F(UnixCables, SocketFileGoesWithTheCableButNotThatOfItsSuccessor) {
    auto first = open("a", "b");
    auto second = open("a", "b");
    first.reset();
    EXPECT_TRUE(exists("a"));
    second.reset();
    EXPECT_FALSE(exists("a"));
}

TEST_F(UnixCables, PeerThatDoesNotReadIsReportedAndComesBack) {
    const auto a = open("a", "b");
    const auto b = open("b", "a");
    int result = 0;
    for (int i = 0; i < 10'000 && result == 0; ++i)
        result = a->send(frame_, true);
    EXPECT_EQ(result, ENOBUFS);
    EXPECT_EQ(a->send(frame_, true), ENOBUFS);
    EXPECT_EQ(a->send(frame_, false), ENOBUFS);
    while (drain(*b) != 0) {
    }
    EXPECT_EQ(a->send(frame_, false), 0);
    EXPECT_EQ(drain(*b), 1U);
}

TEST_F(UnixCables, LongDatagramsAreCutToTheBatchesBuffer) {
    const auto a = open("a", "b");
    const auto b = open("b", "a");
    EXPECT_EQ(a->send(frames::Bytes(9000, 1), true), 0);
    ASSERT_EQ(drain(*b), 1U);
    EXPECT_EQ(batch_->frame(0).bytes.size(), FrameBatch::kBufferBytes);
}

TEST(Cables, NoneIsNoCable) {
    std::string error;
    EXPECT_EQ(openCable({}, error), nullptr);
    EXPECT_EQ(error, "");
}

TEST(Cables, PathsThatDoNotFitAreRefused) {
    std::string error;
    EXPECT_EQ(openCable({CableKind::Unix, "/tmp/" + std::string(200, 'x'), "y", ""}, error),
              nullptr);
    EXPECT_NE(error.find("107"), std::string::npos);
}

}  // namespace
}  // namespace platform::testing
