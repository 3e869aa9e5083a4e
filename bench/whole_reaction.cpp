// SPDX-License-Identifier: MIT
#include "bench/whole_reaction.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bench/join_pdu.h"
#include "bench/whole_cables.h"
#include "bench/whole_daemon.h"
#include "bench/whole_peers.h"

namespace bench {
namespace {

constexpr u32 kVlans = 4094;
constexpr double kWithinSeconds = 10;
/// Nothing comes any more: longer than the join time.
constexpr double kQuietSeconds = 1.5;
constexpr size_t kBatch = 64;

/// The far ends of all cables, read without ever waiting.
class FarEnds {
  public:
    FarEnds(const Daemon& daemon, u32 ports) : frames_(ports - 1) {
        for (u32 unit = 1; unit <= ports; ++unit)
            ends_.push_back(openEnd(daemon.peerPath(unit)));
        into_ = openSender(daemon.portPath(1));
        for (u32 unit = 2; unit <= ports; ++unit) {
            bare_.push_back(openSender(daemon.peerPath(unit)));
            addresses_.push_back(addressOf(daemon.peerPath(unit)));
        }
        for (u32 first = 0; first < ports; first += kBatch)
            batched_.push_back(openEnd(daemon.peerPath(ports + 1 + first)));
    }

    /// Reads whatever has come out. @return whether there was anything
    bool drain() {
        bool any = false;
        std::array<u8, kLongestFrame> frame;
        for (const platform::Descriptor& end : ends_)
            while (recv(end.get(), frame.data(), frame.size(), 0) > 0)
                any = true;
        return any;
    }

    /// Reads until nothing has come for a while.
    void settle() {
        Clock::time_point last = Clock::now();
        const Clock::time_point begin = last;
        while (secondsSince(last) < kQuietSeconds) {
            if (drain())
                last = Clock::now();
            if (secondsSince(begin) > 3 * kWithinSeconds)
                throw std::runtime_error("the ports do not become quiet");
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    /// @return ns from sending into port 1 until a frame has come out of each other port
    double react(std::span<const u8> join) {
        const Clock::time_point begin = Clock::now();
        if (!sendInto(into_.get(), join))
            throw std::runtime_error("the first port takes nothing");
        for (size_t i = 0; i < frames_.size(); ++i)
            await(i, begin);
        return secondsSince(begin) * 1e9;
    }

    /// @return ns for sending the frames that came last, one by one
    double sendPlain() const {
        const Clock::time_point begin = Clock::now();
        for (size_t i = 0; i < frames_.size(); ++i)
            if (::send(bare_[i].get(), frames_[i].data(), frames_[i].size(), MSG_NOSIGNAL) < 0)
                throw std::runtime_error("a neighbour does not take its frame");
        return secondsSince(begin) * 1e9;
    }

    /// The same with one system call for kBatch of them.
    double sendBatched() {
        std::vector<iovec> parts(frames_.size());
        std::vector<mmsghdr> messages(frames_.size());
        for (size_t i = 0; i < frames_.size(); ++i) {
            parts[i] = {frames_[i].data(), frames_[i].size()};
            messages[i].msg_hdr = {
                &addresses_[i], sizeof(sockaddr_un), &parts[i], 1, nullptr, 0, 0};
        }
        const Clock::time_point begin = Clock::now();
        for (size_t at = 0, batch = 0; at < messages.size(); at += kBatch, ++batch) {
            const auto count = static_cast<unsigned>(std::min(kBatch, messages.size() - at));
            if (sendmmsg(batched_[batch].get(), &messages[at], count, MSG_NOSIGNAL) !=
                static_cast<int>(count))
                throw std::runtime_error("a neighbour does not take its frame of a batch");
        }
        return secondsSince(begin) * 1e9;
    }

    size_t count() const { return frames_.size(); }

  private:
    void await(size_t i, Clock::time_point begin) {
        std::vector<u8>& frame = frames_[i];
        frame.resize(kLongestFrame);
        ssize_t got = 0;
        while ((got = recv(ends_[i + 1].get(), frame.data(), frame.size(), 0)) <= 0)
            if (secondsSince(begin) > kWithinSeconds)
                throw std::runtime_error("nothing comes out of port " + std::to_string(i + 2));
        frame.resize(static_cast<size_t>(got));
    }

    std::vector<platform::Descriptor> ends_;  ///< of unit n at n - 1
    platform::Descriptor into_;
    std::vector<platform::Descriptor> bare_;  ///< of unit n at n - 2, as all below
    std::vector<sockaddr_un> addresses_;
    std::vector<platform::Descriptor> batched_;  ///< one for each batch: a socket holds 90 frames
    std::vector<std::vector<u8>> frames_;
};

}  // namespace

void measureReaction(const std::string& program, u32 ports, int turns, Figures& figures) {
    constexpr u32 kLeaveAllSeconds = 60;  // its join time is a second
    const Daemon daemon({program, ports, kLeaveAllSeconds});
    FarEnds ends(daemon, ports);
    const std::vector<u8> join = nativeFrame(mvrpJoinPdu(vlansFrom(1, kVlans)));
    for (int i = 0; i < 3; ++i) {
        ends.react(join);
        ends.settle();
    }
    double work = std::numeric_limits<double>::max();
    double plain = work;
    double batched = work;
    for (int turn = 0; turn < turns; ++turn) {
        work = std::min(work, ends.react(join));
        ends.drain();
        plain = std::min(plain, ends.sendPlain());
        ends.drain();
        batched = std::min(batched, ends.sendBatched());
        ends.drain();
    }
    const auto frames = static_cast<double>(ends.count());
    figures.pair("reaction/" + std::to_string(ports), work / frames, plain / frames);
    figures.pair("reaction-batched/" + std::to_string(ports), work / frames, batched / frames);
}

}  // namespace bench
