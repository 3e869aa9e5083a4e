// SPDX-License-Identifier: MIT
//
// One client of the command server: its requests as they arrive, its replies until they are gone.
// Both are bounded: with kMaxUnsent bytes of replies waiting no further request is served, and
// nothing more is read than one request of the largest size needs.
//
// Belongs to the command task.
#pragma once

#include <chrono>
#include <functional>
#include <span>
#include <vector>

#include "platform/channel/protocol.h"
#include "platform/channel/server_socket.h"
#include "platform/runtime/log_limit.h"

namespace platform {

/// Bytes of replies after which a client has to read before it is served again.
inline constexpr std::size_t kMaxUnsent = std::size_t{256} * 1024;

/// Requests of one client that are served before it is another's turn.
inline constexpr u32 kRequestsPerTurn = 64;

/// Descriptors of one client that are kept until their requests are served; more are closed.
inline constexpr std::size_t kMostPassed = 4;

using RequestServer = std::function<u32(const RequestHeader& header, std::span<const u8> value,
                                        std::vector<u8>& reply)>;

class ClientConnection {
  public:
    using Clock = std::chrono::steady_clock;

    /// @param limit  of log lines about clients; it outlives the connection
    ClientConnection(Descriptor connection, LogLimit& limit);

    int descriptor() const { return connection_.get(); }

    /// Reads what there is, as far as there is room.
    void receive();
    /// Serves complete requests, in order, and sends the replies together.
    void serve(const RequestServer& server);
    void send();
    /// No further request is served. It is finished once the replies are gone. Also from within
    /// the request that is being served.
    void endService() { stream_ = Stream::Broken; }

    /// The descriptor that came with the request being served; none when it is not taken by that
    /// request, which then ends with it. From within the request.
    Descriptor takeDescriptor() { return std::move(passedNow_); }

    /// When the client last sent something, or took something of its replies.
    Clock::time_point lastActive() const { return lastActive_; }

    /// Whether there is room for more bytes of requests.
    bool wantsToRead() const;
    bool wantsToWrite() const { return sent_ < output_.size(); }
    /// Whether serve() would serve a request now.
    bool wantsToServe() const;
    /// Whether nothing can come of it any more.
    bool finished() const;

  private:
    enum class Stream { Open, Ended, Broken };
    struct Passed {
        std::size_t end;  ///< in input_: behind the bytes that it came with
        Descriptor descriptor;
    };

    ssize_t receiveInto(std::span<u8> room);
    void keepPassed(Descriptor descriptor);
    /// The descriptor of the request that ends at `end` in input_.
    Descriptor passedWith(std::size_t end);
    bool takeHeader(RequestHeader& header);
    void serveOne(const RequestHeader& header, const RequestServer& server);
    std::size_t unread() const { return input_.size() - taken_; }
    std::size_t unsent() const { return output_.size() - sent_; }

    Descriptor connection_;
    LogLimit& limit_;
    Clock::time_point lastActive_ = Clock::now();
    Stream stream_ = Stream::Open;  ///< Ended: the client sends no more; Broken: nor will we serve
    bool lost_ = false;             ///< replies can not be sent any more
    std::vector<u8> input_;
    std::size_t taken_ = 0;       ///< bytes of input_ that were served
    std::vector<Passed> passed_;  ///< in the order in which they came
    Descriptor passedNow_;
    std::vector<u8> output_;
    std::size_t sent_ = 0;  ///< bytes of output_ that are gone
};

}  // namespace platform
