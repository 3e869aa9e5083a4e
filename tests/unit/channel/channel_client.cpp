// SPDX-License-Identifier: MIT
#include "tests/unit/channel/channel_client.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>

namespace platform {

u32 ChannelReply::number() const {
    u32 result = 0;
    EXPECT_EQ(value.size(), sizeof result);
    if (value.size() == sizeof result)
        std::memcpy(&result, value.data(), sizeof result);
    return result;
}

std::vector<u8> bytesOf(u32 number) {
    std::vector<u8> bytes(sizeof number);
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

std::vector<u8> requestBytes(u32 request, u32 unit, u32 attribute, const std::vector<u8>& value) {
    const RequestHeader header{request, unit, attribute, static_cast<u32>(value.size())};
    std::vector<u8> bytes(sizeof header + value.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    std::ranges::copy(value, bytes.begin() + sizeof header);
    return bytes;
}

ChannelClient::ChannelClient(const std::string& path)
    : connection_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(connection_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0)
        connection_ = Descriptor();
}

bool ChannelClient::send(const std::vector<u8>& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            ::send(connection_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0)
            return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

bool ChannelClient::sendWith(const std::vector<u8>& bytes, const std::vector<int>& descriptors) {
    const std::size_t length = descriptors.size() * sizeof(int);
    std::vector<u8> control(CMSG_SPACE(length));
    iovec part{const_cast<u8*>(bytes.data()), bytes.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const item = CMSG_FIRSTHDR(&message);
    item->cmsg_level = SOL_SOCKET;
    item->cmsg_type = SCM_RIGHTS;
    item->cmsg_len = CMSG_LEN(length);
    std::memcpy(CMSG_DATA(item), descriptors.data(), length);
    return sendmsg(connection_.get(), &message, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

void ChannelClient::finish() {
    shutdown(connection_.get(), SHUT_WR);
}

bool ChannelClient::receiveAll(void* bytes, std::size_t length) {
    auto* next = static_cast<u8*>(bytes);
    while (length > 0) {
        const ssize_t count = recv(connection_.get(), next, length, 0);
        if (count <= 0)
            return false;
        next += count;
        length -= static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<ChannelReply> ChannelClient::receive() {
    ReplyHeader header{};
    if (!receiveAll(&header, sizeof header))
        return std::nullopt;
    ChannelReply reply{header.status, std::vector<u8>(header.length)};
    if (!receiveAll(reply.value.data(), reply.value.size()))
        return std::nullopt;
    return reply;
}

ChannelReply ChannelClient::call(u32 request, u32 unit, u32 attribute,
                                 const std::vector<u8>& value) {
    EXPECT_TRUE(send(requestBytes(request, unit, attribute, value)));
    const auto reply = receive();
    EXPECT_TRUE(reply) << "the connection ended";
    return reply.value_or(ChannelReply{kStatusFailed, {}});
}

}  // namespace platform
