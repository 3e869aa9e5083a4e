// SPDX-License-Identifier: MIT
#include "platform/net/sockets/frame_socket.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace platform {
namespace {

/// Receive buffer of a socket that sets none.
constexpr std::size_t kDefaultLimitBytes = 212992;

/// A neighbour that declares or withdraws all VLANs in their dearest form sends a dozen frames.
constexpr u32 kFramesOfAPort = 128;
constexpr u32 kNotifications = 512;
constexpr u32 kAllNotifications = 0;  ///< their one source
constexpr std::size_t kMostMatches = 8192;
constexpr std::size_t kMostGroups = 64;

constexpr u32 kMatchInterface = 1;
constexpr u32 kMatchMac = 2;

bool sameMatch(const QorReceiveMatch& a, const QorReceiveMatch& b) {
    return a.interfaceIndex == b.interfaceIndex && a.kind == b.kind &&
           std::memcmp(a.value, b.value, sizeof a.value) == 0;
}

/// Reads an option's value. @return false when it has another length than its type
template <typename Value>
bool readValue(const void* value, socklen_t length, Value& out) {
    if (value == nullptr || length != sizeof out)
        return false;
    std::memcpy(&out, value, sizeof out);
    return true;
}

}  // namespace

FrameSocket::FrameSocket(SocketKind kind, Descriptor ready, std::atomic<u32>* waitingBytes)
    : kind_(kind),
      ready_(std::move(ready)),
      queues_(ready_.get(),
              {kind == SocketKind::Route ? kNotifications : kFramesOfAPort, kDefaultLimitBytes},
              waitingBytes) {}

Delivery FrameSocket::deliver(const FrameMeta& meta, std::span<const u8> frame) {
    if (isTunnelled(meta))
        return Delivery::Tunnel;
    return queues_.push(meta.unit, meta, frame) ? Delivery::Delivered : Delivery::Overflow;
}

Delivery FrameSocket::deliver(const RouteDatagram& datagram) {
    const u32 group = static_cast<u32>(datagram.group);
    if (std::ranges::find(groups_, group) == groups_.end())
        return Delivery::NoSocket;
    FrameMeta meta;
    meta.unit = group;
    return queues_.push(kAllNotifications, meta, datagram.bytes) ? Delivery::Delivered
                                                                 : Delivery::Overflow;
}

int FrameSocket::setOption(int level, int option, const void* value, socklen_t length) {
    u32 word = 0;
    QorReceiveMatch match{};
    if (level == kQorLevelSocket && option == kQorOptionMatchAdd)
        return readValue(value, length, match) ? addMatch(match) : EINVAL;
    if (level == kQorLevelSocket && option == kQorOptionMatchRemove)
        return readValue(value, length, match) ? removeMatch(match) : EINVAL;
    if (!readValue(value, length, word))
        return EINVAL;
    if (level == kQorLevelSocket && option == kQorOptionOwner) {
        owner_.store(word);
        return 0;
    }
    if (level == kQorLevelSocket && option == kQorOptionReceiveBuffer) {
        queues_.setLimit(word);
        return 0;
    }
    if (level == kQorLevelPacket && option == kQorOptionPacketInfo && kind_ != SocketKind::Route) {
        packetInfo_.store(word != 0);
        return 0;
    }
    if (level == kQorLevelRoute && option == kQorOptionAddMembership &&
        kind_ == SocketKind::Route) {
        if (std::ranges::find(groups_, word) == groups_.end()) {
            if (groups_.size() >= kMostGroups)
                return ENOBUFS;
            groups_.push_back(word);
        }
        return 0;
    }
    return ENOPROTOOPT;
}

int FrameSocket::addMatch(const QorReceiveMatch& match) {
    if (kind_ == SocketKind::Route || match.length != sizeof match ||
        (match.kind != kMatchInterface && match.kind != kMatchMac))
        return EINVAL;
    if (std::ranges::any_of(matches_, [&](const auto& m) { return sameMatch(m, match); }))
        return 0;
    if (matches_.size() >= kMostMatches)
        return ENOBUFS;
    matches_.push_back(match);
    return 0;
}

int FrameSocket::removeMatch(const QorReceiveMatch& match) {
    if (kind_ == SocketKind::Route)
        return EINVAL;
    return std::erase_if(matches_, [&](const auto& m) { return sameMatch(m, match); }) == 0 ? ENOENT
                                                                                            : 0;
}

/// A pair is installed while both of its records are: the one naming the port and the one naming
/// the address.
bool FrameSocket::isTunnelled(const FrameMeta& meta) const {
    bool port = false;
    bool address = false;
    for (const QorReceiveMatch& match : matches_) {
        if (match.interfaceIndex == meta.unit) {
            port = port || match.kind == kMatchInterface;
            address = address ||
                      (match.kind == kMatchMac && std::memcmp(match.value, meta.destination.data(),
                                                              meta.destination.size()) == 0);
        }
    }
    return port && address;
}

}  // namespace platform
