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
    if (frames_ == 0)
        return -1;
    Header header{};
    copyOut(&header, sizeof header);
    meta = header.meta;
    const std::size_t copied = std::min<std::size_t>(out.size(), header.length);
    copyOut(out.data(), copied);
    skip(header.length - copied);
    used_ -= sizeof header + header.length;
    --frames_;
    if (used_ == 0)
        head_ = 0;  // the same pages again, not all of the storage in turn
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

void FrameRing::copyOut(void* to, std::size_t count) {
    const std::size_t first = std::min(count, storageBytes_ - head_);
    if (count != 0) {
        std::memcpy(to, storage_.get() + head_, first);
        std::memcpy(static_cast<u8*>(to) + first, storage_.get(), count - first);
    }
    skip(count);
}

}  // namespace platform
