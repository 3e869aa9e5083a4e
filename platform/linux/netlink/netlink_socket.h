// SPDX-License-Identifier: MIT
//
// A netlink route socket: requests with their answers, dumps, and multicast notifications. Takes
// messages of the kernel only and hands on whole messages.
//
// Errors are errno values with the kernel's own words where it gives any. Locking: none; one thread
// at a time.
#pragma once

#include <libmnl/libmnl.h>

#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "platform/contract/types.h"
#include "platform/linux/kernel.h"

namespace platform {

inline constexpr std::chrono::milliseconds kAnswerTime{2000};

/// One netlink message: its type and what follows its header.
struct NetlinkMessage {
    u32 type = 0;
    u32 flags = 0;
    u32 sequence = 0;
    std::span<const u8> payload;
};

/// Splits `bytes`, aligned to 4, into whole messages and calls `visit` for each; what is cut short
/// at the end is left out.
void forEachMessage(std::span<const u8> bytes,
                    const std::function<void(const NetlinkMessage&)>& visit);

/// How the kernel answered a request.
/// @param message  of type NLMSG_ERROR
KernelResult readAnswer(const NetlinkMessage& message);

class NetlinkSocket {
  public:
    /// What a read found.
    enum class Read {
        Data,   ///< messages were visited
        Empty,  ///< nothing waits
        Lost,   ///< the kernel dropped messages, or sent one that does not fit
    };

    /// Opens the socket. Must succeed before anything else is called.
    /// @param blocking    whether request() and dump() are to be used, or readWaiting()
    /// @param answerTime  how long an answer is waited for. A kernel answers before a request
    ///                    returns from it, so what is not there by then was lost. The time in the
    ///                    kernel, which may wait for its lock, is not counted: PatientKernel
    KernelResult open(bool blocking, std::chrono::milliseconds answerTime = kAnswerTime);
    /// Asks for room for `bytes` of unread messages; takes what the kernel grants.
    void setReceiveBuffer(int bytes);
    /// Joins a group of notifications (RTNLGRP_...).
    KernelResult join(u32 group);
    int descriptor() const { return mnl_socket_get_fd(socket_.get()); }

    /// Sends `messages`, one or several whole ones that all ask for an answer (NLM_F_ACK), and
    /// waits for all answers. Their sequence numbers are assigned here. The kernel works through
    /// all of them even if this process is killed meanwhile.
    /// @return the first failure; ETIMEDOUT: an answer was lost
    KernelResult request(std::span<u8> messages);
    /// Sends a dump request and visits each message of the answer.
    /// @return ETIMEDOUT as request(); EINTR when things changed meanwhile and the dump has to be
    /// made again
    KernelResult dump(nlmsghdr& message, const std::function<void(const NetlinkMessage&)>& visit);
    /// Reads one datagram of notifications without waiting.
    Read readWaiting(const std::function<void(const NetlinkMessage&)>& visit);

  private:
    struct Close {
        void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
    };

    KernelResult send(std::span<const u8> bytes);
    /// Receives one datagram of the kernel into buffer_; 0 for one of anybody else.
    /// @return length, or the negative errno value
    ssize_t receive();

    std::unique_ptr<mnl_socket, Close> socket_;
    std::vector<u8> buffer_;
    u32 sequence_ = 0;
};

}  // namespace platform
