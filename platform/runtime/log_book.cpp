// SPDX-License-Identifier: MIT
#include "platform/runtime/log_book.h"

#include <algorithm>
#include <chrono>

namespace platform {
namespace {

u64 epochUs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<u64>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

template <typename Length, std::size_t size>
void copyText(std::string_view text, std::array<char, size>& bytes, Length& length) {
    length = static_cast<Length>(text.copy(bytes.data(), size));
}

}  // namespace

LogBook::LogBook()
    : start_(epochUs()),
      newest_(start_),
      slots_(std::make_unique_for_overwrite<Kept[]>(kLogLinesKept)) {}

void LogBook::add(const LogLine& line) {
    const u64 timeMs = epochUs() / 1000;
    const std::lock_guard lock(guard_);
    Kept& kept = slots_[++newest_ % kLogLinesKept];
    kept.sequence = newest_;
    kept.timeMs = timeMs;
    kept.priority = line.priority;
    kept.event = line.event;
    kept.unit = line.unit;
    kept.ofVlans = line.vlans != nullptr;
    if (kept.ofVlans)
        kept.vlans = *line.vlans;
    copyText(line.port, kept.portBytes, kept.portLength);
    copyText(line.text, kept.textBytes, kept.textLength);
}

bool LogBook::next(u64 since, Kept& line) const {
    const std::lock_guard lock(guard_);
    const u64 wanted = std::max(since + 1, oldestLocked());
    if (wanted > newest_)
        return false;
    line = slots_[wanted % kLogLinesKept];
    return true;
}

u64 LogBook::newest() const {
    const std::lock_guard lock(guard_);
    return newest_;
}

u64 LogBook::oldest() const {
    const std::lock_guard lock(guard_);
    return oldestLocked();
}

u64 LogBook::oldestLocked() const {
    return newest_ - std::min<u64>(newest_ - start_, kLogLinesKept) + 1;
}

}  // namespace platform
