// SPDX-License-Identifier: MIT
//
// The neighbours of a daemon: the other ends of its cables, and a thread that reads what comes out
// of them and answers each LeaveAll with the port's declaration, as a neighbour does.
//
// send() may be called by one thread beside that one. Errors are exceptions with a text.
#pragma once

#include <atomic>
#include <thread>
#include <vector>

#include "bench/whole_daemon.h"

namespace bench {

/// A frame in our wire form around a PDU, which begins with the protocol version.
std::vector<u8> nativeFrame(std::span<const u8> pdu);

class Peers {
  public:
    /// Plugs in at the ports 1 to `ports`; `answer` is sent after a LeaveAll.
    Peers(const Daemon& daemon, u32 ports, std::vector<u8> answer);
    ~Peers();
    Peers(const Peers&) = delete;
    Peers& operator=(const Peers&) = delete;
    Peers(Peers&&) = delete;
    Peers& operator=(Peers&&) = delete;

    /// Sends a frame into a port, waiting for room as a cable between daemons does.
    /// @return false when there was none within 20 ms
    bool send(u32 unit, std::span<const u8> frame);
    u64 received() const { return received_; }

  private:
    void readLoop();

    std::vector<platform::Descriptor> cables_;  ///< of unit n at n - 1
    const std::vector<u8> answer_;
    platform::Descriptor epoll_;
    std::atomic<u64> received_{0};
    std::atomic<bool> ends_{false};
    std::thread reader_;
};

/// Datagrams of this size that a bare relay takes in a second: received in batches, as the frame
/// layer reads a cable, each sent to the neighbours at the ports 2 to `ports`, whose Peers read
/// them, and forgotten.
double bareRelayRate(const Daemon& daemon, u32 ports, size_t frameBytes, double seconds);

}  // namespace bench
