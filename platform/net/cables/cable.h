// SPDX-License-Identifier: MIT
//
// What a port is connected to: a UNIX datagram socket to a port of another daemon, or a real
// interface. A frame is one datagram: the whole Ethernet frame from its destination address on.
//
// Locking: the batch and isGone() belong to the receive thread, the rest any thread may call.
#pragma once

#include <linux/if_packet.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <array>
#include <memory>
#include <span>
#include <string>

#include "platform/contract/types.h"

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

/// Whether an errno value says that descriptors, memory or room have run out.
bool isWant(int error);

/// What becomes of a frame for which there is no room at the other end now.
enum class NoRoom {
    Keep,  ///< it goes when there is, in its order, if the cable can tell and not too many wait
    Drop,
};

class Cable {
  public:
    virtual ~Cable() = default;
    /// Readable when frames wait.
    virtual int descriptor() const = 0;
    /// Never waits.
    /// @return 0 when sent, kept, or lost on the way; else an errno value, of which one that
    ///         isWant() says passes by itself
    virtual int send(std::span<const u8> frame, NoRoom noRoom) = 0;
    /// Where room for kept frames is told: as an event of these data on an epoll descriptor that
    /// outlives the cable. Then sendKept() is to be called.
    virtual void watchRoom(int /*epoll*/, u64 /*eventData*/) {}
    /// Sends kept frames, as many as there is room for.
    virtual void sendKept() {}
    /// The interface that it sends into, which one socket may do for many cables; 0: none.
    virtual int interfaceIndex() const { return 0; }
    /// Whether what it was opened on does not exist any more: then it stays silent for good.
    virtual bool isGone() const { return false; }
    /// The file system's number of the socket that it made; 0: none.
    virtual ino_t socketNumber() const { return 0; }
};

}  // namespace platform
