// SPDX-License-Identifier: MIT
#include "platform/channel/server.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <utility>

#include "platform/channel/rights.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

constexpr std::size_t kEventsPerWait = 32;
constexpr int kForEver = -1;
constexpr int kRetryAcceptMs = 1000;

/// Serves what only reads, and refuses everything else with a text.
RequestServer readersOnly(const RequestServer& all) {
    return [&all](const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) {
        if (onlyReads(static_cast<Request>(header.request)))
            return all(header, value, reply);
        const std::string_view text = kReadOnlyText;
        reply.insert(reply.end(), text.begin(), text.end());
        return static_cast<u32>(HostStatus::NotAllowed);
    };
}

}  // namespace

CommandServer::CommandServer(RequestServer requests, CommandAccess access,
                             std::chrono::milliseconds idle)
    : requests_(std::move(requests)),
      readRequests_(readersOnly(requests_)),
      access_(access),
      idle_(idle),
      poll_(epoll_create1(EPOLL_CLOEXEC)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    waitFor(wake_.get(), EPOLLIN, false);
}

void CommandServer::waitFor(int descriptor, u32 events, bool known) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    epoll_ctl(poll_.get(), known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, descriptor, &event);
}

void CommandServer::waitForListeners(u32 events) {
    for (const auto& [descriptor, listener] : listeners_)
        waitFor(descriptor, events, true);
}

bool CommandServer::openForReaders(const std::string& path, std::string& error) {
    return open(path, error, Kind::Readers, {});
}

CommandAccess CommandServer::accessTo(Kind kind) const {
    return kind == Kind::Peer ? CommandAccess{} : access_;
}

bool CommandServer::open(const std::string& path, std::string& error, Kind kind,
                         std::function<void(u64)> gone) {
    if (!poll_.isOpen() || !wake_.isOpen()) {
        error = errorText(errno);
        return false;
    }
    const CommandAccess access = accessTo(kind);
    Descriptor socket =
        listenUnix(path, kind == Kind::Readers ? access.readers : access.group, error);
    if (!socket.isOpen())
        return false;
    keepSpare();
    const int descriptor = socket.get();
    listeners_.emplace(descriptor, Listener{path, std::move(socket), kind});
    if (kind == Kind::Peer)
        peerGone_ = std::move(gone);
    waitFor(descriptor, EPOLLIN, false);
    return true;
}

void CommandServer::close(const std::string& path) {
    const auto found = std::ranges::find_if(
        listeners_, [&path](const auto& entry) { return entry.second.path == path; });
    if (found == listeners_.end())
        return;
    // One of them may be in the middle of the request that asks for this.
    for (auto& [descriptor, client] : clients_)
        if (client.listener == found->first)
            client.connection->endService();
    closed_ = true;
    unlink(path.c_str());
    listeners_.erase(found);
}

CommandServer::Client* CommandServer::find(u64 number) {
    const auto found = std::ranges::find_if(
        clients_, [number](const auto& entry) { return entry.second.number == number; });
    return found == clients_.end() ? nullptr : &found->second;
}

void CommandServer::keep(u64 client) {
    if (Client* found = find(client))
        found->mayIdle = true;
}

void CommandServer::end(u64 client) {
    if (Client* found = find(client)) {
        found->mayIdle = false;
        found->connection->endService();
        closed_ = true;
    }
}

const std::string& CommandServer::servingWho() const {
    static const std::string kNobody;
    return serving_ == nullptr || serving_->ofPeer ? kNobody : serving_->who;
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

void CommandServer::acceptOne(const Listener& listener, Descriptor connection) {
    const Peer peer = peerOf(connection.get(), accessTo(listener.kind));
    const bool may = peer.rank != PeerRank::Stranger;
    if (!may || !makeRoom(peer.rank)) {
        if (const auto left = turnedAway_.mayLog())
            logMessage(LogPriority::Warning, "%s: %s %s%s", listener.path.c_str(), peer.who.c_str(),
                       may ? "turned away, there are as many clients as are served at a time"
                           : "may not use it",
                       LogLimit::leftOut(*left).c_str());
        return;
    }
    const int descriptor = connection.get();
    waitFor(descriptor, EPOLLIN, false);
    Client& client = clients_[descriptor];
    client.connection = std::make_unique<ClientConnection>(std::move(connection), malformed_);
    client.rank = peer.rank;
    client.listener = listener.socket.get();
    client.ofPeer = listener.kind == Kind::Peer;
    client.mayOnlyRead = listener.kind == Kind::Readers || peer.rank == PeerRank::Reader;
    client.number = ++lastNumber_;
    client.who = peer.who;
}

bool CommandServer::makeRoom(PeerRank rank) {
    if (clients_.size() < kMaxClients)
        return true;
    if (rank != PeerRank::Owner)
        return false;
    auto chosen = clients_.end();
    const auto givesWay = [](const Client& client) {
        return std::pair(client.rank, client.connection->lastActive());
    };
    for (auto client = clients_.begin(); client != clients_.end(); ++client)
        if (!client->second.mayIdle &&
            (chosen == clients_.end() || givesWay(client->second) < givesWay(chosen->second)))
            chosen = client;
    if (chosen == clients_.end())
        return false;
    forget(chosen);
    return true;
}

int CommandServer::endIdle() {
    const auto now = ClientConnection::Clock::now();
    auto next = ClientConnection::Clock::time_point::max();
    for (auto client = clients_.begin(); client != clients_.end();) {
        const auto until = client->second.connection->lastActive() + idle_;
        if (client->second.mayIdle) {
            ++client;
        } else if (until <= now) {
            client = forget(client);
        } else {
            next = std::min(next, until);
            ++client;
        }
    }
    if (next == ClientConnection::Clock::time_point::max())
        return kForEver;
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(next - now).count());
}

Descriptor CommandServer::takeDescriptor() {
    return serving_ == nullptr ? Descriptor() : serving_->connection->takeDescriptor();
}

void CommandServer::serve(Client& client) {
    serving_ = &client;
    client.connection->serve(client.mayOnlyRead ? readRequests_ : requests_);
    serving_ = nullptr;
}

void CommandServer::working(bool begins) {
    workingSince_ = begins ? ClientConnection::Clock::now().time_since_epoch().count() : 0;
}

std::chrono::milliseconds CommandServer::busyFor() const {
    using Clock = ClientConnection::Clock;
    const Clock::rep since = workingSince_;
    if (since == 0)
        return {};
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        Clock::now() - Clock::time_point(Clock::duration(since)));
}

CommandServer::Clients::iterator CommandServer::forget(Clients::iterator client) {
    const u64 number = client->second.ofPeer ? client->second.number : 0;
    const auto next = clients_.erase(client);  // closing the connection ends the polling
    if (number != 0)
        peerGone_(number);
    return next;
}

void CommandServer::keepSpare() {
    if (!spare_.isOpen())
        spare_ = Descriptor(eventfd(0, EFD_CLOEXEC));
}

void CommandServer::acceptClients(const Listener& listener) {
    keepSpare();
    for (;;) {
        Descriptor connection(
            accept4(listener.socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (connection.isOpen()) {
            acceptOne(listener, std::move(connection));
            continue;
        }
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        if (errno == EMFILE && spare_.isOpen()) {
            spare_ = Descriptor();
            continue;
        }
        if (errno != EAGAIN) {
            logMessage(LogPriority::Error, "%s: no new client: %s", listener.path.c_str(),
                       errorText(errno).c_str());
            waitForListeners(0);
            acceptPaused_ = true;
        }
        return;
    }
}

CommandServer::Clients::iterator CommandServer::settle(Clients::iterator client) {
    const ClientConnection& connection = *client->second.connection;
    if (connection.finished())
        return forget(client);
    const u32 events = (connection.wantsToRead() ? u32{EPOLLIN} : 0U) |
                       (connection.wantsToWrite() ? u32{EPOLLOUT} : 0U);
    waitFor(client->first, events, true);
    return std::next(client);
}

void CommandServer::handle(int descriptor, u32 events) {
    if (descriptor == wake_.get())
        return runPosted();
    if (const auto listener = listeners_.find(descriptor); listener != listeners_.end())
        return acceptClients(listener->second);
    const auto found = clients_.find(descriptor);
    if (found == clients_.end())
        return;
    ClientConnection& client = *found->second.connection;
    const bool gone = (events & (EPOLLHUP | EPOLLERR)) != 0 && !client.wantsToRead();
    if (gone) {
        forget(found);
        return;
    }
    client.send();
    client.receive();
    serve(found->second);
    settle(found);
}

/// Gives every client that has requests left its turn. @return whether any still has
bool CommandServer::serveWaiting() {
    bool waiting = false;
    for (auto next = clients_.begin(); next != clients_.end();) {
        ClientConnection& client = *next->second.connection;
        if (!client.wantsToServe()) {
            ++next;
            continue;
        }
        serve(next->second);
        waiting = waiting || client.wantsToServe();
        next = settle(next);
    }
    return waiting;
}

void CommandServer::settleClosed() {
    if (!std::exchange(closed_, false))
        return;
    for (auto next = clients_.begin(); next != clients_.end();)
        next = settle(next);
}

void CommandServer::run() {
    std::array<epoll_event, kEventsPerWait> events{};
    bool waiting = false;
    for (;;) {
        const int idle = endIdle();
        const int wait = waiting ? 0 : acceptPaused_ ? kRetryAcceptMs : idle;
        working(false);
        const int count =
            epoll_wait(poll_.get(), events.data(), static_cast<int>(events.size()), wait);
        working(true);
        if (std::exchange(acceptPaused_, false))
            waitForListeners(EPOLLIN);
        for (int index = 0; index < count; index++)
            handle(events[static_cast<std::size_t>(index)].data.fd,
                   events[static_cast<std::size_t>(index)].events);
        waiting = serveWaiting();
        settleClosed();
        const std::lock_guard lock(guard_);
        if (stopping_)
            return;
    }
}

}  // namespace platform
