// SPDX-License-Identifier: MIT
#include "platform/observe/frame_tap.h"

#include <algorithm>

#include "platform/channel/protocol.h"
#include "platform/net/clock.h"
#include "platform/observe/sequence.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

constexpr u64 kStaysActiveMs = 5000;

void append(std::vector<u8>& reply, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const u8*>(data);
    reply.insert(reply.end(), bytes, bytes + size);
}

}  // namespace

FrameTap::FrameTap() : newest_(firstSequence()), first_(newest_ + 1) {}

bool FrameTap::active() {
    const u64 until = activeUntilMs_.load(std::memory_order_relaxed);
    if (until == 0)
        return false;
    if (monotonicMs() < until)
        return true;
    activeUntilMs_.store(0, std::memory_order_relaxed);
    return false;
}

void FrameTap::add(u32 unit, bool sent, std::span<const u8> bytes) {
    const std::lock_guard lock(mutex_);
    if (slots_ == nullptr)
        return;
    const std::size_t length = std::min(bytes.size(), kLongestNativeFrame);
    ++newest_;
    first_ = std::max(first_, newest_ - kSlots + 1);
    Slot& slot = (*slots_)[newest_ % kSlots];
    slot.head = {newest_, wallClockUs(), unit, static_cast<u16>(length), sent ? u16{1} : u16{0}};
    std::copy_n(bytes.begin(), length, slot.bytes.begin());
}

void FrameTap::read(u64 since, std::vector<u8>& reply) {
    const std::lock_guard lock(mutex_);
    if (slots_ == nullptr)
        slots_ = std::make_unique<std::array<Slot, kSlots>>();
    activeUntilMs_.store(monotonicMs() + kStaysActiveMs);
    CaptureHeader header{newest_, 0, 0, 0};
    const u64 next = std::max(std::min(since, newest_) + 1, first_);
    if (since < next - 1)
        header.lost = next - 1 - since;
    u64 end = next;
    std::size_t bytes = sizeof header;
    for (; since != kNever && end <= newest_; ++end) {
        bytes += sizeof(CapturedFrame) + (*slots_)[end % kSlots].head.length;
        if (bytes > kMaxValueBytes)
            break;
        ++header.count;
    }
    append(reply, &header, sizeof header);
    for (u64 sequence = next; sequence < next + header.count; ++sequence) {
        const Slot& slot = (*slots_)[sequence % kSlots];
        append(reply, &slot.head, sizeof slot.head);
        append(reply, slot.bytes.data(), slot.head.length);
    }
}

}  // namespace platform
