// SPDX-License-Identifier: MIT
#include "platform/net/sockets/frame_ring.h"

#include <algorithm>
#include <cstring>

namespace platform {

FrameRing::FrameRing(u32 guaranteedFrames)
    : guaranteedFrames_(guaranteedFrames),
      storageBytes_(storageBytes(guaranteedFrames)),
      storage_(std::make_unique_for_overwrite<u8[]>(storageBytes_)) {}

bool FrameRing::push(const FrameMeta& meta, std::span<const u8> frame, std::size_t limitBytes) {
    if (frame.size() > kLongestFrame)
        return false;
    const std::size_t need = sizeof(Header) + frame.size();
    const std::size_t limit =
        frames_ < guaranteedFrames_ ? storageBytes_ : std::min(limitBytes, storageBytes_);
    if (used_ + need > limit)
        return false;
    const Header header = {static_cast<u32>(frame.size()), meta};
    copyIn(&header, sizeof header);
    copyIn(frame.data(), frame.size());
    ++frames_;
    return true;
}

ssize_t FrameRing::pop(FrameMeta& meta, std::span<u8> out) {
    const ssize_t length = peek(meta, out);
    if (length < 0)
        return length;
    const std::size_t taken = sizeof(Header) + static_cast<std::size_t>(length);
    used_ -= taken;
    --frames_;
    // The same pages again, not all of the storage in turn.
    head_ = used_ == 0 ? 0 : (head_ + taken) % storageBytes_;
    return length;
}

ssize_t FrameRing::peek(FrameMeta& meta, std::span<u8> out) const {
    if (frames_ == 0)
        return -1;
    Header header{};
    copyOut(0, &header, sizeof header);
    meta = header.meta;
    copyOut(sizeof header, out.data(), std::min<std::size_t>(out.size(), header.length));
    return static_cast<ssize_t>(header.length);
}

void FrameRing::copyIn(const void* from, std::size_t count) {
    const std::size_t tail = (head_ + used_) % storageBytes_;
    const std::size_t first = std::min(count, storageBytes_ - tail);
    if (count != 0) {
        std::memcpy(storage_.get() + tail, from, first);
        std::memcpy(storage_.get(), static_cast<const u8*>(from) + first, count - first);
    }
    used_ += count;
}

void FrameRing::copyOut(std::size_t offset, void* to, std::size_t count) const {
    const std::size_t from = (head_ + offset) % storageBytes_;
    const std::size_t first = std::min(count, storageBytes_ - from);
    if (count != 0) {
        std::memcpy(to, storage_.get() + from, first);
        std::memcpy(static_cast<u8*>(to) + first, storage_.get(), count - first);
    }
}

}  // namespace platform
