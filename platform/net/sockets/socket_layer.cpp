// SPDX-License-Identifier: MIT
#include "platform/net/sockets/socket_layer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "platform/runtime/files/paths.h"
#include "platform/runtime/log.h"
#include "platform/runtime/moment.h"
#include "platform/runtime/tasks/sem.h"

namespace platform {
namespace {

constexpr std::size_t kMostWatched = 64;
constexpr std::size_t kLongestSend = FrameRing::kLongestFrame;
constexpr u16 kHardwareEthernet = 1;
constexpr u8 kPacketMulticast = 2;

int failWith(int error) {
    errno = error;
    return -1;
}

std::optional<SocketKind> kindOf(int family, int type, int protocol) {
    if (family == kQorFamilyPacket && type == kQorTypeRaw) {
        if (protocol == kQorProtocolMvrp)
            return SocketKind::Mvrp;
        if (protocol == kQorProtocolGvrp)
            return SocketKind::Gvrp;
    }
    if (family == kQorFamilyRoute && type == kQorTypeDatagram)
        return SocketKind::Route;
    return std::nullopt;
}

/// The path of a local socket's address, in the runtime directory. The daemon removes a stale
/// socket under the name that it knows; under another name that is done here.
bool mapLocalAddress(const void* address, socklen_t length, sockaddr_un& mapped) {
    constexpr std::size_t kPathOffset = offsetof(sockaddr_un, sun_path);
    if (address == nullptr || length <= kPathOffset || length > sizeof mapped)
        return false;
    std::memset(&mapped, 0, sizeof mapped);
    std::memcpy(&mapped, address, length);
    const std::string named(mapped.sun_path, strnlen(mapped.sun_path, length - kPathOffset));
    const std::string path = runtimePath(named);
    if (mapped.sun_family != AF_UNIX || path.empty() || path.size() >= sizeof mapped.sun_path)
        return false;
    path.copy(mapped.sun_path, path.size());
    mapped.sun_path[path.size()] = '\0';
    if (path != named)
        unlink(mapped.sun_path);
    return true;
}

/// The platform's own numbers at level SOL_SOCKET, which mean nothing to the host's kernel.
bool isPlatformOption(int level, int option) {
    return level == kQorLevelRoute || level == kQorLevelPacket ||
           (level == kQorLevelSocket &&
            (option == kQorOptionOwner || option == kQorOptionMatchAdd ||
             option == kQorOptionMatchRemove));
}

/// Writes the link-layer address of a received frame.
void fillAddress(const FrameMeta& meta, msghdr& message) {
    if (message.msg_name == nullptr)
        return;
    QorLinkAddress address{};
    address.family = static_cast<u16>(kQorFamilyPacket);
    address.protocol = meta.protocol;
    address.interfaceIndex = static_cast<s32>(meta.unit);
    address.hardwareType = kHardwareEthernet;
    address.packetType = kPacketMulticast;
    address.addressLength = static_cast<u8>(meta.source.size());
    std::ranges::copy(meta.source, address.address);
    std::memcpy(message.msg_name, &address,
                std::min<std::size_t>(message.msg_namelen, sizeof address));
    message.msg_namelen = sizeof address;
}

/// Attaches the packet information, as far as there is room for it.
void fillControl(const FrameMeta& meta, bool attach, msghdr& message) {
    constexpr std::size_t kItemBytes = sizeof(QorControlHeader) + sizeof(QorPacketInfo);
    if (!attach || message.msg_control == nullptr || message.msg_controllen < kItemBytes) {
        message.msg_flags |= attach ? MSG_CTRUNC : 0;
        message.msg_controllen = 0;
        return;
    }
    const QorControlHeader header = {kItemBytes, kQorLevelPacket, kQorOptionPacketInfo};
    QorPacketInfo info{};
    info.pduOffset = meta.pduOffset;
    std::ranges::copy(meta.destination, info.destination);
    auto* item = static_cast<u8*>(message.msg_control);
    std::memcpy(item, &header, sizeof header);
    std::memcpy(item + sizeof header, &info, sizeof info);
    message.msg_controllen = kItemBytes;
}

/// Copies the buffers of a message into one. @return the bytes, or nothing when they are too many
std::optional<std::size_t> gather(const msghdr& message, std::span<u8> out) {
    std::size_t used = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(message.msg_iovlen); ++i) {
        const iovec& part = message.msg_iov[i];
        if (part.iov_len > out.size() - used)
            return std::nullopt;
        if (part.iov_len != 0)
            std::memcpy(out.data() + used, part.iov_base, part.iov_len);
        used += part.iov_len;
    }
    return used;
}

/// The descriptors of a select() call as poll() takes them.
class PollSet {
  public:
    /// @return false when there are more than kMostWatched
    bool collect(int count, const fd_set* read, const fd_set* write, const fd_set* except) {
        for (int descriptor = 0; descriptor < count; ++descriptor) {
            short events = 0;
            events |= isSet(read, descriptor) ? short{POLLIN} : short{0};
            events |= isSet(write, descriptor) ? short{POLLOUT} : short{0};
            events |= isSet(except, descriptor) ? short{POLLPRI} : short{0};
            if (events != 0) {
                if (used_ == items_.size())
                    return false;
                items_[used_++] = {descriptor, events, 0};
            }
        }
        return true;
    }
    std::span<pollfd> items() { return std::span(items_).first(used_); }

    /// Rebuilds the sets from what is ready. @return how many bits are set
    int report(fd_set* read, fd_set* write, fd_set* except) {
        int bits = 0;
        for (const pollfd& item : items()) {
            bits += put(read, item, POLLIN | POLLHUP | POLLERR);
            bits += put(write, item, POLLOUT | POLLERR);
            bits += put(except, item, POLLPRI);
        }
        return bits;
    }

  private:
    static bool isSet(const fd_set* set, int descriptor) {
        return set != nullptr && FD_ISSET(descriptor, set);
    }
    static int put(fd_set* set, const pollfd& item, int events) {
        if (!isSet(set, item.fd))
            return 0;
        if ((item.revents & events) != 0)
            return 1;
        FD_CLR(item.fd, set);
        return 0;
    }

    std::array<pollfd, kMostWatched> items_;
    std::size_t used_ = 0;
};

}  // namespace

Delivery SocketLayer::deliver(SocketKind kind, const FrameMeta& meta, std::span<const u8> frame) {
    const std::lock_guard lock(mutex_);
    Delivery best = Delivery::NoSocket;
    for (const SocketPointer& socket : open_) {
        if (socket->kind() == kind) {
            const Delivery outcome = socket->deliver(meta, frame);
            best = std::min(best, outcome);
        }
    }
    return best;
}

void SocketLayer::deliver(const RouteDatagram& datagram) {
    const std::lock_guard lock(mutex_);
    for (const SocketPointer& socket : open_) {
        if (socket->kind() == SocketKind::Route &&
            socket->deliver(datagram) == Delivery::Overflow &&
            lostNotifications_.fetch_add(1) == 0) {
            logMessage(LogPriority::Error,
                       "the daemon does not read its notifications: the first one is lost");
        }
    }
}

int SocketLayer::open(int family, int type, int protocol) {
    if (family == kQorFamilyLocal && type == kQorTypeStream)
        return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::optional<SocketKind> kind = kindOf(family, type, protocol);
    if (!kind)
        return failWith(EPROTONOSUPPORT);
    Descriptor ready(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!ready.isOpen())
        return -1;
    if (ready.get() >= FD_SETSIZE)
        return failWith(EMFILE);
    const int descriptor = ready.get();
    Waiting& waiting = waiting_[static_cast<std::size_t>(descriptor)];
    waiting.bytes.store(0);
    auto socket = std::make_shared<FrameSocket>(*kind, std::move(ready), &waiting.bytes);
    const std::lock_guard lock(mutex_);
    open_.push_back(std::move(socket));
    waiting.ours.store(true, std::memory_order_release);
    if (std::atomic<int>* const place = placeOf(*kind))
        place->store(descriptor, std::memory_order_release);
    return descriptor;
}

bool SocketLayer::framesWait() const {
    return std::ranges::any_of(frameSockets_, [this](const std::atomic<int>& place) {
        const int socket = place.load(std::memory_order_acquire);
        return socket >= 0 && waiting_[static_cast<std::size_t>(socket)].bytes.load(
                                  std::memory_order_acquire) != 0;
    });
}

SocketLayer::SocketPointer SocketLayer::find(int socket) {
    const std::lock_guard lock(mutex_);
    const auto found =
        std::ranges::find(open_, socket, [](const SocketPointer& s) { return s->descriptor(); });
    return found == open_.end() ? nullptr : *found;
}

int SocketLayer::bind(int socket, const void* address, socklen_t length) {
    if (const SocketPointer own = find(socket)) {
        const bool matches = own->kind() == SocketKind::Route && address != nullptr &&
                             length >= sizeof(QorRouteAddress);
        return matches ? 0 : failWith(EINVAL);
    }
    sockaddr_un mapped;
    if (!mapLocalAddress(address, length, mapped))
        return failWith(EINVAL);
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&mapped), sizeof mapped);
}

int SocketLayer::setOption(int socket, int level, int option, const void* value, socklen_t length) {
    if (const SocketPointer own = find(socket)) {
        const std::lock_guard lock(mutex_);
        const int error = own->setOption(level, option, value, length);
        return error == 0 ? 0 : failWith(error);
    }
    if (isPlatformOption(level, option))
        return failWith(ENOPROTOOPT);
    return ::setsockopt(socket, level, option, value, length);
}

int SocketLayer::control(int socket, unsigned long request, void* argument) {
    if (argument == nullptr)
        return failWith(EFAULT);
    if (request == kQorIoctlBytesWaiting && isOurs(socket)) {
        const auto& bytes = waiting_[static_cast<std::size_t>(socket)].bytes;
        const auto waiting = static_cast<s32>(bytes.load(std::memory_order_acquire));
        std::memcpy(argument, &waiting, sizeof waiting);
        return 0;
    }
    const SocketPointer own = find(socket);
    if (request == kQorIoctlNonBlocking) {
        int flag = 0;
        std::memcpy(&flag, argument, sizeof flag);
        if (own == nullptr)
            return ::ioctl(socket, FIONBIO, &flag);
        own->setNonBlocking(flag != 0);
        return 0;
    }
    if (request != kQorIoctlBytesWaiting)
        return failWith(EINVAL);
    return ::ioctl(socket, FIONREAD, argument);
}

int SocketLayer::select(int count, fd_set* read, fd_set* write, fd_set* except,
                        const timeval* timeout) {
    PollSet polled;
    if (count < 0 || count > FD_SETSIZE || !polled.collect(count, read, write, except))
        return failWith(EINVAL);
    // A socket of ours on which something waits needs no system call; other descriptors then wait
    // for the next call, in which they are asked as soon as nothing waits on ours.
    bool anyReady = false;
    for (pollfd& item : polled.items()) {
        const SocketPointer own = find(item.fd);
        if (own != nullptr && !own->queues().isEmpty() && (item.events & POLLIN) != 0) {
            item.revents = POLLIN;
            anyReady = true;
        }
    }
    if (!anyReady) {
        timespec wait{};
        if (timeout != nullptr)
            wait = {timeout->tv_sec, timeout->tv_usec * 1000};
        const std::span<pollfd> items = polled.items();
        finishPutOffWork();
        timePassesAsSaid();
        if (ppoll(items.data(), items.size(), timeout == nullptr ? nullptr : &wait, nullptr) < 0)
            return -1;
    }
    return polled.report(read, write, except);
}

ssize_t SocketLayer::take(FrameSocket& socket, int flags, FrameMeta& meta, std::span<u8> out) {
    for (;;) {
        {
            const std::lock_guard lock(mutex_);
            const ssize_t length = socket.queues().pop(meta, out);
            if (length >= 0)
                return length;
        }
        if (socket.isNonBlocking() || (flags & MSG_DONTWAIT) != 0)
            return failWith(EAGAIN);
        pollfd item = {socket.descriptor(), POLLIN, 0};
        if (poll(&item, 1, -1) < 0)
            return -1;
    }
}

ssize_t SocketLayer::receiveMessage(int socket, msghdr* message, int flags) {
    const SocketPointer own = find(socket);
    if (own == nullptr)
        return ::recvmsg(socket, message, flags);
    if (message == nullptr || message->msg_iovlen != 1 || own->kind() == SocketKind::Route)
        return failWith(EINVAL);
    const iovec& buffer = message->msg_iov[0];
    FrameMeta meta;
    const ssize_t length =
        take(*own, flags, meta, {static_cast<u8*>(buffer.iov_base), buffer.iov_len});
    if (length < 0)
        return length;
    message->msg_flags = static_cast<std::size_t>(length) > buffer.iov_len ? MSG_TRUNC : 0;
    fillAddress(meta, *message);
    fillControl(meta, own->attachesPacketInfo(), *message);
    return std::min(length, static_cast<ssize_t>(buffer.iov_len));
}

ssize_t SocketLayer::receiveFrom(int socket, void* buffer, size_t length, int flags, void* address,
                                 socklen_t* addressLength) {
    const SocketPointer own = find(socket);
    if (own == nullptr) {
        return ::recvfrom(socket, buffer, length, flags, static_cast<sockaddr*>(address),
                          addressLength);
    }
    FrameMeta meta;
    const ssize_t taken = take(*own, flags, meta, {static_cast<u8*>(buffer), length});
    if (taken < 0)
        return taken;
    if (address != nullptr && addressLength != nullptr) {
        const QorRouteAddress from = {static_cast<u16>(kQorFamilyRoute), 0, 0, meta.unit};
        std::memcpy(address, &from, std::min<std::size_t>(*addressLength, sizeof from));
        *addressLength = sizeof from;
    }
    return std::min(taken, static_cast<ssize_t>(length));
}

ssize_t SocketLayer::sendMessage(int socket, const msghdr* message, int flags) {
    const SocketPointer own = find(socket);
    if (own == nullptr)
        return ::sendmsg(socket, message, flags);
    if (message == nullptr || own->kind() == SocketKind::Route || message->msg_name == nullptr ||
        message->msg_namelen < sizeof(QorLinkAddress))
        return failWith(EINVAL);
    QorLinkAddress address{};
    std::memcpy(&address, message->msg_name, sizeof address);
    std::array<u8, kLongestSend> frame;
    const std::optional<std::size_t> length = gather(*message, frame);
    if (!length)
        return failWith(EMSGSIZE);
    if (transmitter_ == nullptr)
        return failWith(ENETDOWN);
    const int error = transmitter_->transmit(static_cast<u32>(address.interfaceIndex),
                                             std::span(frame).first(*length));
    return error == 0 ? static_cast<ssize_t>(*length) : failWith(error);
}

int SocketLayer::close(int socket) {
    SocketPointer own;
    {
        const std::lock_guard lock(mutex_);
        const auto found = std::ranges::find(
            open_, socket, [](const SocketPointer& s) { return s->descriptor(); });
        if (found != open_.end()) {
            own = std::move(*found);
            open_.erase(found);
            for (std::atomic<int>& place : frameSockets_)
                if (place.load() == socket)
                    place.store(-1, std::memory_order_release);
            waiting_[static_cast<std::size_t>(socket)].ours.store(false, std::memory_order_release);
        }
    }
    return own != nullptr ? 0 : ::close(socket);
}

}  // namespace platform
