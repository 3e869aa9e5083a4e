// SPDX-License-Identifier: MIT
#include "platform/replication/role.h"

#include <unistd.h>

#include <chrono>
#include <thread>
#include <utility>

#include "platform/channel/dispatcher.h"
#include "platform/runtime/log_line.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr std::chrono::milliseconds kLook{50};
constexpr u32 kMeasureStack = 64 * 1024;

Pair::Time now() {
    return std::chrono::steady_clock::now();
}

PairConfig pairConfig(const StandbyConfig& config, CorrectionSet corrections) {
    PairConfig pair;
    pair.role = config.role;
    pair.listens = !config.listenPath.empty();
    pair.lostAfter = std::chrono::milliseconds(config.lostAfterMs);
    pair.takeOverAfter = std::chrono::seconds(config.takeOverAfterS);
    pair.corrections = corrections;
    pair.process = static_cast<u32>(getpid());
    return pair;
}

}  // namespace

StandbyRole::StandbyRole(const StandbyConfig& config, CorrectionSet corrections,
                         CommandServer& server, std::function<void(HostRole)> changeRole)
    : config_(config),
      server_(server),
      changeRole_(std::move(changeRole)),
      applied_(config.role),
      role_(config.role),
      pair_(pairConfig(config, corrections), now()) {}

StandbyRole::~StandbyRole() {
    stopping_ = true;
    while (running_)
        std::this_thread::sleep_for(kLook / 10);
}

bool StandbyRole::otherThere() const {
    const std::lock_guard lock(guard_);
    return pair_.otherThere();
}

LinkOwner StandbyRole::linkOwner() {
    LinkOwner owner;
    owner.state = [this] {
        const std::lock_guard lock(guard_);
        return pair_.state();
    };
    owner.heard = [this](const LinkState& other) {
        const std::lock_guard lock(guard_);
        const PairChange change = pair_.heard(other, now());
        changed(change);
        if (change != PairChange::None)
            server_.post([this] { applyRole(); });
    };
    owner.lost = [this] {
        const std::lock_guard lock(guard_);
        pair_.lost();
    };
    return owner;
}

bool StandbyRole::start(std::string& error) {
    if (!config_.configured)
        return true;
    const auto gone = [this](u64 client) {
        const std::lock_guard lock(guard_);
        if (pair_.isPeer(client))
            logEvent(LogPriority::Warning, LogEvent::StandbyLost,
                     "the other end of the pair is gone");
        pair_.gone(client);
    };
    if (listens() && !server_.openForPeer(config_.listenPath, error, gone))
        return false;
    running_ = startThread("mvrppair", kMeasureStack, [this] { measure(); });
    if (!running_)
        error = "no thread to wait for the other end of the pair";
    return running_;
}

/// Time passes in the command task, where what the other end said is read first.
void StandbyRole::measure() {
    while (!stopping_) {
        if (!ticking_.exchange(true))
            server_.post([this] { tick(); });
        std::this_thread::sleep_for(kLook);
    }
    running_ = false;
}

void StandbyRole::tick() {
    ticking_ = false;
    {
        const std::lock_guard lock(guard_);
        if (pair_.tick(now()) == PairChange::TookOver)
            becomeActive("the active has been silent for the configured time");
    }
    applyRole();
}

void StandbyRole::becomeActive(const char* reason) {
    server_.end(pair_.takeOver(now()));
    role_ = pair_.role();
    logEvent(LogPriority::Notice, LogEvent::RoleTaken, "taking over as the active: %s", reason);
}

void StandbyRole::changed(PairChange change) {
    role_ = pair_.role();
    const u32 process = pair_.otherProcess();
    if (change == PairChange::StoodBack)
        logMessage(LogPriority::Error,
                   "two actives: process %u has been one for longer, or was made one by a person; "
                   "this one stands back and is the standby now",
                   process);
    if (change == PairChange::OtherStoodBack)
        logMessage(LogPriority::Error,
                   "two actives: this one has been one for longer, or was made one by a person, "
                   "and goes on; process %u is to stand back",
                   process);
}

void StandbyRole::applyRole() {
    const HostRole wanted = role_;
    if (std::exchange(applied_, wanted) != wanted)
        changeRole_(wanted);
}

void StandbyRole::reportRefusal(const std::string& refusal) {
    if (!refusal.empty() && refusal != refused_)
        logMessage(LogPriority::Error, "the other end of the pair is refused: %s", refusal.c_str());
    refused_ = refusal;
}

u32 StandbyRole::served(const Pair::Answer& answer, const std::vector<u8>& text,
                        std::vector<u8>& reply) {
    if (answer.ended != 0)
        server_.end(answer.ended);
    changed(answer.change);
    reportRefusal(answer.status == kStatusOk ? std::string()
                                             : std::string(text.begin(), text.end()));
    reply.insert(reply.end(), text.begin(), text.end());
    return answer.status;
}

u32 StandbyRole::hello(std::span<const u8> value, std::vector<u8>& reply) {
    const u64 client = server_.serving();
    u32 status = kStatusOk;
    {
        const std::lock_guard lock(guard_);
        std::vector<u8> text;
        status = served(pair_.hello(client, value, now(), text), text, reply);
    }
    if (status == kStatusOk)
        server_.keep(client);
    applyRole();
    return status;
}

u32 StandbyRole::beat(std::span<const u8> value, std::vector<u8>& reply) {
    u32 status = kStatusOk;
    {
        const std::lock_guard lock(guard_);
        std::vector<u8> text;
        status = served(pair_.beat(server_.serving(), value, now(), text), text, reply);
    }
    applyRole();
    return status;
}

u32 StandbyRole::oldHello(std::vector<u8>& reply) {
    const std::string problem = versionProblem(1);
    const std::lock_guard lock(guard_);
    reportRefusal(problem);
    reply.insert(reply.end(), problem.begin(), problem.end());
    return kBadArgument;
}

std::string StandbyRole::takeOver(TakeOverForce force) {
    {
        const std::lock_guard lock(guard_);
        if (pair_.role() == HostRole::Active)
            return "this is the active already; allowed: on a standby";
        if (pair_.otherIsActive() && force != TakeOverForce::Yes)
            return "the active, process " + std::to_string(pair_.otherProcess()) +
                   ", answers, and both would speak until it stands back; allowed: when it has "
                   "ended, or with --force";
        becomeActive("a person asked for it");
    }
    applyRole();
    return {};
}

StandbyInfoRecord StandbyRole::info() const {
    const std::lock_guard lock(guard_);
    const PairView view = pair_.view(now());
    StandbyInfoRecord record{};
    record.configured = config_.configured ? 1 : 0;
    record.role = static_cast<u32>(view.role);
    record.otherThere = view.other ? 1 : 0;
    record.otherRole = view.other ? view.other->role : 0;
    record.otherProcess = view.other ? view.other->process : 0;
    record.heardAgoMs = static_cast<u64>(view.heardAgo.count());
    if (view.lastTwo != PairChange::None)
        record.twoActives = static_cast<u32>(
            view.lastTwo == PairChange::StoodBack ? TwoActives::StoodBack : TwoActives::WentOn);
    record.twoActivesAgoMs = static_cast<u64>(view.lastTwoAgo.count());
    return record;
}

void StandbyRole::end() const {
    if (config_.configured && listens())
        unlink(config_.listenPath.c_str());
}

}  // namespace platform
