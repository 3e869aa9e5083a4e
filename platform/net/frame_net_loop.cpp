// SPDX-License-Identifier: MIT
//
// Two ports of this switch that are connected to each other: the protocol between them would go on
// for ever, each answering the other. A frame that comes in with an address that this switch sends
// from is dropped, and the port that it came in at counts as down until none has come for a while.
#include <algorithm>
#include <climits>

#include "platform/net/clock.h"
#include "platform/net/frame_net.h"
#include "platform/net/port_words.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

/// @return 0: the frame is too short to have one
u64 sourceOf(std::span<const u8> frame) {
    constexpr std::size_t kSourceAt = 6;
    if (frame.size() < kSourceAt + MacAddress{}.size())
        return 0;
    u64 address = 0;
    for (const u8 byte : frame.subspan(kSourceAt, MacAddress{}.size()))
        address = address << 8 | byte;
    return address;
}

}  // namespace

void FrameNet::noteOwnAddress(u32 unit, CabledPort& own, std::span<const u8> frame) {
    const u64 address = sourceOf(frame);
    if (!guardsLoops_ || own.ownAddress == address)
        return;
    forgetOwnAddress(unit, own);
    own.ownAddress = address;
    ownAddresses_[address] = unit;
}

void FrameNet::forgetOwnAddress(u32 unit, const CabledPort& own) {
    const auto found = ownAddresses_.find(own.ownAddress);
    if (found != ownAddresses_.end() && found->second == unit)
        ownAddresses_.erase(found);
}

bool FrameNet::isLooped(CabledPort& cabled, const FramePolicy& policy, std::span<const u8> bytes) {
    // Of ports that take no part, or are blocked, frames are none of the daemon's business.
    if (!guardsLoops_ || !policy.takesPart() || (!policy.linkUp && !cabled.loop) ||
        !isGroupFrame(bytes))
        return false;
    const auto sender = ownAddresses_.find(sourceOf(bytes));
    if (sender == ownAddresses_.end())
        return false;
    ++cabledPort(policy.unit).counters.droppedLoop;
    if (!cabled.loop)
        cabled.loop.emplace();
    cabled.loop->with = sender->second;
    cabled.loop->untilUs = monotonicUs() + loopTimeUs_;
    looping_ = true;
    return true;
}

void FrameNet::guardLoops(bool on) {
    guardsLoops_ = on;
    const std::lock_guard lock(mutex_);
    for (auto& [unit, cabled] : ports_)
        if (!on)
            endLoop(cabled);
}

void FrameNet::endLoop(CabledPort& cabled) {
    if (!cabled.loop)
        return;
    cabled.loop->untilUs = 0;
    wake();
}

int FrameNet::runLoops() {
    if (!looping_)
        return -1;
    u64 soonestUs = ULLONG_MAX;
    const u64 nowUs = monotonicUs();
    {
        const std::lock_guard lock(mutex_);
        holdChanges_.swap(letGo_);
        for (auto& [unit, cabled] : ports_) {
            if (!cabled.loop)
                continue;
            CableLoop& loop = *cabled.loop;
            const bool over = loop.untilUs <= nowUs;
            if (loop.held == over)
                holdChanges_.push_back({unit, loop.with, !over});
            loop.held = !over;
            if (over)
                cabled.loop.reset();
            else
                soonestUs = std::min(soonestUs, loop.untilUs);
        }
        looping_ = soonestUs != ULLONG_MAX;
    }
    for (const HoldChange& change : holdChanges_)
        changeHold(change.unit, change.with, change.held);
    holdChanges_.clear();
    return soonestUs == ULLONG_MAX ? -1 : static_cast<int>((soonestUs - nowUs + 999) / 1000);
}

void FrameNet::changeHold(u32 unit, u32 with, bool held) {
    if (hold_)
        hold_(unit, held);
    const std::string name = nameOf(driver_, unit);
    if (held)
        logMessage(LogPriority::Error,
                   "%s: a frame came in that %s of this switch had sent: a loop; %s takes no part "
                   "until none has come for %llu s (loop-guard)",
                   name.c_str(), with == unit ? "the port itself" : nameOf(driver_, with).c_str(),
                   name.c_str(), static_cast<unsigned long long>(loopTimeUs_ / 1'000'000));
    else
        logMessage(LogPriority::Notice, "%s: the loop is over; the port takes part again",
                   name.c_str());
}

}  // namespace platform
