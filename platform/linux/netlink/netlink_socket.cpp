// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/netlink_socket.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>

#include "platform/linux/netlink/netlink_attributes.h"
#include "platform/runtime/log.h"

namespace platform {

namespace {

/// Dumps come in pieces of at most 32 KB; a link notification with all its VLANs has up to 17.
constexpr size_t kReceiveBytes = 65536;

KernelResult failure(int error, const char* doing) {
    return {error, std::string(doing) + ": " + errorText(error)};
}

/// @param length  as NetlinkSocket::receive() returns it, negative
KernelResult noAnswer(ssize_t length) {
    if (length == -EAGAIN)
        return {ETIMEDOUT, "the kernel has not answered"};
    return failure(static_cast<int>(-length), "receiving from the kernel");
}

/// The errno value of a status that the kernel gave: 0, or a negative number.
int errorOf(int status) {
    constexpr int kLargestError = 4095;
    if (status == 0)
        return 0;
    return status < 0 && status >= -kLargestError ? -status : EBADMSG;
}

/// How a dump ended: NLMSG_ERROR, or NLMSG_DONE with a status.
KernelResult readEnd(const NetlinkMessage& message) {
    if (message.type == NLMSG_ERROR)
        return readAnswer(message);
    const int error = errorOf(std::min(leadingValue<int>(message.payload).value_or(0), 0));
    return error != 0 ? failure(error, "reading from the kernel") : KernelResult();
}

}  // namespace

void forEachMessage(std::span<const u8> bytes,
                    const std::function<void(const NetlinkMessage&)>& visit) {
    // mnl_nlmsg_ok() compares lengths as signed numbers, so it takes one beyond 2^31.
    while (const auto header = leadingValue<nlmsghdr>(bytes)) {
        const size_t length = header->nlmsg_len;
        if (length < sizeof(nlmsghdr) || length > bytes.size())
            return;
        visit({header->nlmsg_type, header->nlmsg_flags, header->nlmsg_seq,
               bytes.first(length).subspan(sizeof(nlmsghdr))});
        bytes = bytes.subspan(std::min<size_t>(MNL_ALIGN(length), bytes.size()));
    }
}

KernelResult readAnswer(const NetlinkMessage& message) {
    const auto answer = leadingValue<nlmsgerr>(message.payload);
    if (!answer)
        return {EBADMSG, "the kernel's answer is cut short"};
    const int error = errorOf(answer->error);
    if (error == 0)
        return {};
    KernelResult result{error, errorText(error)};
    if ((message.flags & NLM_F_ACK_TLVS) == 0)
        return result;
    // Behind the record is the request itself, unless it was left out, and then the explanation.
    size_t fixed = sizeof(nlmsgerr);
    if ((message.flags & NLM_F_CAPPED) == 0 && answer->msg.nlmsg_len > sizeof(nlmsghdr))
        fixed += answer->msg.nlmsg_len - sizeof(nlmsghdr);
    forEachAttribute(attributesBehind(message.payload, fixed), [&](const nlattr& attribute) {
        if (typeOf(attribute) == NLMSGERR_ATTR_MSG)
            result.what += " (" + std::string(textOf(attribute)) + ")";
    });
    return result;
}

KernelResult NetlinkSocket::open(bool blocking, std::chrono::milliseconds answerTime) {
    socket_.reset(
        mnl_socket_open2(NETLINK_ROUTE, blocking ? SOCK_CLOEXEC : SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket_)
        return failure(errno, "opening a netlink socket");
    if (mnl_socket_bind(socket_.get(), 0, MNL_SOCKET_AUTOPID) < 0)
        return failure(errno, "binding a netlink socket");
    const timeval limit{static_cast<time_t>(answerTime.count() / 1000),
                        static_cast<suseconds_t>(answerTime.count() % 1000 * 1000)};
    if (setsockopt(descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) != 0)
        return failure(errno, "limiting the time of a netlink socket");
    // Both only make errors say more and answers shorter; a kernel without them serves as well.
    int on = 1;
    mnl_socket_setsockopt(socket_.get(), NETLINK_EXT_ACK, &on, sizeof(on));
    mnl_socket_setsockopt(socket_.get(), NETLINK_CAP_ACK, &on, sizeof(on));
    buffer_.resize(kReceiveBytes);
    return {};
}

void NetlinkSocket::setReceiveBuffer(int bytes) {
    // The first goes beyond the system's limit and takes CAP_NET_ADMIN.
    if (setsockopt(descriptor(), SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof(bytes)) != 0)
        setsockopt(descriptor(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof(bytes));
}

KernelResult NetlinkSocket::join(u32 group) {
    int number = static_cast<int>(group);
    if (mnl_socket_setsockopt(socket_.get(), NETLINK_ADD_MEMBERSHIP, &number, sizeof(number)) < 0)
        return failure(errno, "joining the kernel's notifications");
    return {};
}

KernelResult NetlinkSocket::send(std::span<const u8> bytes) {
    if (mnl_socket_sendto(socket_.get(), bytes.data(), bytes.size()) < 0)
        return failure(errno, "sending to the kernel");
    return {};
}

ssize_t NetlinkSocket::receive() {
    sockaddr_nl sender{};
    iovec part{buffer_.data(), buffer_.size()};
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof(sender);
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    ssize_t length = -1;
    do {
        length = recvmsg(descriptor(), &message, 0);
    } while (length < 0 && errno == EINTR);
    if (length < 0)
        return -errno;
    if ((message.msg_flags & MSG_TRUNC) != 0)
        return -EMSGSIZE;
    return sender.nl_pid == 0 ? length : 0;
}

KernelResult NetlinkSocket::request(std::span<u8> messages) {
    const u32 first = sequence_ + 1;
    auto* header = reinterpret_cast<nlmsghdr*>(messages.data());
    int left = static_cast<int>(messages.size());
    while (mnl_nlmsg_ok(header, left)) {
        header->nlmsg_seq = ++sequence_;
        header = mnl_nlmsg_next(header, &left);
    }
    KernelResult result = send(messages);
    if (!result)
        return result;
    const u32 count = sequence_ - first + 1;
    u32 waiting = count;
    while (waiting != 0) {
        const ssize_t length = receive();
        if (length < 0)
            return noAnswer(length);
        forEachMessage({buffer_.data(), static_cast<size_t>(length)},
                       [&](const NetlinkMessage& message) {
                           if (message.type != NLMSG_ERROR || message.sequence - first >= count)
                               return;
                           --waiting;
                           if (result)
                               result = readAnswer(message);
                       });
    }
    return result;
}

KernelResult NetlinkSocket::dump(nlmsghdr& message,
                                 const std::function<void(const NetlinkMessage&)>& visit) {
    message.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.nlmsg_seq = ++sequence_;
    KernelResult result = send({reinterpret_cast<const u8*>(&message), message.nlmsg_len});
    if (!result)
        return result;
    bool done = false;
    bool interrupted = false;
    while (!done) {
        const ssize_t length = receive();
        if (length < 0)
            return noAnswer(length);
        forEachMessage({buffer_.data(), static_cast<size_t>(length)},
                       [&](const NetlinkMessage& part) {
                           if (part.sequence != sequence_ || done)
                               return;
                           interrupted |= (part.flags & NLM_F_DUMP_INTR) != 0;
                           done = part.type == NLMSG_DONE || part.type == NLMSG_ERROR;
                           if (!done)
                               visit(part);
                           else
                               result = readEnd(part);
                       });
    }
    if (result && interrupted)
        return {EINTR, "the kernel's list changed while it was read"};
    return result;
}

NetlinkSocket::Read NetlinkSocket::readWaiting(
    const std::function<void(const NetlinkMessage&)>& visit) {
    const ssize_t length = receive();
    if (length == -EAGAIN)
        return Read::Empty;
    if (length < 0)
        return Read::Lost;
    forEachMessage({buffer_.data(), static_cast<size_t>(length)}, visit);
    return Read::Data;
}

}  // namespace platform
