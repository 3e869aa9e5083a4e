// SPDX-License-Identifier: MIT
#include "platform/net/cables/open_cable.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/un.h>

#include <cerrno>
#include <vector>

#include "platform/net/cables/unix_cable.h"
#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

class UnixCables : public ::testing::Test {
  protected:
    std::shared_ptr<Cable> open(const std::string& local, const std::string& peer,
                                const CableRules& rules = {}) {
        CableFailure failure;
        auto cable = openCable({CableKind::Unix, directory_.path(local), directory_.path(peer), ""},
                               rules, failure);
        EXPECT_NE(cable, nullptr) << failure.text;
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
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), 0);
    EXPECT_EQ(a->send({}, NoRoom::Keep), 0);
    ASSERT_EQ(drain(*b), 2U);
    const ReceivedFrame first = batch_->frame(0);
    EXPECT_TRUE(std::ranges::equal(first.bytes, frame_));
    EXPECT_FALSE(first.tagged);
    EXPECT_TRUE(batch_->frame(1).bytes.empty());
}

TEST_F(UnixCables, SendWithoutPeerIsLostAndNotAnError) {
    const auto a = open("a", "b");
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), 0);
    const auto b = open("b", "a");
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), 0);
    EXPECT_EQ(drain(*b), 1U);
}

/// Takes all descriptors that the process may have, as long as it lives.
class NoDescriptors {
  public:
    NoDescriptors() {
        for (int next = dup(0); next >= 0; next = dup(0))
            taken_.emplace_back(next);
        EXPECT_EQ(errno, EMFILE);
    }
    void giveBack(std::size_t count) { taken_.resize(taken_.size() - count); }

  private:
    std::vector<Descriptor> taken_;
};

TEST_F(UnixCables, AWantOfDescriptorsIsNotTakenForNobodyThere) {
    const auto a = open("a", "b");
    const auto b = open("b", "a");
    NoDescriptors none;
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), EMFILE);
    none.giveBack(1);
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), 0);
    EXPECT_EQ(drain(*b), 1U);
}

TEST_F(UnixCables, ACableForWhichThereIsNoDescriptorIsOpenedWhenThereIs) {
    NetNode node;
    node.start();
    node.enable(3);
    SwitchConfig config = smallSwitch();
    for (PortConfig& port : config.ports)
        if (port.unit == 3)
            port.cable = {CableKind::Unix, directory_.path("a"), directory_.path("b"), ""};
    std::string error;
    {
        const NoDescriptors none;
        EXPECT_TRUE(node.net.reconfigure(config, error)) << error;
        EXPECT_EQ(node.net.cableState(3).cableError, EMFILE);
    }
    EXPECT_TRUE(await([&node] { return node.net.cableState(3).cableError == 0; }));
    EXPECT_TRUE(exists("a"));
}

TEST_F(UnixCables, PeerThatRestartsIsFoundAgain) {
    const auto a = open("a", "b");
    auto b = open("b", "a");
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), 0);
    b.reset();
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), 0);
    b = open("b", "a");
    EXPECT_EQ(a->send(frame_, NoRoom::Keep), 0);
    EXPECT_EQ(drain(*b), 1U);
    EXPECT_EQ(b->send(frame_, NoRoom::Keep), 0)
        << "the peer's first frame after a restart arrives too";
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
    CableFailure failure;
    EXPECT_EQ(openCable({CableKind::Unix, directory_.path("file"), "x", ""}, {}, failure), nullptr);
    EXPECT_NE(failure.text.find("file"), std::string::npos);
    EXPECT_TRUE(exists("file"));
}

TEST_F(UnixCables, SocketFileGoesWithTheCableButNotThatOfItsSuccessor) {
    auto first = open("a", "b");
    auto second = open("a", "b", {nullptr, first.get()});
    first.reset();
    EXPECT_TRUE(exists("a"));
    second.reset();
    EXPECT_FALSE(exists("a"));
}

TEST_F(UnixCables, ASocketInUseIsNotReplacedOfWhateverKind) {
    const auto first = open("a", "b");
    CableFailure failure;
    const CableConfig same{CableKind::Unix, directory_.path("a"), directory_.path("c"), ""};
    EXPECT_EQ(openCable(same, {}, failure), nullptr);
    EXPECT_NE(failure.text.find("in use"), std::string::npos) << failure.text;
    const Descriptor stream(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    directory_.path("s").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(stream.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    const CableConfig over{CableKind::Unix, directory_.path("s"), directory_.path("c"), ""};
    EXPECT_EQ(openCable(over, {}, failure), nullptr);
    EXPECT_TRUE(exists("s"));
    EXPECT_EQ(first->send(frame_, NoRoom::Keep), 0);
}

TEST_F(UnixCables, OfARequestLieInItsPlacesBothEndsAndBehindNoLink) {
    const ScratchDirectory elsewhere;
    const RequestPlaces places({directory_.path()});
    CableFailure failure;
    const auto refused = [&](const std::string& local, const std::string& peer) {
        return openCable({CableKind::Unix, local, peer, ""}, {&places, nullptr}, failure) ==
               nullptr;
    };
    EXPECT_TRUE(refused(elsewhere.path("a"), directory_.path("b")));
    EXPECT_TRUE(refused(directory_.path("a"), elsewhere.path("b")));
    ASSERT_EQ(symlink(elsewhere.path().c_str(), directory_.path("link").c_str()), 0);
    EXPECT_TRUE(refused(directory_.path("link/a"), directory_.path("b")));
    EXPECT_TRUE(refused(directory_.path("../a"), directory_.path("b")));

    // A peer that turns out to be a link to elsewhere is nobody.
    const auto cable = open("a", "b", {&places, nullptr});
    const auto victim =
        openCable({CableKind::Unix, elsewhere.path("v"), elsewhere.path("w"), ""}, {}, failure);
    ASSERT_EQ(symlink(elsewhere.path("v").c_str(), directory_.path("b").c_str()), 0);
    EXPECT_EQ(cable->send(frame_, NoRoom::Keep), 0);
    EXPECT_EQ(drain(*victim), 0U);
    ASSERT_EQ(unlink(directory_.path("b").c_str()), 0);
    const auto peer = open("b", "a", {&places, nullptr});
    EXPECT_EQ(cable->send(frame_, NoRoom::Keep), 0);
    EXPECT_EQ(drain(*peer), 1U);
}

TEST_F(UnixCables, OfARequestTakesNoSocketOfAnotherUser) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to make a socket of another user";
    const int stale = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    directory_.path("stale").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(stale);
    ASSERT_EQ(chown(directory_.path("stale").c_str(), 65534, 65534), 0);
    const RequestPlaces places({directory_.path()});
    CableFailure failure;
    EXPECT_EQ(openCable({CableKind::Unix, directory_.path("stale"), directory_.path("b"), ""},
                        {&places, nullptr}, failure),
              nullptr);
    EXPECT_NE(failure.text.find("another user"), std::string::npos) << failure.text;
    EXPECT_TRUE(exists("stale"));
}

/// A cable whose other end reads only when it is told to. Frames have numbers.
class CrowdedCable : public UnixCables {
  protected:
    CrowdedCable() { cable_->watchRoom(epoll_.get(), kEventData); }

    /// Sends until a frame is refused. @return frames sent
    u32 fill() {
        const u32 before = sent_;
        while (sent_ - before < 10'000 && send() == 0)
            ++sent_;
        EXPECT_EQ(send(), ENOBUFS);
        return sent_ - before;
    }
    int send(NoRoom noRoom = NoRoom::Keep) {
        const frames::Bytes frame = {static_cast<u8>(sent_ >> 8), static_cast<u8>(sent_)};
        return cable_->send(frame, noRoom);
    }
    /// Reads what there is, and expects it in the order in which it was sent. @return frames
    std::size_t read() {
        std::size_t all = 0;
        for (std::size_t count = drain(*peer_); count != 0; count = drain(*peer_)) {
            all += count;
            for (std::size_t i = 0; i < count; ++i, ++read_) {
                const std::span<const u8> bytes = batch_->frame(i).bytes;
                EXPECT_EQ(u32{bytes[0]} << 8 | bytes[1], read_);
            }
        }
        return all;
    }
    bool hasRoomEvent(int waitMs) {
        epoll_event event{};
        return epoll_wait(epoll_.get(), &event, 1, waitMs) == 1 && event.data.u64 == kEventData;
    }

    static constexpr u64 kEventData = 77;
    const Descriptor epoll_{epoll_create1(EPOLL_CLOEXEC)};
    const std::shared_ptr<Cable> cable_ = open("a", "b");
    std::shared_ptr<Cable> peer_ = open("b", "a");
    u32 sent_ = 0;
    u32 read_ = 0;
};

TEST_F(CrowdedCable, KeepsABurstAndSendsItInOrderAsSoonAsThereIsRoom) {
    const u32 sent = fill();
    EXPECT_GT(sent, UnixCable::kKeptFrames);
    EXPECT_FALSE(hasRoomEvent(0));
    std::size_t arrived = read();
    while (arrived < sent && hasRoomEvent(20'000)) {
        cable_->sendKept();
        arrived += read();
    }
    EXPECT_EQ(arrived, sent);
    EXPECT_FALSE(hasRoomEvent(0)) << "nothing is kept any more";
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(read(), 1U);
}

TEST_F(CrowdedCable, OvertakesNoKeptFrame) {
    fill();
    read();
    EXPECT_EQ(send(NoRoom::Drop), ENOBUFS);
    EXPECT_EQ(send(NoRoom::Keep), ENOBUFS) << "as many as may wait do";
    cable_->sendKept();
    EXPECT_EQ(send(NoRoom::Keep), 0) << "behind what is kept still, or at once";
}

TEST_F(CrowdedCable, WhatIsNotToBeKeptIsDropped) {
    while (send(NoRoom::Drop) == 0 && sent_ < 10'000)
        ++sent_;
    EXPECT_EQ(send(NoRoom::Drop), ENOBUFS);
    const u32 sent = sent_;
    EXPECT_EQ(read(), sent);
    cable_->sendKept();
    EXPECT_EQ(read(), 0U);
}

TEST_F(CrowdedCable, WhatIsKeptForAPeerThatGoesIsLostAndItsSuccessorIsHeard) {
    fill();
    peer_.reset();
    EXPECT_TRUE(hasRoomEvent(20'000));
    cable_->sendKept();
    EXPECT_EQ(send(), 0) << "a cable that is not plugged in takes everything";
    peer_ = open("b", "a");
    read_ = sent_;
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(read(), 1U);
    ++sent_;
    read_ = sent_;
    EXPECT_GT(fill(), UnixCable::kKeptFrames) << "room is awaited on another socket now";
    read();
    EXPECT_TRUE(hasRoomEvent(20'000));
}

TEST_F(UnixCables, LongDatagramsAreCutToTheBatchesBuffer) {
    const auto a = open("a", "b");
    const auto b = open("b", "a");
    EXPECT_EQ(a->send(frames::Bytes(9000, 1), NoRoom::Keep), 0);
    ASSERT_EQ(drain(*b), 1U);
    EXPECT_EQ(batch_->frame(0).bytes.size(), FrameBatch::kBufferBytes);
}

TEST(Cables, NoneIsNoCable) {
    CableFailure failure;
    EXPECT_EQ(openCable({}, {}, failure), nullptr);
    EXPECT_EQ(failure.text, "");
}

TEST(Cables, PathsThatDoNotFitAreRefused) {
    CableFailure failure;
    EXPECT_EQ(openCable({CableKind::Unix, "/tmp/" + std::string(200, 'x'), "y", ""}, {}, failure),
              nullptr);
    EXPECT_NE(failure.text.find("107"), std::string::npos);
}

}  // namespace
}  // namespace platform::testing
