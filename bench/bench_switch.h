// SPDX-License-Identifier: MIT
//
// A daemon on the platform's own software switch and sockets, in one thread: its tasks are not
// started, the benchmark calls what they would call. Frames that it sends are counted, or go where
// the benchmark wants them.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "bench/join_pdu.h"
#include "daemon/db/port.h"
#include "platform/net/sockets/socket_layer.h"
#include "platform/switch/soft_switch.h"

namespace bench {

/// Takes frames and forgets them.
class FrameSink final : public platform::FrameTransmitter {
  public:
    int transmit(u32 unit, std::span<const u8> frame) override;

    u64 frames = 0;
    u64 bytes = 0;
    bool keeps = false;  ///< frames are appended to `kept`
    std::vector<std::vector<u8>> kept;
};

class BenchSwitch {
  public:
    /// Units 1 to `ports`, trunks that carry all VLANs, MVRP or GVRP enabled on all of them.
    BenchSwitch(u32 ports, bool gvrp = false);
    ~BenchSwitch();
    BenchSwitch(const BenchSwitch&) = delete;
    BenchSwitch& operator=(const BenchSwitch&) = delete;
    BenchSwitch(BenchSwitch&&) = delete;
    BenchSwitch& operator=(BenchSwitch&&) = delete;

    /// @return the daemon's entry of a unit, which exists
    static MvrpPortEntry* port(u32 unit);
    /// Hands the daemon a received PDU.
    static void receive(u32 unit, std::span<const u8> pdu);
    /// Applies what is pending, as the timer does.
    static void applyPending();

    FrameSink sink;
    platform::SocketLayer sockets;
    platform::SoftSwitch soft;
};

}  // namespace bench
