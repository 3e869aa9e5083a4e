// SPDX-License-Identifier: MIT
//
// The client's end of the command channel: connects to a daemon, sends requests, many at a time,
// and collects the replies in order.
//
// Errors: ConnectionError for everything that ends the connection, with a text for the person at
// the keyboard. What a daemon answers to a request is a status of the reply, not an error. A Client
// belongs to one thread.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/channel/protocol.h"

namespace cli {

class ConnectionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Request {
    platform::Request number;
    u32 unit = 0;
    u32 attribute = 0;
    std::vector<std::byte> value = {};
    /// Goes along with the request, which is then asked by itself; -1: none. The caller's.
    int descriptor = -1;
};

struct Reply {
    u32 status = 0;  ///< 0 for success
    std::vector<std::byte> value;
};

/// Name of the command socket in the runtime directory of its daemon.
inline constexpr const char* kSocketName = "mvrpcmd.socket";

/// Who may serve a socket wherever it is: root, who runs this, and the service's user.
bool isTrustedUser(uid_t user);

/// Path of the command socket of the daemon whose runtime directory is $MVRP_RUNTIME_DIR; when that
/// is not set, of the service, and without one of a daemon that was started without the variable.
std::string defaultSocketPath();

/// The command socket that a person names by its path, or by the runtime directory that it is in.
std::string socketPath(const std::string& path);

class Client {
  public:
    /// Connects to the command socket `path`, see socketPath().
    explicit Client(const std::string& path);
    /// Connects with the first exchange: for commands that may do without a daemon.
    enum class Connect { Later };
    Client(const std::string& path, Connect /*when*/) : path_(socketPath(path)) {}
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Sends all requests and waits for all replies, which are returned in the same order. No more
    /// than kMaxInFlight requests are unanswered at any time.
    std::vector<Reply> exchange(std::span<const Request> requests);
    Reply exchange(const Request& request);

    /// How long a daemon may leave a request unanswered, seconds; before the first exchange.
    void setPatience(u32 seconds) { patienceMs_ = static_cast<int>(seconds * 1000); }

    const std::string& path() const { return path_; }
    /// Ends the connection; the next exchange makes a new one.
    void disconnect();

    /// Requests sent ahead of their replies: enough to hide the way there and back, few enough that
    /// their values and replies fit a socket's buffers.
    static constexpr std::size_t kMaxInFlight = 32;

  private:
    void connect();
    /// Connects to the socket `path`. @return 0, or an errno value
    int connectTo(const std::string& path);
    void fillSendBuffer(std::span<const Request> requests);
    void waitReady();
    void sendSome();
    ssize_t sendBytes(std::span<const std::byte> bytes);
    /// Believes nobody who could have put himself into a directory that everybody writes to.
    void checkServer();
    void receiveSome();
    void takeReplies(std::span<const Request> requests, std::vector<Reply>& replies);
    /// What is said of a daemon that does not answer.
    std::string busy() const;
    [[noreturn]] void lost(const std::string& reason) const;

    std::string path_;
    int socket_ = -1;
    int patienceMs_ = 20'000;
    std::size_t queued_ = 0;    ///< requests of this exchange that went into sendBuffer_
    std::size_t answered_ = 0;  ///< replies of this exchange
    std::vector<std::byte> sendBuffer_;
    std::size_t sent_ = 0;  ///< bytes of sendBuffer_ that are gone
    int passing_ = -1;      ///< to go with the next byte that is sent; -1: nothing
    std::vector<std::byte> receiveBuffer_;
};

}  // namespace cli
