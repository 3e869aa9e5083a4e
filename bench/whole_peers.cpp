// SPDX-License-Identifier: MIT
#include "bench/whole_peers.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "bench/whole_cables.h"

namespace bench {
namespace {

constexpr std::array<u8, 22> kNativeHeader = {
    0x01, 0x80, 0xC2, 0, 0, 0x21, 2, 0, 0, 0, 9, 9, 0, 0, 0xAA, 0xAA, 3, 0, 0, 0, 0x88, 0xF5};
/// First byte of the first vector in a frame of our form: attribute type and length come before it.
constexpr size_t kVectorAt = kNativeHeader.size() + 3;
constexpr u8 kLeaveAll = 0x20;
constexpr int kLookForEndMs = 50;
constexpr size_t kBatch = 32;

/// Frames as recvmmsg() fills them.
class Batch {
  public:
    Batch() {
        for (size_t i = 0; i < kBatch; ++i) {
            parts_[i] = {buffers_[i].data(), kLongestFrame};
            messages_[i].msg_hdr.msg_iov = &parts_[i];
            messages_[i].msg_hdr.msg_iovlen = 1;
        }
    }
    /// @return frames read; 0 when none waits
    size_t read(int socket) {
        const int got = recvmmsg(socket, messages_.data(), kBatch, MSG_DONTWAIT, nullptr);
        return got > 0 ? static_cast<size_t>(got) : 0;
    }
    std::span<const u8> frame(size_t i) const {
        return std::span(buffers_[i]).first(messages_[i].msg_len);
    }

  private:
    std::vector<std::array<u8, kLongestFrame>> buffers_{kBatch};
    std::array<iovec, kBatch> parts_{};
    std::array<mmsghdr, kBatch> messages_{};
};

bool isLeaveAll(std::span<const u8> frame) {
    return frame.size() > kVectorAt && (frame[kVectorAt] & kLeaveAll) != 0;
}

}  // namespace

std::vector<u8> nativeFrame(std::span<const u8> pdu) {
    constexpr size_t kLengthAt = 12;
    std::vector<u8> frame(kNativeHeader.size() + pdu.size());
    std::ranges::copy(kNativeHeader, frame.begin());
    std::ranges::copy(pdu, frame.begin() + kNativeHeader.size());
    const size_t length = frame.size() - kLengthAt - 2;
    frame[kLengthAt] = static_cast<u8>(length >> 8U);
    frame[kLengthAt + 1] = static_cast<u8>(length);
    return frame;
}

Peers::Peers(const Daemon& daemon, u32 ports, std::vector<u8> answer)
    : answer_(std::move(answer)), epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    for (u32 unit = 1; unit <= ports; ++unit) {
        cables_.push_back(openEnd(daemon.peerPath(unit)));
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u32 = unit;
        epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, cables_.back().get(), &event);
    }
    for (u32 unit = 1; unit <= ports; ++unit)
        cables_.push_back(openSender(daemon.portPath(unit)));
    reader_ = std::thread([this] { readLoop(); });
}

Peers::~Peers() {
    ends_ = true;
    reader_.join();
}

bool Peers::send(u32 unit, std::span<const u8> frame) {
    return sendInto(cables_[cables_.size() / 2 + unit - 1].get(), frame);
}

void Peers::readLoop() {
    std::array<epoll_event, kBatch> events;
    Batch batch;
    while (!ends_) {
        const int count = epoll_wait(epoll_.get(), events.data(), kBatch, kLookForEndMs);
        for (int i = 0; i < count; ++i) {
            const u32 unit = events[static_cast<size_t>(i)].data.u32;
            const size_t frames = batch.read(cables_[unit - 1].get());
            received_ += frames;
            for (size_t f = 0; f < frames; ++f)
                if (!answer_.empty() && isLeaveAll(batch.frame(f)))
                    send(unit, answer_);
        }
    }
}

double bareRelayRate(const Daemon& daemon, u32 ports, size_t frameBytes, double seconds) {
    const ScratchDirectory directory;
    const platform::Descriptor in = openEnd(directory.path("in"));
    const platform::Descriptor out = openSender(directory.path("in"));
    std::vector<platform::Descriptor> neighbours;
    for (u32 unit = 2; unit <= ports; ++unit)
        neighbours.push_back(openSender(daemon.peerPath(unit)));
    std::atomic<bool> ends{false};
    std::thread sender([&] {
        const std::vector<u8> frame(frameBytes);
        while (!ends)
            sendInto(out.get(), frame);
    });
    Batch batch;
    u64 frames = 0;
    pollfd item = {in.get(), POLLIN, 0};
    const Clock::time_point begin = Clock::now();
    while (secondsSince(begin) < seconds) {
        poll(&item, 1, kLookForEndMs);
        const size_t got = batch.read(in.get());
        for (size_t i = 0; i < got; ++i)
            for (const platform::Descriptor& neighbour : neighbours)
                sendInto(neighbour.get(), batch.frame(i));
        frames += got;
    }
    const double rate = static_cast<double>(frames) / secondsSince(begin);
    ends = true;
    // Room for the sender's last frame.
    batch.read(in.get());
    sender.join();
    return rate;
}

}  // namespace bench
