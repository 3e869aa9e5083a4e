// SPDX-License-Identifier: MIT
#include "platform/replication/standby_link.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <thread>
#include <utility>

#include "platform/channel/server_socket.h"
#include "platform/contract/management.h"
#include "platform/replication/agreement.h"
#include "platform/runtime/log.h"
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

RequestHeader headerOf(const ManagementCommand& command) {
    const Request request = command.ofPort ? Request::PortSync : Request::ScalarSync;
    return {static_cast<u32>(request), command.unit, command.attribute, sizeof command.value};
}

std::span<const u8> valueOf(const ManagementCommand& command) {
    return {reinterpret_cast<const u8*>(&command.value), sizeof command.value};
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

StandbyLink::StandbyLink(std::string peerPath, CorrectionSet corrections,
                         std::chrono::milliseconds lostAfter)
    : path_(std::move(peerPath)),
      corrections_(corrections),
      lostAfter_(lostAfter),
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

bool StandbyLink::exchange(const Next& next) {
    const Deadline deadline = in(lostAfter_);
    const RequestHeader listHeader{static_cast<u32>(Request::ScalarSync), 0,
                                   MVRP_SCALAR_SYNC_PACKET, kVlanListBytes};
    const auto status = next.setting == nullptr
                            ? requestStatus(connection_.get(), listHeader, next.list, deadline)
                            : requestStatus(connection_.get(), headerOf(next.setting->command),
                                            valueOf(next.setting->command), deadline);
    if (status && next.setting != nullptr)
        answered(*next.setting, *status);
    if (!status && std::chrono::steady_clock::now() >= deadline)
        logMessage(LogPriority::Error, "the standby did not answer within %lld ms; it is cut off",
                   static_cast<long long>(lostAfter_.count()));
    return status.has_value();
}

bool StandbyLink::replay(int connection, const std::vector<ManagementCommand>& commands) const {
    const Deadline deadline = in(kReplayWait);
    std::vector<ManagementCommand> left = commands;
    for (u32 round = 1; round <= kRounds && !left.empty(); round++) {
        std::vector<ManagementCommand> refused;
        for (const ManagementCommand& command : left) {
            const auto status =
                requestStatus(connection, headerOf(command), valueOf(command), deadline);
            if (!status)
                return false;
            if (*status != kStatusOk)
                refused.push_back(command);
            if (*status != kStatusOk && round == kRounds)
                reportRefusal(command, *status);
        }
        left = std::move(refused);
    }
    return true;
}

bool StandbyLink::agree(int connection, std::string& error) const {
    const u32 bits = corrections_.bits();
    const auto reply =
        requestReply(connection, {static_cast<u32>(Request::StandbyAgree), 0, 0, sizeof bits},
                     {reinterpret_cast<const u8*>(&bits), sizeof bits}, in(kReplayWait));
    if (!reply) {
        error = "it does not answer";
        return false;
    }
    // A standby that does not know the request knows no corrections either.
    if (reply->status == static_cast<u32>(HostStatus::Unsupported))
        error = disagreement(corrections_, {});
    else if (reply->status != kStatusOk)
        error = reply->text;
    return error.empty();
}

bool StandbyLink::bringUp(Descriptor connection, std::string& error) {
    if (!agree(connection.get(), error))
        return false;
    error = "it does not answer";
    for (u32 attempt = 0; attempt < kMostReplays; attempt++) {
        std::unique_lock lock(guard_);
        const auto commands = commandsOf(settings_);
        const u64 version = version_;
        lock.unlock();
        if (!replay(connection.get(), commands))
            return false;
        lock.lock();
        if (version != version_)
            continue;
        connection_ = std::move(connection);
        connected_ = true;
        overrun_ = false;
        logMessage(LogPriority::Notice, "the standby at %s is connected and told %zu settings",
                   path_.c_str(), commands.size());
        return true;
    }
    return false;
}

bool StandbyLink::waitForWork() {
    {
        const std::lock_guard lock(guard_);
        if (overrun_ || !waiting_.empty() || !lists_.empty())
            return !overrun_;
        asleep_ = true;
    }
    std::array<pollfd, 2> entries = {{{connection_.get(), POLLRDHUP, 0}, {wake_.get(), POLLIN, 0}}};
    poll(entries.data(), entries.size(), -1);
    eventfd_t ignored = 0;
    eventfd_read(wake_.get(), &ignored);
    const std::lock_guard lock(guard_);
    asleep_ = false;
    return entries[0].revents == 0;
}

void StandbyLink::sendWhatWaits() {
    Next next;
    while (!stopping_ && waitForWork())
        while (takeNext(next))
            if (!exchange(next))
                return;
}

void StandbyLink::disconnect() {
    const std::lock_guard lock(guard_);
    connected_ = false;
    connection_ = Descriptor();
    lists_.clear();
    for (const auto& setting : waiting_)
        setting->done = true;
    waiting_.clear();
    settled_.notify_all();
    if (!stopping_)
        logMessage(LogPriority::Warning, "the standby at %s is gone", path_.c_str());
}

bool StandbyLink::pause() {
    for (auto waited = kLook; waited <= kPeerRetry && !stopping_; waited += kLook)
        std::this_thread::sleep_for(kLook);
    return !stopping_;
}

void StandbyLink::keepConnected() {
    do {
        std::string error;
        Descriptor connection = connectUnix(path_, error);
        if (connection.isOpen() && bringUp(std::move(connection), error)) {
            reported_.clear();
            sendWhatWaits();
            disconnect();
        } else if (error != reported_) {
            logMessage(LogPriority::Warning, "no standby at %s (%s); looking for it every %lld ms",
                       path_.c_str(), error.c_str(), static_cast<long long>(kPeerRetry.count()));
            reported_ = error;
        }
    } while (pause());
}

}  // namespace platform
