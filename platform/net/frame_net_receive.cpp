// SPDX-License-Identifier: MIT
//
// The receive thread: from a cable or a capture to the daemon's sockets, or to other ports.
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <utility>

#include "platform/net/clock.h"
#include "platform/net/frame_net.h"

namespace platform {
namespace {

constexpr int kMostEvents = 32;
/// Frames of a capture that one pass feeds, so that cables are looked at in between.
constexpr int kReplayBurst = 64;
/// How often a capture that waits for its port to take part looks again.
constexpr u64 kReplayRetryUs = 50'000;

/// What a frame leads to has happened by then, and is looked at so often while frames come.
constexpr u64 kQuietUs = 200'000;
constexpr u64 kLookAgainUs = 1'000'000;

/// Remembers who is at the other end, and which form it speaks.
void noteSender(CabledPort& cabled, const FrameView& view) {
    cabled.peer = view.source();
    if (view.kind == FrameKind::IeeeMvrp) {
        cabled.heard = static_cast<u32>(WireForm::Ieee);
        cabled.heardIeee = true;
    } else if (view.kind == FrameKind::NativeMvrp) {
        cabled.heard = static_cast<u32>(WireForm::Native);
    }
}

/// The earlier of two waits in ms, of which -1 is for ever.
int sooner(int a, int b) {
    return a < 0 || b < 0 ? std::max(a, b) : std::min(a, b);
}

}  // namespace

void FrameNet::receiveLoop() {
    std::array<epoll_event, kMostEvents> events;
    bool frameCame = false;
    while (running_) {
        int waitMs = sooner(runReplays(), runAsks());
        waitMs = sooner(waitMs, sooner(lookAround(std::exchange(frameCame, false)),
                                       sooner(runAwaited(), runLoops())));
        const int count = epoll_wait(epoll_.get(), events.data(), kMostEvents, waitMs);
        for (int i = 0; i < count; ++i) {
            const u64 unit = events[static_cast<std::size_t>(i)].data.u64;
            if ((unit & kRoomEvent) != 0) {
                if (const std::shared_ptr<Cable> cable = cableOf(static_cast<u32>(unit)))
                    cable->sendKept();
                continue;
            }
            if (unit != 0) {
                receiveFrom(static_cast<u32>(unit));
                if ((events[static_cast<std::size_t>(i)].events & EPOLLERR) != 0)
                    watching_ = true;
                frameCame = true;
                continue;
            }
            u64 signals = 0;
            [[maybe_unused]] const ssize_t cleared = read(wakeUp_.get(), &signals, sizeof signals);
        }
    }
}

/// Has the observer look around a moment after the last frame, or once a second while they come.
/// @param frameCame  just now
/// @return ms until then, -1 when no frame came since it did
int FrameNet::lookAround(bool frameCame) {
    if ((framesSinceUs_ == 0 && !frameCame) || observer_ == nullptr)
        return -1;
    const u64 nowUs = monotonicUs();
    if (frameCame)
        lastFrameUs_ = nowUs;
    if (framesSinceUs_ == 0)
        framesSinceUs_ = nowUs;
    const u64 quietUs = lastFrameUs_ + kQuietUs;
    const u64 dueUs = std::min(quietUs, framesSinceUs_ + kLookAgainUs);
    if (nowUs < dueUs)
        return static_cast<int>((dueUs - nowUs + 999) / 1000);
    observer_->lookAround();
    framesSinceUs_ = nowUs < quietUs ? nowUs : 0;
    return framesSinceUs_ == 0 ? -1 : static_cast<int>(kQuietUs / 1000);
}

std::shared_ptr<Cable> FrameNet::cableOf(u32 port) {
    const std::lock_guard lock(mutex_);
    const auto found = ports_.find(port);
    return found == ports_.end() ? nullptr : found->second.cable;
}

void FrameNet::receiveFrom(u32 port) {
    const std::shared_ptr<Cable> cable = cableOf(port);
    if (cable == nullptr)
        return;
    const std::size_t count = batch_->receiveFrom(cable->descriptor());
    for (std::size_t i = 0; i < count; ++i) {
        const ReceivedFrame frame = batch_->frame(i);
        frameArrived(port, frame.bytes, frame.tagged);
    }
}

int FrameNet::runReplays() {
    if (!replaying_.load(std::memory_order_relaxed))
        return -1;
    replays_.clear();
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [unit, cabled] : ports_)
            if (cabled.replay != nullptr)
                replays_.emplace_back(unit, cabled.replay);
        replaying_ = !replays_.empty();
    }
    u64 soonestUs = ULLONG_MAX;
    const u64 nowUs = monotonicUs();
    for (const auto& [unit, replay] : replays_)
        soonestUs = std::min(soonestUs, runReplay(unit, replay, nowUs));
    replays_.clear();
    if (soonestUs == ULLONG_MAX)
        return -1;
    constexpr u64 kLongestWaitMs = 60'000;
    const u64 waitUs = soonestUs > nowUs ? soonestUs - nowUs : 0;
    return static_cast<int>(std::min((waitUs + 999) / 1000, kLongestWaitMs));
}

u64 FrameNet::runReplay(u32 unit, const std::shared_ptr<Replay>& replay, u64 nowUs) {
    if (!replay->isStarted()) {
        const FramePolicy policy = driver_.framePolicy(unit);
        if (!policy.linkUp || !policy.takesPart())
            return nowUs + kReplayRetryUs;
        replay->start(nowUs);
    }
    for (int burst = 0; burst < kReplayBurst; ++burst) {
        const std::optional<std::span<const u8>> frame = replay->next(nowUs);
        if (!frame)
            break;
        frameArrived(unit, *frame, false);
    }
    if (const std::optional<u64> due = replay->dueUs())
        return *due;
    const std::lock_guard lock(mutex_);
    const auto cabled = ports_.find(unit);
    if (cabled != ports_.end() && cabled->second.replay == replay)
        cabled->second.replay.reset();
    return ULLONG_MAX;
}

const PortAnswers& FrameNet::answersOf(u32 port, CabledPort& cabled) const {
    const u32 changes = facts_ == nullptr ? 0 : facts_->changes.load(std::memory_order_acquire);
    PortAnswers& answers = cabled.answers;
    if (changes == 0 || changes != answers.asOf) {
        const FramePolicy policy = driver_.framePolicy(port);
        const u32 egress = driver_.egressPort(port);
        const u32 ofUnit = policy.unit == port ? egress : driver_.egressPort(policy.unit);
        answers = {changes, policy, egress, policy.unit != 0 && ofUnit == port};
    }
    return answers;
}

void FrameNet::frameArrived(u32 port, std::span<const u8> bytes, bool tagged) {
    {
        const std::lock_guard lock(mutex_);
        if (!handleArrived(port, bytes, tagged))
            return;
    }
    for (const std::shared_ptr<Cable>& cable : targets_)
        if (cable->send(bytes, NoRoom::Drop) != 0)
            lostForwarded_.fetch_add(1, std::memory_order_relaxed);
    targets_.clear();
}

bool FrameNet::handleArrived(u32 port, std::span<const u8> bytes, bool tagged) {
    CabledPort& cabled = cabledPort(port);
    const FramePolicy policy = answersOf(port, cabled).policy;
    record(cabled, bytes);
    if (isLooped(cabled, policy, bytes))
        return false;
    if (policy.unit == 0 || !policy.linkUp || !policy.active) {
        ++cabled.counters.droppedDisabled;
        return false;
    }
    if (observer_ != nullptr)
        observer_->frameArrived(policy.unit, bytes);
    if (policy.takesPart()) {
        handOver(policy, bytes, tagged);
        return false;
    }
    if (policy.forwarded && isGroupFrame(bytes) && !tagged) {
        ++cabled.counters.forwarded;
        collectTargets(port, policy);
        return true;
    }
    ++cabledPort(policy.unit).counters.ignored;
    return false;
}

/// A frame of a port that takes part: to the daemon or nowhere.
void FrameNet::handOver(const FramePolicy& policy, std::span<const u8> bytes, bool tagged) {
    CabledPort& cabled = cabledPort(policy.unit);
    const bool over = !tagged && isGroupFrame(bytes) && isOverBudget(cabled);
    const FrameView view = over ? FrameView{} : classifyFrame(bytes);
    DropReason reason = over ? DropReason::OverBudget : tagged ? DropReason::Tagged : view.reason;
    std::optional<Delivery> outcome;
    if (reason == DropReason::None) {
        // First what the port's own wire form depends on: the daemon may answer at once.
        noteSender(cabled, view);
        outcome = offerFrame(policy, view, reason);
    }
    if (observer_ != nullptr)
        observer_->frameHandled(policy.unit, view, reason, outcome);
    countDrop(cabled.counters, reason);
    if (outcome)
        countDelivery(cabled.counters, *outcome, bytes.size());
}

/// Offers a frame in the daemon's form. @return nothing when a standard PDU came to nothing
std::optional<Delivery> FrameNet::offerFrame(const FramePolicy& policy, const FrameView& view,
                                             DropReason& reason) {
    const bool isGvrp = view.kind == FrameKind::Gvrp;
    if (!(isGvrp ? policy.gvrp : policy.mvrp))
        return Delivery::NoSocket;
    const SocketKind kind = isGvrp ? SocketKind::Gvrp : SocketKind::Mvrp;
    FrameMeta meta;
    meta.unit = policy.unit;
    meta.protocol = static_cast<u16>(isGvrp ? kQorProtocolGvrp : kQorProtocolMvrp);
    meta.pduOffset = isGvrp ? u8{kGvrpHeaderBytes} : u8{kNativeHeaderBytes};
    meta.destination = view.destination();
    meta.source = view.source();
    if (view.kind != FrameKind::IeeeMvrp)
        return sockets_.deliver(kind, meta, view.frame);
    ieeeToNative(view, *native_);
    reason = native_->reason;
    std::optional<Delivery> outcome;
    if (native_->leaveAllBytes != 0) {
        outcome = sockets_.deliver(kind, meta,
                                   std::span(native_->leaveAll).first(native_->leaveAllBytes));
    }
    if (native_->vectorBytes != 0) {
        const Delivery vectors =
            sockets_.deliver(kind, meta, std::span(native_->vectors).first(native_->vectorBytes));
        // What was lost of a PDU is what has to be seen.
        outcome = outcome ? std::max(*outcome, vectors) : vectors;
    }
    return outcome;
}

/// A frame of a port that takes no part goes out of every other port that has a cable and a link,
/// once for an aggregation and not back into the one that it came from.
void FrameNet::collectTargets(u32 port, const FramePolicy& policy) {
    targets_.clear();
    for (auto& [unit, cabled] : ports_) {
        if (cabled.cable == nullptr || unit == port)
            continue;
        const PortAnswers& target = answersOf(unit, cabled);
        if (target.leads && target.policy.linkUp && target.policy.unit != policy.unit)
            targets_.push_back(cabled.cable);
    }
}

}  // namespace platform
