// SPDX-License-Identifier: MIT
#include "platform/replication/standby_link.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

#include "platform/channel/access.h"
#include "platform/channel/server_socket.h"
#include "platform/contract/management.h"
#include "platform/runtime/log_line.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kLinkStack = 256 * 1024;
/// How often the thread looks whether it is to end.
constexpr std::chrono::milliseconds kLook{100};
/// Settings may change while the standby is told; it is told again, but not for ever.
constexpr u32 kMostReplays = 5;
/// Times are checked against each other one by one: a refused one may be accepted after the others.
constexpr u32 kRounds = 3;

RequestHeader headerOf(Request request, std::size_t bytes) {
    return {static_cast<u32>(request), 0, 0, static_cast<u32>(bytes)};
}

RequestHeader headerOf(const ManagementCommand& command) {
    const Request request = command.ofPort ? Request::PortSync : Request::ScalarSync;
    return {static_cast<u32>(request), command.unit, command.attribute, sizeof command.value};
}

std::span<const u8> valueOf(const ManagementCommand& command) {
    return {reinterpret_cast<const u8*>(&command.value), sizeof command.value};
}

std::span<const u8> valueOf(const PeerReply& reply) {
    return {reinterpret_cast<const u8*>(reply.text.data()), reply.text.size()};
}

template <typename Record>
std::span<const u8> bytesOf(const Record& record) {
    return {reinterpret_cast<const u8*>(&record), sizeof record};
}

Deadline in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
}

void reportRefusal(const ManagementCommand& command, u32 status) {
    logMessage(LogPriority::Warning,
               "the standby refused %s %u attribute %u value %u with status %u (0x%x)",
               command.ofPort ? "port" : "scalar", command.unit, command.attribute, command.value,
               status, status);
}

}  // namespace

StandbyLink::StandbyLink(const StandbyConfig& config, CorrectionSet corrections, LinkOwner owner)
    : path_(config.peerPath),
      corrections_(corrections),
      heartbeat_(config.heartbeatMs),
      lostAfter_(config.lostAfterMs),
      owner_(std::move(owner)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

StandbyLink::~StandbyLink() {
    stopping_ = true;
    eventfd_write(wake_.get(), 1);
    while (running_)
        std::this_thread::sleep_for(kLook / 10);
}

bool StandbyLink::start() {
    running_ = true;
    const bool started = startThread("mvrpstandby", kLinkStack, [this] {
        keepConnected();
        running_ = false;
    });
    if (!started)
        running_ = false;
    return started;
}

void StandbyLink::wake() {
    if (std::exchange(asleep_, false))
        eventfd_write(wake_.get(), 1);
}

u32 StandbyLink::carry(const ManagementCommand& command, Deadline until) {
    std::unique_lock lock(guard_);
    if (connected_ && waiting_.size() >= kMostWaitingSettings) {
        overrun_ = true;
    } else if (connected_) {
        const auto setting = std::make_shared<Setting>(Setting{command});
        waiting_.push_back(setting);
        wake();
        settled_.wait_until(lock, until, [&setting] { return setting->done; });
        setting->awaited = false;
        if (setting->status != kStatusOk) {
            reportRefusal(command, setting->status);
            return setting->status;
        }
    }
    applyCommand(settings_, command);
    version_++;
    return kStatusOk;
}

u32 StandbyLink::carryPacket(std::span<const u8> packet) {
    const std::lock_guard lock(guard_);
    if (!connected_)
        return kStatusOk;
    if (!lists_.put(packet))
        return static_cast<u32>(HostStatus::BadArgument);
    wake();
    return kStatusOk;
}

bool StandbyLink::takeNext(Next& next) {
    const std::lock_guard lock(guard_);
    next.setting = waiting_.empty() ? nullptr : waiting_.front();
    if (overrun_ || (next.setting == nullptr && !lists_.take(next.list)))
        return false;
    if (const u64 dropped = lists_.dropped(); dropped != reportedDropped_) {
        logMessage(LogPriority::Warning,
                   "the standby is too far behind: %llu lists of ports were not told",
                   static_cast<unsigned long long>(dropped - reportedDropped_));
        reportedDropped_ = dropped;
    }
    return true;
}

void StandbyLink::answered(Setting& setting, u32 status) {
    const std::lock_guard lock(guard_);
    setting.done = true;
    setting.status = status;
    waiting_.pop_front();
    settled_.notify_all();
    if (status != kStatusOk && !setting.awaited)
        reportRefusal(setting.command, status);
}

std::optional<PeerReply> StandbyLink::ask(const RequestHeader& header, std::span<const u8> value) {
    const Deadline deadline = in(lostAfter_);
    auto reply = requestReply(connection_.get(), header, value, deadline);
    if (!reply && std::chrono::steady_clock::now() >= deadline && ownRole_ != 0)
        logMessage(LogPriority::Error, "the standby did not answer within %lld ms; it is cut off",
                   static_cast<long long>(lostAfter_.count()));
    return reply;
}

bool StandbyLink::exchange(const Next& next) {
    const RequestHeader listHeader{static_cast<u32>(Request::ScalarSync), 0,
                                   MVRP_SCALAR_SYNC_PACKET, kVlanListBytes};
    const auto reply = next.setting == nullptr
                           ? ask(listHeader, next.list)
                           : ask(headerOf(next.setting->command), valueOf(next.setting->command));
    if (reply && next.setting != nullptr)
        answered(*next.setting, reply->status);
    return reply.has_value();
}

bool StandbyLink::asTheyMet(const LinkState& other) {
    roleChanged_ = owner_.state().role != ownRole_ || other.role != otherRole_;
    return !roleChanged_;
}

bool StandbyLink::beat() {
    if (std::chrono::steady_clock::now() < nextBeat_)
        return true;
    nextBeat_ = in(heartbeat_);
    const LinkBeat own{sent_.next(), owner_.state()};
    const auto reply = ask(headerOf(Request::StandbyBeat, sizeof own), bytesOf(own));
    if (!reply)
        return false;
    std::string problem = reply->text;
    const auto other =
        reply->status == kStatusOk ? readBeat(valueOf(*reply), problem) : std::nullopt;
    if (other && !received_.follows(other->sequence))
        problem = "heartbeat " + std::to_string(other->sequence) + " is out of turn";
    else if (other)
        problem.clear();
    if (!problem.empty() || !other) {
        logMessage(LogPriority::Error, "the other end of the pair at %s is cut off: %s",
                   path_.c_str(), problem.c_str());
        return false;
    }
    owner_.heard(other->state);
    return asTheyMet(other->state);
}

bool StandbyLink::replay(const std::vector<ManagementCommand>& commands) {
    std::vector<ManagementCommand> left = commands;
    for (u32 round = 1; round <= kRounds && !left.empty(); round++) {
        std::vector<ManagementCommand> refused;
        for (const ManagementCommand& command : left) {
            if (!beat())
                return false;
            const auto reply = ask(headerOf(command), valueOf(command));
            if (!reply)
                return false;
            if (reply->status != kStatusOk)
                refused.push_back(command);
            if (reply->status != kStatusOk && round == kRounds)
                reportRefusal(command, reply->status);
        }
        left = std::move(refused);
    }
    return true;
}

bool StandbyLink::meet(std::string& error) {
    const Peer peer = peerOf(connection_.get(), CommandAccess{});
    if (peer.rank != PeerRank::Owner) {
        error = "it is served by " + peer.who + "; allowed: root or the user of this daemon";
        return false;
    }
    const LinkHello own{owner_.state(), corrections_.bits(), static_cast<u32>(heartbeat_.count())};
    const auto reply = ask(headerOf(Request::StandbyHello, sizeof own), bytesOf(own));
    error = "it does not answer";
    if (!reply)
        return false;
    error = reply->text;
    // A standby of the first version does not know the request.
    if (reply->status == static_cast<u32>(HostStatus::Unsupported))
        error = versionProblem(1);
    const auto other =
        reply->status == kStatusOk ? readState(valueOf(*reply), error) : std::nullopt;
    if (!other)
        return false;
    sent_ = received_ = {};
    nextBeat_ = in(heartbeat_);
    owner_.heard(*other);
    ownRole_ = owner_.state().role;
    otherRole_ = other->role;
    return true;
}

bool StandbyLink::tellSettings(std::string& error) {
    error = "it does not answer";
    for (u32 attempt = 0; attempt < kMostReplays; attempt++) {
        std::unique_lock lock(guard_);
        const auto commands = commandsOf(settings_);
        const u64 version = version_;
        lock.unlock();
        if (!replay(commands))
            return false;
        lock.lock();
        if (version != version_)
            continue;
        connected_ = true;
        overrun_ = false;
        lock.unlock();
        logEvent(LogPriority::Notice, LogEvent::StandbyFound,
                 "the standby at %s is connected and told %zu settings", path_.c_str(),
                 commands.size());
        return true;
    }
    return false;
}

bool StandbyLink::bringUp(Descriptor connection, std::string& error) {
    connection_ = std::move(connection);
    ownRole_ = otherRole_ = 0;
    if (!meet(error))
        return false;
    const bool isTold = ownRole_ == static_cast<u32>(HostRole::Active) &&
                        otherRole_ == static_cast<u32>(HostRole::Standby);
    return !isTold || tellSettings(error);
}

bool StandbyLink::waitForWork() {
    {
        const std::lock_guard lock(guard_);
        if (overrun_ || !waiting_.empty() || !lists_.empty())
            return !overrun_;
        asleep_ = true;
    }
    std::array<pollfd, 2> entries = {{{connection_.get(), POLLRDHUP, 0}, {wake_.get(), POLLIN, 0}}};
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(nextBeat_ - std::chrono::steady_clock::now());
    poll(entries.data(), entries.size(), static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    eventfd_t ignored = 0;
    eventfd_read(wake_.get(), &ignored);
    const std::lock_guard lock(guard_);
    asleep_ = false;
    return entries[0].revents == 0;
}

void StandbyLink::sendWhatWaits() {
    Next next;
    while (!stopping_ && waitForWork()) {
        if (!beat())
            return;
        while (takeNext(next))
            if (!exchange(next) || !beat())
                return;
    }
}

void StandbyLink::disconnect() {
    owner_.lost();
    connection_ = Descriptor();
    if (connected_.exchange(false) && !stopping_)
        logEvent(LogPriority::Warning, LogEvent::StandbyLost, "the standby at %s is gone",
                 path_.c_str());
    const std::lock_guard lock(guard_);
    lists_.clear();
    for (const auto& setting : waiting_)
        setting->done = true;
    waiting_.clear();
    settled_.notify_all();
}

bool StandbyLink::pause() {
    if (std::exchange(roleChanged_, false))
        return !stopping_;
    for (auto waited = kLook; waited <= kPeerRetry && !stopping_; waited += kLook)
        std::this_thread::sleep_for(kLook);
    return !stopping_;
}

void StandbyLink::keepConnected() {
    do {
        std::string error;
        Descriptor connection = connectUnix(path_, error);
        const bool met = connection.isOpen() && bringUp(std::move(connection), error);
        if (met) {
            reported_.clear();
            sendWhatWaits();
        } else if (error != reported_) {
            logMessage(LogPriority::Warning,
                       "no other end of the pair at %s (%s); looking for it every %lld ms",
                       path_.c_str(), error.c_str(), static_cast<long long>(kPeerRetry.count()));
            reported_ = error;
        }
        disconnect();
    } while (pause());
}

}  // namespace platform
