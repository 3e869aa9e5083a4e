// SPDX-License-Identifier: MIT
//
// What a port is connected to: a UNIX datagram socket to a port of another daemon, or a real
// interface. A frame is one datagram: the whole Ethernet frame from its destination address on.
//
// Locking: receive() belongs to the receive thread; send() may be called by any thread.
#pragma once

#include <linux/if_packet.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <array>
#include <memory>
#include <span>
#include <string>

#include "platform/contract/types.h"
#include "platform/model/cable.h"
#include "platform/runtime/files/places.h"

namespace platform {

struct ReceivedFrame {
    std::span<const u8> bytes;  ///< into the batch; valid until it is used again
    bool tagged;                ///< the host's kernel took a VLAN tag off
};

/// Buffers for the frames of one receive call. Large: its owner makes it once.
class FrameBatch {
  public:
    static constexpr std::size_t kMostFrames = 16;
    /// A longer frame is cut to this, which is more than the longest that is looked at.
    static constexpr std::size_t kBufferBytes = 4096;

    FrameBatch();
    FrameBatch(const FrameBatch&) = delete;
    FrameBatch& operator=(const FrameBatch&) = delete;
    FrameBatch(FrameBatch&&) = delete;
    FrameBatch& operator=(FrameBatch&&) = delete;
    ~FrameBatch() = default;

    /// Reads what waits on a socket, without blocking. @return frames read, 0 when none or on error
    std::size_t receiveFrom(int descriptor);
    /// @param index  below the result of the last receiveFrom()
    ReceivedFrame frame(std::size_t index) const;

  private:
    static constexpr std::size_t kControlBytes = CMSG_SPACE(sizeof(tpacket_auxdata));
    std::array<std::array<u8, kBufferBytes>, kMostFrames> buffers_;
    alignas(cmsghdr) std::array<std::array<u8, kControlBytes>, kMostFrames> controls_;
    std::array<iovec, kMostFrames> parts_;
    std::array<mmsghdr, kMostFrames> messages_;
};

/// Why a cable could not be opened.
struct CableFailure {
    int number = 0;  ///< errno value; 0 when it was no call that failed
    std::string text;

    /// The interface is not there, or there is no descriptor or memory for it: it may be tried
    /// again later.
    bool mayPass() const;
};

/// Whether an errno value says that descriptors or memory have run out.
bool isWant(int error);

class Cable {
  public:
    virtual ~Cable() = default;
    /// Readable when frames wait.
    virtual int descriptor() const = 0;
    /// @param mayWait  wait a bounded time (tens of milliseconds) for room at the other end
    /// @return 0 when sent or lost on the way, else an errno value
    virtual int send(std::span<const u8> frame, bool mayWait) = 0;
    /// Whether what it was opened on does not exist any more: then it stays silent for good.
    virtual bool isGone() const { return false; }
    /// The file system's number of the socket that it made; 0: none.
    virtual ino_t socketNumber() const { return 0; }
};

struct CableRules {
    /// Where its sockets may be, of which its own may belong to no other user then; null: anywhere.
    const RequestPlaces* places = nullptr;
    /// The cable that it takes the place of, whose socket it may replace; null: none. No other
    /// socket that is in use is replaced.
    const Cable* before = nullptr;
};

/// @return the cable; null for none, and on failure with the reason in `failure`
std::shared_ptr<Cable> openCable(const CableConfig& config, const CableRules& rules,
                                 CableFailure& failure);

}  // namespace platform
