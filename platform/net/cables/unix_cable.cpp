// SPDX-License-Identifier: MIT
#include "platform/net/cables/unix_cable.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/net/cables/cable_socket.h"

namespace platform {
namespace {

/// A peer may go between two calls, and another come.
constexpr int kAttempts = 3;

}  // namespace

UnixCable::UnixCable(Place local, Place peer, Descriptor receive)
    : local_(std::move(local)),
      localNumber_(socketNumberAt(local_)),
      peer_(std::move(peer)),
      receive_(std::move(receive)) {}

UnixCable::~UnixCable() {
    if (localNumber_ != 0 && socketNumberAt(local_) == localNumber_)
        unlinkat(local_.directory.isOpen() ? local_.directory.get() : AT_FDCWD, local_.name.c_str(),
                 0);
}

int UnixCable::send(std::span<const u8> frame, NoRoom noRoom) {
    const std::lock_guard lock(mutex_);
    // Behind kept frames, and without asking for each whether there is room now.
    const bool othersWait = kept_ && !kept_->isEmpty();
    const int error = othersWait ? EAGAIN : put(frame);
    if (error != EAGAIN)
        return error;
    return noRoom == NoRoom::Keep && keep(frame) ? 0 : ENOBUFS;
}

int UnixCable::put(std::span<const u8> frame) {
    int failure = 0;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (const int absent = connectPeer(); absent != 0)
            return isWant(absent) ? absent : 0;
        if (::send(transmit_.get(), frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0)
            return 0;
        failure = errno;
        if (failure == EAGAIN)
            return failure;
        transmit_ = Descriptor();
    }
    // A peer that went in between is a cable that is not plugged in.
    return failure == ECONNREFUSED || failure == ECONNRESET ? 0 : failure;
}

int UnixCable::connectPeer() {
    if (transmit_.isOpen())
        return 0;
    errno = ENOENT;
    transmit_ = connectSocket(peer_);
    return transmit_.isOpen() ? 0 : errno;
}

bool UnixCable::keep(std::span<const u8> frame) {
    if (!kept_)
        kept_.emplace(kKeptFrames);
    const bool first = kept_->isEmpty();
    if (!kept_->push({}, frame, FrameRing::storageBytes(kKeptFrames)))
        return false;
    if (first)
        awaitRoom();
    return true;
}

void UnixCable::awaitRoom() {
    if (epoll_ < 0)
        return;
    epoll_event event{};
    event.events = EPOLLOUT | EPOLLONESHOT;
    event.data.u64 = eventData_;
    // The socket of a peer that came back is not known there yet.
    if (epoll_ctl(epoll_, EPOLL_CTL_MOD, transmit_.get(), &event) != 0)
        epoll_ctl(epoll_, EPOLL_CTL_ADD, transmit_.get(), &event);
}

void UnixCable::watchRoom(int epoll, u64 eventData) {
    const std::lock_guard lock(mutex_);
    epoll_ = epoll;
    eventData_ = eventData;
}

void UnixCable::sendKept() {
    const std::lock_guard lock(mutex_);
    FrameMeta meta;
    std::array<u8, FrameRing::kLongestFrame> bytes;
    while (kept_ && !kept_->isEmpty()) {
        const auto length = static_cast<std::size_t>(kept_->peek(meta, bytes));
        if (put(std::span(bytes).first(length)) == EAGAIN) {
            awaitRoom();
            return;
        }
        // Sent, or lost with a peer that went.
        kept_->pop(meta, {});
    }
}

}  // namespace platform
