// SPDX-License-Identifier: MIT
#include "platform/command/server.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/runtime/log.h"

namespace platform {
namespace {

constexpr std::size_t kEventsPerWait = 32;
constexpr int kForEver = -1;
constexpr int kRetryAcceptMs = 1000;

}  // namespace

CommandServer::CommandServer(RequestServer requests, CommandAccess access)
    : requests_(std::move(requests)),
      access_(access),
      poll_(epoll_create1(EPOLL_CLOEXEC)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CommandServer::~CommandServer() = default;

void CommandServer::watch(int descriptor, u32 events, bool known) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    epoll_ctl(poll_.get(), known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, descriptor, &event);
}

bool CommandServer::open(const std::string& path, std::string& error) {
    if (!poll_.isOpen() || !wake_.isOpen()) {
        error = errorText(errno);
        return false;
    }
    listener_ = listenUnix(path, access_.group, error);
    if (!listener_.isOpen())
        return false;
    watch(wake_.get(), EPOLLIN, false);
    watch(listener_.get(), EPOLLIN, false);
    return true;
}

void CommandServer::stop() {
    post([this] {
        const std::lock_guard lock(guard_);
        stopping_ = true;
    });
}

void CommandServer::post(std::function<void()> work) {
    {
        const std::lock_guard lock(guard_);
        posted_.push_back(std::move(work));
    }
    eventfd_write(wake_.get(), 1);
}

void CommandServer::runPosted() {
    eventfd_t ignored = 0;
    eventfd_read(wake_.get(), &ignored);
    std::vector<std::function<void()>> posted;
    {
        const std::lock_guard lock(guard_);
        posted.swap(posted_);
    }
    for (const auto& work : posted)
        work();
}

void CommandServer::acceptOne(Descriptor connection) {
    std::string who;
    if (!peerMayConnect(connection.get(), access_, who)) {
        logMessage(LogPriority::Warning, "command channel: %s may not use it", who.c_str());
        return;
    }
    if (clients_.size() == kMaxClients) {
        logMessage(LogPriority::Warning,
                   "command channel: %s turned away, %zu clients are the most", who.c_str(),
                   kMaxClients);
        return;
    }
    const int descriptor = connection.get();
    watch(descriptor, EPOLLIN, false);
    clients_.emplace(descriptor, std::make_unique<ClientConnection>(std::move(connection)));
}

void CommandServer::acceptClients() {
    for (;;) {
        Descriptor connection(
            accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (connection.isOpen()) {
            acceptOne(std::move(connection));
            continue;
        }
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        if (errno != EAGAIN) {
            logMessage(LogPriority::Error, "command channel: no new client: %s",
                       errorText(errno).c_str());
            watch(listener_.get(), 0, true);
            acceptPaused_ = true;
        }
        return;
    }
}

/// Watches a client for what it can do next, or lets it go.
void CommandServer::settle(ClientConnection& client) {
    const int descriptor = client.descriptor();
    if (client.finished()) {
        clients_.erase(descriptor);  // closing it ends the watch
        return;
    }
    const u32 events =
        (client.wantsToRead() ? u32{EPOLLIN} : 0U) | (client.wantsToWrite() ? u32{EPOLLOUT} : 0U);
    watch(descriptor, events, true);
}

void CommandServer::handle(int descriptor, u32 events) {
    if (descriptor == listener_.get())
        return acceptClients();
    if (descriptor == wake_.get())
        return runPosted();
    const auto found = clients_.find(descriptor);
    if (found == clients_.end())
        return;
    ClientConnection& client = *found->second;
    const bool dead = (events & (EPOLLHUP | EPOLLERR)) != 0 && !client.wantsToRead();
    if (dead) {
        clients_.erase(found);
        return;
    }
    client.send();
    client.receive();
    client.serve(requests_);
    settle(client);
}

/// Gives every client that has requests left its turn. @return whether any still has
bool CommandServer::serveWaiting() {
    bool waiting = false;
    for (auto next = clients_.begin(); next != clients_.end();) {
        ClientConnection& client = *(next++)->second;
        if (!client.wantsToServe())
            continue;
        client.serve(requests_);
        waiting = waiting || client.wantsToServe();
        settle(client);
    }
    return waiting;
}

void CommandServer::run() {
    std::array<epoll_event, kEventsPerWait> events{};
    bool waiting = false;
    for (;;) {
        const int wait = waiting ? 0 : acceptPaused_ ? kRetryAcceptMs : kForEver;
        const int count =
            epoll_wait(poll_.get(), events.data(), static_cast<int>(events.size()), wait);
        if (std::exchange(acceptPaused_, false))
            watch(listener_.get(), EPOLLIN, true);
        for (int index = 0; index < count; index++)
            handle(events[static_cast<std::size_t>(index)].data.fd,
                   events[static_cast<std::size_t>(index)].events);
        waiting = serveWaiting();
        const std::lock_guard lock(guard_);
        if (stopping_)
            return;
    }
}

}  // namespace platform
