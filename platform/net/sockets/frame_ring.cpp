// SPDX-License-Identifier: MIT
#include "platform/net/sockets/frame_ring.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace platform {

static_assert(FrameRing::kGuaranteedFrames * (FrameRing::kLongestFrame + 32) <=
              FrameRing::kStorageBytes);

FrameRing::FrameRing(int readyDescriptor, std::size_t limitBytes, std::atomic<u32>* waitingBytes)
    : readyDescriptor_(readyDescriptor),
      storage_(std::make_unique_for_overwrite<u8[]>(kStorageBytes)),
      limitBytes_(std::min(limitBytes, kStorageBytes)),
      waitingBytes_(waitingBytes == nullptr ? &ownWaitingBytes_ : waitingBytes) {
    static_assert(sizeof(Header) <= 32);
}

void FrameRing::setLimit(std::size_t limitBytes) {
    limitBytes_ = std::min(limitBytes, kStorageBytes);
}

bool FrameRing::push(const FrameMeta& meta, std::span<const u8> frame) {
    if (frame.size() > kLongestFrame)
        return false;
    const u32 frames = frames_.load(std::memory_order_relaxed);
    const std::size_t need = sizeof(Header) + frame.size();
    const std::size_t limit = frames < kGuaranteedFrames ? kStorageBytes : limitBytes_;
    if (used_ + need > limit)
        return false;
    const Header header = {static_cast<u32>(frame.size()), meta};
    copyIn(&header, sizeof header);
    copyIn(frame.data(), frame.size());
    frames_.store(frames + 1, std::memory_order_release);
    waitingBytes_->fetch_add(header.length, std::memory_order_release);
    if (frames == 0) {
        // The counter can not overflow: it goes up when the ring fills and is read when it empties.
        const u64 one = 1;
        [[maybe_unused]] const ssize_t written = write(readyDescriptor_, &one, sizeof one);
    }
    return true;
}

ssize_t FrameRing::pop(FrameMeta& meta, std::span<u8> out) {
    const u32 frames = frames_.load(std::memory_order_relaxed);
    if (frames == 0)
        return -1;
    Header header{};
    copyOut(&header, sizeof header);
    meta = header.meta;
    const std::size_t copied = std::min<std::size_t>(out.size(), header.length);
    copyOut(out.data(), copied);
    skip(header.length - copied);
    used_ -= sizeof header + header.length;
    if (used_ == 0)
        head_ = 0;  // the same pages again, not all of the storage in turn
    frames_.store(frames - 1, std::memory_order_release);
    waitingBytes_->fetch_sub(header.length, std::memory_order_release);
    if (frames == 1) {
        u64 count = 0;
        [[maybe_unused]] const ssize_t cleared = read(readyDescriptor_, &count, sizeof count);
    }
    return static_cast<ssize_t>(header.length);
}

void FrameRing::copyIn(const void* from, std::size_t count) {
    const std::size_t tail = (head_ + used_) % kStorageBytes;
    const std::size_t first = std::min(count, kStorageBytes - tail);
    if (count != 0) {
        std::memcpy(storage_.get() + tail, from, first);
        std::memcpy(storage_.get(), static_cast<const u8*>(from) + first, count - first);
    }
    used_ += count;
}

void FrameRing::copyOut(void* to, std::size_t count) {
    const std::size_t first = std::min(count, kStorageBytes - head_);
    if (count != 0) {
        std::memcpy(to, storage_.get() + head_, first);
        std::memcpy(static_cast<u8*>(to) + first, storage_.get(), count - first);
    }
    skip(count);
}

}  // namespace platform
