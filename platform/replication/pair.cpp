// SPDX-License-Identifier: MIT
#include "platform/replication/pair.h"

#include <algorithm>
#include <utility>

#include "platform/replication/agreement.h"

namespace platform {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

u64 nanoseconds(Pair::Time time) {
    return static_cast<u64>(
        duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count());
}

template <typename Record>
void append(std::vector<u8>& reply, const Record& record) {
    const auto* bytes = reinterpret_cast<const u8*>(&record);
    reply.insert(reply.end(), bytes, bytes + sizeof record);
}

}  // namespace

Pair::Pair(const PairConfig& config, Time now)
    : config_(config), role_(config.role), ticked_(now), lastTwoAt_(now) {
    if (role_ == HostRole::Active)
        activeSinceNs_ = nanoseconds(now);
}

LinkState Pair::state() const {
    return {kLinkVersion, static_cast<u32>(role_), config_.process, 0, forcedAtNs_, activeSinceNs_};
}

Pair::Answer Pair::refuse(std::string problem, std::vector<u8>& reply) const {
    reply.insert(reply.end(), problem.begin(), problem.end());
    return {static_cast<u32>(HostStatus::BadArgument), PairChange::None, 0};
}

std::string Pair::helloProblem(u64 client, const LinkHello& hello) const {
    if (peer_ != 0 && peer_ != client && otherThere())
        return "process " + std::to_string(other_->process) +
               " is the peer already; allowed: one at a time";
    if (hello.heartbeatMs == 0 || milliseconds(hello.heartbeatMs) * 2 > config_.lostAfter)
        return "a heartbeat every " + std::to_string(hello.heartbeatMs) +
               " ms, and here an end is lost after " + std::to_string(config_.lostAfter.count()) +
               "; allowed: [standby] lost-after of at least two heartbeats of the other end";
    const CorrectionSet theirs = CorrectionSet::ofBits(hello.corrections);
    return role_ == HostRole::Standby ? disagreement(theirs, config_.corrections)
                                      : disagreement(config_.corrections, theirs);
}

Pair::Answer Pair::hello(u64 client, std::span<const u8> value, Time now, std::vector<u8>& reply) {
    std::string problem;
    const auto hello = readHello(value, problem);
    if (hello)
        problem = helloProblem(client, *hello);
    if (!problem.empty())
        return refuse(std::move(problem), reply);
    Answer answer;
    answer.ended = peer_ == client ? 0 : peer_;
    peer_ = client;
    sent_ = received_ = {};
    const LinkState before = state();
    answer.change = heard(hello->state, now);
    append(reply, answer.change == PairChange::StoodBack ? before : state());
    return answer;
}

Pair::Answer Pair::beat(u64 client, std::span<const u8> value, Time now, std::vector<u8>& reply) {
    std::string problem;
    const auto beat = readBeat(value, problem);
    if (!isPeer(client))
        problem = "a heartbeat of no peer; allowed: after a hello";
    else if (beat && !received_.follows(beat->sequence))
        problem = "heartbeat " + std::to_string(beat->sequence) +
                  " is out of turn; allowed: each once, in their order";
    if (!problem.empty()) {
        Answer answer = refuse(std::move(problem), reply);
        answer.ended = isPeer(client) ? client : 0;
        gone(client);
        return answer;
    }
    Answer answer;
    const LinkState before = state();
    answer.change = heard(beat->state, now);
    append(reply,
           LinkBeat{sent_.next(), answer.change == PairChange::StoodBack ? before : state()});
    return answer;
}

void Pair::gone(u64 client) {
    if (!isPeer(client))
        return;
    peer_ = 0;
    lost();
}

void Pair::lost() {
    other_.reset();
}

PairChange Pair::heard(const LinkState& other, Time now) {
    other_ = other;
    silence_ = {};
    if (!isActive(other))
        return PairChange::None;
    absence_ = {};
    if (role_ != HostRole::Active)
        return PairChange::None;
    if (goesOn(state(), other, config_.listens)) {
        lastTwo_ = PairChange::OtherStoodBack;
    } else {
        role_ = HostRole::Standby;
        forcedAtNs_ = activeSinceNs_ = 0;
        lastTwo_ = PairChange::StoodBack;
    }
    lastTwoAt_ = now;
    return lastTwo_;
}

PairChange Pair::tick(Time now) {
    const auto most = std::chrono::nanoseconds(config_.lostAfter) / kUnseenParts;
    const auto passed = std::min<std::chrono::nanoseconds>(now - ticked_, most);
    ticked_ = now;
    silence_ += passed;
    absence_ += passed;
    if (role_ != HostRole::Standby || config_.takeOverAfter.count() == 0 ||
        absence_ < config_.takeOverAfter)
        return PairChange::None;
    return PairChange::TookOver;
}

u64 Pair::takeOver(Time now) {
    // Who takes over from an active that answers was told to, and is not to be outranked by its
    // age.
    forcedAtNs_ = otherIsActive() ? nanoseconds(now) : 0;
    activeSinceNs_ = nanoseconds(now);
    role_ = HostRole::Active;
    lost();
    return std::exchange(peer_, 0);
}

PairView Pair::view(Time now) const {
    PairView view{role_, otherThere() ? other_ : std::nullopt,
                  duration_cast<milliseconds>(silence_)};
    view.lastTwo = lastTwo_;
    view.lastTwoAgo = duration_cast<milliseconds>(now - lastTwoAt_);
    return view;
}

}  // namespace platform
