// SPDX-License-Identifier: MIT
//
// Frames on their way into cables, gathered. Those into interfaces go to the kernel together: one
// socket and one system call for as many as there are, in place of one for each.
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
        bool isSent = false;        ///< after send(): the kernel has taken it
    };

    SendBatch();
    SendBatch(const SendBatch&) = delete;
    SendBatch& operator=(const SendBatch&) = delete;
    SendBatch(SendBatch&&) = delete;
    SendBatch& operator=(SendBatch&&) = delete;
    ~SendBatch() = default;

    /// Opens the socket, which needs CAP_NET_RAW; once is enough. Without one no frame goes
    /// together with others.
    void open();

    /// Whether frames into such a cable go together with others.
    bool takesTogether(const Cable& cable) const {
        return socket_.isOpen() && cable.interfaceIndex() != 0;
    }
    bool isFull() const { return count_ == kMostFrames; }
    bool isEmpty() const { return count_ == 0; }
    /// Copies a frame into the batch. @pre it is no longer than kLongestNativeFrame, and the batch
    /// is not full
    void add(u32 unit, u32 port, std::shared_ptr<Cable> cable, std::span<const u8> frame);
    /// Whether the last frame of a port, among those in the batch, is this one.
    bool endsWith(u32 port, std::span<const u8> frame) const;

    /// Hands the frames that it takes together to the kernel, in the order in which they were
    /// added, and never waits. A frame that is refused holds no other one back.
    /// @return all frames with what became of each, until clear(): those that are not sent are the
    ///         caller's to send
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
