// SPDX-License-Identifier: MIT
#include "platform/net/replay.h"

namespace platform {

Replay::Replay(PcapFrames frames, u32 speed, std::optional<u64> startUs)
    : frames_(std::move(frames)), speed_(speed), startUs_(startUs) {}

std::optional<u64> Replay::dueUs() const {
    if (!startUs_ || next_ >= frames_.records.size())
        return std::nullopt;
    if (speed_ == 0)
        return startUs_;
    // Frames that stand out of order in the file are due at once.
    const u64 first = frames_.records.front().timeUs;
    const u64 own = frames_.records[next_].timeUs;
    return *startUs_ + (own > first ? (own - first) / speed_ : 0);
}

std::optional<std::span<const u8>> Replay::next(u64 nowUs) {
    const std::optional<u64> due = dueUs();
    if (!due || *due > nowUs)
        return std::nullopt;
    return frames_.frame(frames_.records[next_++]);
}

}  // namespace platform
