// SPDX-License-Identifier: MIT
//
// The command server: one task that waits on listening UNIX stream sockets and their clients, and
// serves their requests one at a time, a bounded number of each in turn. What a client does, or
// leaves undone, costs the others nothing but their turn.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/channel/access.h"
#include "platform/channel/client_connection.h"

namespace platform {

/// Most clients at a time. Another is turned away, unless it is root's or the daemon's own user's:
/// then the one goes that has been idle for longest, of the group's members before any other.
inline constexpr std::size_t kMaxClients = 64;
/// A client that neither asks nor reads for so long is let go.
inline constexpr std::chrono::milliseconds kClientIdle{60'000};

class CommandServer {
  public:
    /// @param idle  how long a client may be idle
    CommandServer(RequestServer requests, CommandAccess access,
                  std::chrono::milliseconds idle = kClientIdle);

    /// Begins to listen at `path`: before run(), or in the command task.
    /// @param error  receives what was wrong
    bool open(const std::string& path, std::string& error) {
        return open(path, error, Kind::Full, {});
    }
    /// The same for clients that may only read, whoever they are: those of the group of readers,
    /// and those who may use the other socket, too.
    bool openForReaders(const std::string& path, std::string& error);
    /// The same for the other process of a pair: root and the daemon's own user only.
    /// @param gone  told the number of each of its clients that is no longer connected
    bool openForPeer(const std::string& path, std::string& error, std::function<void(u64)> gone) {
        return open(path, error, Kind::Peer, std::move(gone));
    }
    /// Stops to listen at `path`. Its clients are served no further: each goes when it has the
    /// replies to what it asked before, the one whose request this is among them. In the command
    /// task, also while it serves a request.
    void close(const std::string& path);
    /// The number of the client whose request is being served: never used again, and not 0, which
    /// is what it is outside of any request.
    u64 serving() const { return serving_ == nullptr ? 0 : serving_->number; }
    /// Whose request is being served, for the log: "user 1000, process 77". Empty outside of any
    /// request, and for the other process of a pair.
    const std::string& servingWho() const;
    /// This client may be idle for ever and gives way to nobody. In the command task.
    void keep(u64 client);
    /// This client is served no further, as with close(). In the command task.
    void end(u64 client);
    /// The descriptor that came with the request that is being served, or none. From within it.
    Descriptor takeDescriptor();
    /// How long the command task has been at work on one thing; 0 while it waits. Any thread.
    std::chrono::milliseconds busyFor() const;
    /// Serves until stop() is called. This is the body of the command task.
    void run();
    /// Has run() return. Any thread.
    void stop();
    /// Has the command task run `work` between two requests. Any thread.
    void post(std::function<void()> work);

  private:
    /// What a socket is for.
    enum class Kind { Full, Readers, Peer };
    struct Listener {
        std::string path;
        Descriptor socket;
        Kind kind;
    };
    struct Client {
        std::unique_ptr<ClientConnection> connection;
        u64 number = 0;
        std::string who = {};
        int listener = -1;  ///< descriptor of the socket it came in at
        PeerRank rank = PeerRank::Stranger;
        bool ofPeer = false;
        bool mayOnlyRead = false;
        bool mayIdle = false;
    };
    using Clients = std::map<int, Client>;

    bool open(const std::string& path, std::string& error, Kind kind,
              std::function<void(u64)> gone);
    /// Who may connect to a socket.
    CommandAccess accessTo(Kind kind) const;
    Client* find(u64 number);
    void waitFor(int descriptor, u32 events, bool known);
    void waitForListeners(u32 events);
    void acceptClients(const Listener& listener);
    /// Has a descriptor ready again that a client may have when all others are taken.
    void keepSpare();
    void acceptOne(const Listener& listener, Descriptor connection);
    /// Whether there is a place for a newcomer of this rank, made if need be.
    bool makeRoom(PeerRank rank);
    /// Serves a client's turn.
    void serve(Client& client);
    /// Lets go who has been idle for too long. @return ms until the next may have been, -1 for none
    int endIdle();
    void working(bool begins);
    Clients::iterator forget(Clients::iterator client);
    void handle(int descriptor, u32 events);
    /// Watches a client for what it can do next, or lets it go. @return the client after it
    Clients::iterator settle(Clients::iterator client);
    bool serveWaiting();
    /// Lets those go whose socket was closed, as far as they have their replies.
    void settleClosed();
    void runPosted();

    RequestServer requests_;
    const RequestServer readRequests_;  ///< of clients that may only read
    CommandAccess access_;
    const std::chrono::milliseconds idle_;
    LogLimit turnedAway_;
    LogLimit malformed_;
    const Client* serving_ = nullptr;
    u64 lastNumber_ = 0;
    std::function<void(u64)> peerGone_;
    std::atomic<ClientConnection::Clock::rep> workingSince_{0};  ///< 0: it waits
    Descriptor poll_;
    Descriptor wake_;
    Descriptor spare_;  ///< given up for a client when there are no other descriptors
    std::map<int, Listener> listeners_;  ///< by descriptor
    Clients clients_;                    ///< by descriptor
    bool acceptPaused_ = false;          ///< out of descriptors: try again later
    bool closed_ = false;                ///< a socket was closed, and its clients may go

    std::mutex guard_;  ///< of the two below
    std::vector<std::function<void()>> posted_;
    bool stopping_ = false;
};

}  // namespace platform
