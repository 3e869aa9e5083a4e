// SPDX-License-Identifier: MIT
//
// Frames on their way into interfaces, gathered to go to the kernel together: one socket and one
// system call for as many as there are, in place of one for each.
//
// Locking: the owner's.
#pragma once

#include <linux/if_packet.h>
#include <sys/socket.h>

#include <array>
#include <memory>
#include <span>

#include "platform/net/cables/cable.h"
#include "platform/runtime/files/descriptor.h"
#include "platform/wire/frame.h"

namespace platform {

/// Large: its owner makes it once. Allocates nothing afterwards.
class SendBatch {
  public:
    static constexpr std::size_t kMostFrames = 64;

    struct Item {
        u32 unit = 0;  ///< that sends
        u32 port = 0;  ///< whose cable it is
        std::shared_ptr<Cable> cable;
        std::span<const u8> frame;  ///< into the batch
        int error = 0;              ///< after send(): 0, or an errno value
    };

    SendBatch();
    SendBatch(const SendBatch&) = delete;
    SendBatch& operator=(const SendBatch&) = delete;
    SendBatch(SendBatch&&) = delete;
    SendBatch& operator=(SendBatch&&) = delete;
    ~SendBatch() = default;

    /// Opens the socket, which needs CAP_NET_RAW; once is enough. Without one nothing is gathered.
    void open();

    /// Whether a frame into such a cable can be gathered at all.
    bool suits(const Cable& cable, std::span<const u8> frame) const {
        return socket_.isOpen() && cable.interfaceIndex() != 0 &&
               frame.size() <= kLongestNativeFrame;
    }
    bool isFull() const { return count_ == kMostFrames; }
    bool isEmpty() const { return count_ == 0; }
    /// Copies a frame into the batch. @pre it suits, and the batch is not full
    void add(u32 unit, u32 port, std::shared_ptr<Cable> cable, std::span<const u8> frame);

    /// Hands all frames to the kernel, in the order in which they were added, and never waits. A
    /// frame that is refused holds no other one back.
    /// @return the frames with what became of each, until clear()
    std::span<Item> send();
    /// Empties it, and lets go of the cables.
    void clear();

  private:
    Descriptor socket_;
    std::size_t count_ = 0;
    std::array<Item, kMostFrames> items_;
    std::array<std::array<u8, kLongestNativeFrame>, kMostFrames> bytes_;
    std::array<sockaddr_ll, kMostFrames> addresses_{};
    std::array<iovec, kMostFrames> parts_{};
    std::array<mmsghdr, kMostFrames> messages_{};
};

}  // namespace platform
