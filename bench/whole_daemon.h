// SPDX-License-Identifier: MIT
//
// The program mvrp as a process of its own, seen from outside: its configuration, its start, its
// command channel, and what the system says about it. Errors are exceptions with a text.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/channel/protocol.h"
#include "platform/runtime/files/descriptor.h"
#include "tests/scratch_directory.h"

namespace bench {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin);

/// A reply with another status than 0.
struct RequestRefused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A client of a command channel, or of anything else at a stream socket that answers like one.
class Channel {
  public:
    /// Takes a connected socket.
    explicit Channel(platform::Descriptor socket) : socket_(std::move(socket)) {}
    /// Connects to a path.
    explicit Channel(const std::string& path);

    /// @return the value of the reply, whose status has to be 0
    std::vector<u8> request(platform::Request number, u32 unit = 0, u32 attribute = 0);
    /// Sends all requests ahead, and reads as many replies of `replyBytes` each.
    void pipeline(std::span<const u8> requests, size_t count, size_t replyBytes);

  private:
    void write(std::span<const u8> bytes);
    void read(std::span<u8> bytes);

    platform::Descriptor socket_;
};

/// What a process has used since its start.
struct Usage {
    double cpuSeconds;
    u64 wakeUps;  ///< times that one of its threads waited and went on
    u64 residentKib;
};

/// What a daemon is started with.
struct DaemonSetup {
    std::string program;  ///< path of mvrp
    u32 ports;            ///< units 1 to this, trunks with MVRP on; cables as peerPath() and below
    u32 leaveAllSeconds;  ///< 0: the default
};

class Daemon {
  public:
    /// Starts it and waits until it has said that it is ready and MVRP is on at its last port.
    explicit Daemon(const DaemonSetup& setup);
    /// Ends it with SIGTERM, and waits.
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    Daemon(Daemon&&) = delete;
    Daemon& operator=(Daemon&&) = delete;

    double readyAfterMs() const { return readyAfterMs_; }
    Channel channel() const;
    Usage usage() const;
    /// The two ends of the cable of a port.
    std::string portPath(u32 unit) const { return directory_.path("port" + std::to_string(unit)); }
    std::string peerPath(u32 unit) const { return directory_.path("peer" + std::to_string(unit)); }

  private:
    void configure(const DaemonSetup& setup) const;
    void start(const std::string& program, u32 ports);

    ScratchDirectory directory_;
    pid_t process_ = 0;
    double readyAfterMs_ = 0;
};

}  // namespace bench
