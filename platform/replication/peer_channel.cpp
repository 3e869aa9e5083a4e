// SPDX-License-Identifier: MIT
#include "platform/replication/peer_channel.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace platform {
namespace {

/// Waits for `events` until the deadline. @return whether they are there
bool await(int connection, short events, Deadline deadline) {
    pollfd entry{connection, events, 0};
    int ready = 0;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        ready = poll(&entry, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    } while (ready < 0 && errno == EINTR);
    return ready == 1;
}

bool mayTryAgain(int error) {
    return error == EAGAIN || error == EINTR;
}

bool sendAll(int connection, std::span<const u8> bytes, Deadline deadline) {
    while (!bytes.empty()) {
        const ssize_t count =
            send(connection, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count >= 0)
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        else if (!mayTryAgain(errno) || !await(connection, POLLOUT, deadline))
            return false;
    }
    return true;
}

bool receiveAll(int connection, std::span<u8> bytes, Deadline deadline) {
    while (!bytes.empty()) {
        const ssize_t count = recv(connection, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count > 0)
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        else if (count == 0 || !mayTryAgain(errno) || !await(connection, POLLIN, deadline))
            return false;
    }
    return true;
}

template <typename Record>
std::span<const u8> bytesOf(const Record& record) {
    return {reinterpret_cast<const u8*>(&record), sizeof record};
}

/// Reads over the value of a reply.
bool skip(int connection, u32 length, Deadline deadline) {
    std::array<u8, 1024> ignored;
    while (length > 0) {
        const auto part = std::min<std::size_t>(length, ignored.size());
        if (!receiveAll(connection, std::span(ignored).first(part), deadline))
            return false;
        length -= static_cast<u32>(part);
    }
    return true;
}

}  // namespace

std::optional<PeerReply> requestReply(int connection, const RequestHeader& header,
                                      std::span<const u8> value, Deadline deadline) {
    ReplyHeader head{};
    const std::span<u8> headBytes(reinterpret_cast<u8*>(&head), sizeof head);
    if (!sendAll(connection, bytesOf(header), deadline) || !sendAll(connection, value, deadline) ||
        !receiveAll(connection, headBytes, deadline) || head.length > kMaxValueBytes)
        return std::nullopt;
    PeerReply reply{head.status, std::string(std::min<std::size_t>(head.length, kMostPeerText), 0)};
    const std::span<u8> text(reinterpret_cast<u8*>(reply.text.data()), reply.text.size());
    if (!receiveAll(connection, text, deadline) ||
        !skip(connection, head.length - static_cast<u32>(text.size()), deadline))
        return std::nullopt;
    return reply;
}

std::optional<u32> requestStatus(int connection, const RequestHeader& header,
                                 std::span<const u8> value, Deadline deadline) {
    const auto reply = requestReply(connection, header, value, deadline);
    return reply ? std::optional(reply->status) : std::nullopt;
}

}  // namespace platform
