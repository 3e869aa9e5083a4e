// SPDX-License-Identifier: MIT
//
// The sockets of a scenario: what waits on them to be received. Nothing here writes to the trace.
#pragma once

#include <array>
#include <deque>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/contract/types.h"
#include "platform/virtual/state/vlan_set.h"

namespace scenario {

enum class SocketId : u32 { Mvrp = 0, Gvrp = 1, Route = 2, Debug = 3 };
inline constexpr u32 kSocketCount = 4;
inline constexpr std::array<std::string_view, kSocketCount> kSocketNames = {"mvrp", "gvrp", "route",
                                                                            "dbg"};

/// Descriptors of the sockets, in the order of SocketId, and of the debug connection.
inline constexpr int kFirstDescriptor = 10;
inline constexpr int kDebugConnection = kFirstDescriptor + static_cast<int>(kSocketCount);

constexpr int descriptorOf(SocketId id) {
    return kFirstDescriptor + static_cast<int>(id);
}

/// The socket behind a descriptor; none for a number that is not one of ours.
std::optional<SocketId> socketOf(int descriptor);
/// Name of the socket of a descriptor; the debug connection goes by the debug socket's.
std::string_view nameOfDescriptor(int descriptor);

/// One frame as a receive call will deliver it.
struct QueuedFrame {
    std::vector<u8> bytes;                  ///< empty: the receive returns 0 and fills nothing in
    u32 interfaceIndex = 0;                 ///< ingress port
    u8 pduOffset = 0;                       ///< where the PDU stands in `bytes`
    std::optional<MacAddress> destination;  ///< none: without packet information
    bool foreignItem = false;               ///< an item that is not ours stands before it
};

/// Answers to the question how many bytes wait on a socket.
class WaitingAnswers {
  public:
    /// One number answers every question; several answer one each, and 0 follows.
    void set(std::vector<u32> answers);
    u32 next();

  private:
    std::vector<u32> answers_;
    std::size_t given_ = 0;
};

struct SocketState {
    std::array<std::deque<QueuedFrame>, 2> frames;  ///< of Mvrp and Gvrp
    std::deque<std::vector<u8>> routeMessages;
    std::array<WaitingAnswers, kSocketCount> waiting;
    std::vector<u8> connectionBytes;  ///< what the debug connection delivers
    std::size_t connectionRead = 0;

    bool readable(SocketId id) const;
};

}  // namespace scenario
