// SPDX-License-Identifier: MIT
//
// The socket layer of the scenario host: set-up and options, sending, and what waits. The receive
// calls stand in receive.cpp.
#include "platform/contract/qor_socket.h"

#include <cstring>
#include <string>
#include <vector>

#include "platform/virtual/state/byte_order.h"
#include "platform/virtual/state/host.h"

using scenario::descriptorOf;
using scenario::failureKey;
using scenario::FailureList;
using scenario::nameOfDescriptor;
using scenario::scenarioHost;
using scenario::SocketId;
using scenario::traceEvent;

namespace {

constexpr std::string_view kReceiveBufferName = "SO_RCVBUF";

SocketId socketFor(int family, int protocol) {
    if (family == kQorFamilyRoute)
        return SocketId::Route;
    if (family == kQorFamilyPacket)
        return protocol == kQorProtocolMvrp ? SocketId::Mvrp : SocketId::Gvrp;
    return SocketId::Debug;
}

/// The answer of an injected failure of a call that is matched by its socket alone.
std::optional<int> failureOf(std::string_view call, std::string_view socket) {
    const auto failure = scenarioHost().failures.take(call, {socket});
    return failure ? std::optional(static_cast<int>(*failure)) : std::nullopt;
}

/// The answer of an injected failure of a send.
std::optional<u32> failureOfSend(int socket, u32 unit) {
    FailureList& failures = scenarioHost().failures;
    if (failures.empty())
        return std::nullopt;
    const std::string name(nameOfDescriptor(socket));
    return failures.take("send", {name, name + ":" + std::to_string(unit)});
}

struct OptionText {
    std::string name;
    std::string key;  ///< of injected failures
    std::string value;
};

OptionText describeOption(int level, int option, const void* value, socklen_t length) {
    OptionText text;
    const auto number = static_cast<u32>(option);
    if (level == kQorLevelSocket && option == kQorOptionReceiveBuffer) {
        text.name = kReceiveBufferName;
        text.key = "so_rcvbuf";
    } else {
        const u8 bytes[] = {static_cast<u8>(number >> 8U), static_cast<u8>(number)};
        const std::string digits = scenario::toHex(bytes, sizeof bytes);
        text.name =
            "0x" + digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
        text.key = failureKey({number}).text();
    }
    if (length == sizeof(u32)) {
        u32 word = 0;
        std::memcpy(&word, value, sizeof word);
        text.value = std::to_string(word);
    } else {
        const auto* first = static_cast<const u8*>(value);
        std::vector<u8> bytes(first, first + length);
        scenario::receiveMatchToLittleEndian(bytes);
        text.value = scenario::toHex(bytes.data(), bytes.size());
    }
    return text;
}

/// The gathered bytes of a message.
std::vector<u8> gather(const msghdr& message) {
    std::vector<u8> bytes;
    const auto parts = static_cast<std::size_t>(message.msg_iovlen);
    std::size_t length = 0;
    for (std::size_t index = 0; index < parts; index++)
        length += message.msg_iov[index].iov_len;
    bytes.reserve(length);
    for (std::size_t index = 0; index < parts; index++) {
        const auto* part = static_cast<const u8*>(message.msg_iov[index].iov_base);
        bytes.insert(bytes.end(), part, part + message.msg_iov[index].iov_len);
    }
    return bytes;
}

u64 toMs(const timeval* timeout) {
    constexpr u64 kMsPerSecond = 1000;
    constexpr u64 kUsPerMs = 1000;
    if (timeout == nullptr)
        return 0;
    return static_cast<u64>(timeout->tv_sec) * kMsPerSecond +
           static_cast<u64>(timeout->tv_usec) / kUsPerMs;
}

/// Leaves in `read` only those of its sockets that have something queued. @return how many
int keepReadable(fd_set* read) {
    const fd_set wanted = *read;
    FD_ZERO(read);
    int ready = 0;
    for (u32 index = 0; index < scenario::kSocketCount; index++) {
        const auto id = static_cast<SocketId>(index);
        if (!FD_ISSET(descriptorOf(id), &wanted) || !scenarioHost().sockets.readable(id))
            continue;
        FD_SET(descriptorOf(id), read);
        ready++;
    }
    return ready;
}

}  // namespace

int qor_socket(int family, int type, int protocol) {
    const SocketId id = socketFor(family, protocol);
    const auto name = scenario::kSocketNames[static_cast<u32>(id)];
    traceEvent("sys socket %s %d %d 0x%x", name.data(), family, type,
               static_cast<unsigned>(protocol));
    return failureOf("socket", name).value_or(descriptorOf(id));
}

int qor_bind(int socket, const void*, socklen_t) {
    traceEvent("sys bind %s", nameOfDescriptor(socket).data());
    return failureOf("bind", nameOfDescriptor(socket)).value_or(0);
}

int qor_listen(int socket, int backlog) {
    traceEvent("sys listen %s %d", nameOfDescriptor(socket).data(), backlog);
    return failureOf("listen", nameOfDescriptor(socket)).value_or(0);
}

int qor_close(int socket) {
    traceEvent("sys close %s", nameOfDescriptor(socket).data());
    return 0;
}

int qor_setsockopt(int socket, int level, int option, const void* value, socklen_t length) {
    const std::string name(nameOfDescriptor(socket));
    const OptionText text = describeOption(level, option, value, length);
    const std::string levelName = level == kQorLevelSocket ? "SOL_SOCKET" : std::to_string(level);
    traceEvent("sockopt %s %s %s %s", name.c_str(), levelName.c_str(), text.name.c_str(),
               text.value.c_str());
    const std::string optionKey = name + ":" + text.key;
    const auto failure =
        scenarioHost().failures.take("sockopt", {name, optionKey, optionKey + ":" + text.value});
    return failure ? static_cast<int>(*failure) : 0;
}

int qor_ioctl(int socket, unsigned long request, void* argument) {
    const auto name = nameOfDescriptor(socket);
    if (request == kQorIoctlNonBlocking)
        traceEvent("ioctl %s FIONBIO", name.data());
    else
        traceEvent("ioctl %s 0x%lx", name.data(), request);
    if (const auto failure = failureOf("ioctl", name))
        return *failure;
    const auto id = scenario::socketOf(socket);
    if (request == kQorIoctlBytesWaiting && id)
        *static_cast<s32*>(argument) =
            static_cast<s32>(scenarioHost().sockets.waiting[static_cast<u32>(*id)].next());
    return 0;
}

int qor_select(int, fd_set* read, fd_set*, fd_set*, timeval* timeout) {
    const u64 waitMs = toMs(timeout);
    traceEvent("sys select %llu", static_cast<unsigned long long>(waitMs));
    if (const auto failure = scenarioHost().failures.take("select", {}))
        return static_cast<int>(*failure);
    const int ready = keepReadable(read);
    if (ready == 0)
        scenarioHost().nowMs += waitMs;
    return ready;
}

ssize_t qor_sendmsg(int socket, const msghdr* message, int) {
    const auto& address = *static_cast<const QorLinkAddress*>(message->msg_name);
    const auto unit = static_cast<u32>(address.interfaceIndex);
    std::vector<u8> frame = gather(*message);
    const auto length = static_cast<ssize_t>(frame.size());
    if (scenario::tracing())
        traceEvent("send %s %u %s", nameOfDescriptor(socket).data(), unit,
                   scenario::toHex(frame.data(), frame.size()).c_str());
    if (const auto failure = failureOfSend(socket, unit))
        return static_cast<s32>(*failure);
    if (scenarioHost().onSend)
        scenarioHost().onSend(unit, socket == descriptorOf(SocketId::Gvrp), std::move(frame));
    return length;
}
