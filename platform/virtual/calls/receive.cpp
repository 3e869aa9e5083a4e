// SPDX-License-Identifier: MIT
//
// The receive calls of the scenario host: they deliver what the scenario queued.
#include <algorithm>
#include <array>
#include <cstring>

#include "platform/contract/qor_socket.h"
#include "platform/virtual/state/host.h"

using scenario::failureKey;
using scenario::nameOfDescriptor;
using scenario::QueuedFrame;
using scenario::scenarioHost;
using scenario::SocketId;
using scenario::traceEvent;

namespace {

/// One item of ancillary data.
struct PacketInfoItem {
    QorControlHeader header;
    QorPacketInfo info;
};

/// Copies as much as fits. @return bytes copied
std::size_t copyCut(const std::vector<u8>& bytes, void* buffer, std::size_t room) {
    const std::size_t length = std::min(bytes.size(), room);
    if (length > 0)
        std::memcpy(buffer, bytes.data(), length);
    return length;
}

void fillAddress(const QueuedFrame& frame, msghdr* message) {
    if (message->msg_name == nullptr || message->msg_namelen < sizeof(QorLinkAddress))
        return;
    QorLinkAddress address{};
    address.family = kQorFamilyPacket;
    address.interfaceIndex = static_cast<s32>(frame.interfaceIndex);
    std::memcpy(message->msg_name, &address, sizeof address);
    message->msg_namelen = sizeof address;
}

/// An item of ancillary data that is not the daemon's. Its length is no multiple of 4, so it is
/// padded.
struct ForeignItem {
    QorControlHeader header;
    std::array<u8, 4> data;
};
constexpr u32 kForeignLength = sizeof(ForeignItem) - 1;

/// Attaches the packet information of a frame that has one, where the caller left room for it.
void fillControl(const QueuedFrame& frame, msghdr* message) {
    const std::size_t before = frame.foreignItem ? sizeof(ForeignItem) : 0;
    const std::size_t length = before + sizeof(PacketInfoItem);
    const bool wanted = frame.destination && message->msg_controllen >= length;
    message->msg_controllen = wanted ? static_cast<decltype(message->msg_controllen)>(length) : 0;
    if (!wanted)
        return;
    auto* control = static_cast<u8*>(message->msg_control);
    if (frame.foreignItem) {
        const ForeignItem foreign{{kForeignLength, kQorLevelSocket, kQorOptionPacketInfo}, {}};
        std::memcpy(control, &foreign, sizeof foreign);
    }
    PacketInfoItem item{};
    item.header = {sizeof item, kQorLevelPacket, kQorOptionPacketInfo};
    item.info.pduOffset = frame.pduOffset;
    std::copy(frame.destination->begin(), frame.destination->end(), item.info.destination);
    std::memcpy(control + before, &item, sizeof item);
}

}  // namespace

ssize_t qor_recvmsg(int socket, msghdr* message, int) {
    traceEvent("sys recvmsg %s", nameOfDescriptor(socket).data());
    const auto id = scenario::socketOf(socket);
    auto& queues = scenarioHost().sockets.frames;
    if (!id || static_cast<u32>(*id) >= queues.size() || queues[static_cast<u32>(*id)].empty())
        return -1;
    auto& queue = queues[static_cast<u32>(*id)];
    const QueuedFrame frame = std::move(queue.front());
    queue.pop_front();
    if (frame.bytes.empty()) {
        message->msg_controllen = 0;
        return 0;
    }
    fillAddress(frame, message);
    fillControl(frame, message);
    return static_cast<ssize_t>(
        copyCut(frame.bytes, message->msg_iov[0].iov_base, message->msg_iov[0].iov_len));
}

ssize_t qor_recvfrom(int socket, void* buffer, size_t length, int, void*, socklen_t*) {
    traceEvent("sys recvfrom %s", nameOfDescriptor(socket).data());
    auto& queue = scenarioHost().sockets.routeMessages;
    if (queue.empty())
        return -1;
    const std::vector<u8> bytes = std::move(queue.front());
    queue.pop_front();
    return static_cast<ssize_t>(copyCut(bytes, buffer, length));
}

int qor_accept(int socket, void*, socklen_t*) {
    traceEvent("sys accept %s", nameOfDescriptor(socket).data());
    const auto failure = scenarioHost().failures.take("accept", {nameOfDescriptor(socket)});
    return failure ? static_cast<int>(*failure) : scenario::kDebugConnection;
}

ssize_t qor_recv(int socket, void* buffer, size_t length, int) {
    traceEvent("sys recv %s", nameOfDescriptor(socket).data());
    auto& sockets = scenarioHost().sockets;
    const std::size_t left = sockets.connectionBytes.size() - sockets.connectionRead;
    const std::size_t given = std::min(left, length);
    if (given > 0)
        std::memcpy(buffer, sockets.connectionBytes.data() + sockets.connectionRead, given);
    sockets.connectionRead += given;
    return static_cast<ssize_t>(given);
}
