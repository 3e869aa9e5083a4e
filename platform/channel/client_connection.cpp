// SPDX-License-Identifier: MIT
#include "platform/channel/client_connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/runtime/log.h"

namespace platform {
namespace {

/// Bytes of requests kept: one of the largest size.
constexpr std::size_t kMaxUnread = sizeof(RequestHeader) + kMaxValueBytes;
/// Read at a time, and kept by an idle client.
constexpr std::size_t kReadBytes = std::size_t{16} * 1024;

bool wouldWait(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace

ClientConnection::ClientConnection(Descriptor connection, LogLimit& limit)
    : connection_(std::move(connection)), limit_(limit) {}

bool ClientConnection::wantsToRead() const {
    return stream_ == Stream::Open && unread() < kMaxUnread && unsent() < kMaxUnsent;
}

void ClientConnection::receive() {
    if (!wantsToRead())
        return;
    input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(taken_));
    for (Passed& passed : passed_)
        passed.end -= taken_;
    taken_ = 0;
    const std::size_t before = input_.size();
    input_.resize(std::min(before + kReadBytes, kMaxUnread));
    const std::size_t already = passed_.size();
    const ssize_t received = receiveInto(std::span(input_).subspan(before));
    const int error = errno;
    input_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
    for (std::size_t index = already; index < passed_.size(); index++)
        passed_[index].end = input_.size();
    if (received > 0)
        lastActive_ = Clock::now();
    if (received == 0 || (received < 0 && !wouldWait(error)))
        stream_ = Stream::Ended;
}

/// The kernel ends a read behind the bytes that descriptors came with.
ssize_t ClientConnection::receiveInto(std::span<u8> room) {
    constexpr std::size_t kControlBytes = CMSG_SPACE(kMostPassed * sizeof(int));
    alignas(cmsghdr) std::array<u8, kControlBytes> control;
    iovec part{room.data(), room.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t received = recvmsg(connection_.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    const int error = errno;
    for (cmsghdr* item = received < 0 ? nullptr : CMSG_FIRSTHDR(&message); item != nullptr;
         item = CMSG_NXTHDR(&message, item)) {
        if (item->cmsg_level != SOL_SOCKET || item->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (item->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t index = 0; index < count; index++) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(item) + index * sizeof number, sizeof number);
            keepPassed(Descriptor(number));
        }
    }
    errno = error;
    return received;
}

void ClientConnection::keepPassed(Descriptor descriptor) {
    if (passed_.size() < kMostPassed)
        passed_.push_back({0, std::move(descriptor)});
}

Descriptor ClientConnection::passedWith(std::size_t end) {
    Descriptor found;
    const auto later =
        std::ranges::find_if(passed_, [end](const Passed& passed) { return passed.end > end; });
    if (later != passed_.begin())
        found = std::move(passed_.front().descriptor);
    passed_.erase(passed_.begin(), later);
    return found;
}

bool ClientConnection::takeHeader(RequestHeader& header) {
    if (stream_ == Stream::Broken || unread() < sizeof header)
        return false;
    std::memcpy(&header, input_.data() + taken_, sizeof header);
    if (header.length > kMaxValueBytes) {
        if (const auto left = limit_.mayLog())
            logMessage(LogPriority::Warning,
                       "command channel: a request with a value of %u bytes, at most %u are "
                       "allowed; the connection is closed%s",
                       header.length, kMaxValueBytes, LogLimit::leftOut(*left).c_str());
        stream_ = Stream::Broken;
        return false;
    }
    return unread() >= sizeof header + header.length;
}

bool ClientConnection::wantsToServe() const {
    RequestHeader header{};
    if (stream_ == Stream::Broken || unsent() >= kMaxUnsent || unread() < sizeof header)
        return false;
    std::memcpy(&header, input_.data() + taken_, sizeof header);
    return header.length > kMaxValueBytes || unread() >= sizeof header + header.length;
}

void ClientConnection::serveOne(const RequestHeader& header, const RequestServer& server) {
    const std::span<const u8> value(input_.data() + taken_ + sizeof header, header.length);
    const std::size_t begin = output_.size();
    output_.resize(begin + sizeof(ReplyHeader));
    ReplyHeader reply{};
    passedNow_ = passedWith(taken_ + sizeof header + header.length);
    reply.status = server(header, value, output_);
    passedNow_ = Descriptor();
    const std::size_t most = begin + sizeof reply + maxReplyBytes(header.request);
    if (output_.size() > most)
        output_.resize(most);
    reply.length = static_cast<u32>(output_.size() - begin - sizeof reply);
    std::memcpy(output_.data() + begin, &reply, sizeof reply);
    taken_ += sizeof header + header.length;
}

void ClientConnection::serve(const RequestServer& server) {
    RequestHeader header{};
    for (u32 served = 0; served < kRequestsPerTurn; served++) {
        if (unsent() >= kMaxUnsent || !takeHeader(header))
            break;
        serveOne(header, server);
    }
    send();
}

void ClientConnection::send() {
    while (wantsToWrite() && !lost_) {
        const ssize_t gone = ::send(connection_.get(), output_.data() + sent_, unsent(),
                                    MSG_DONTWAIT | MSG_NOSIGNAL);
        if (gone < 0) {
            lost_ = !wouldWait(errno);
            break;
        }
        sent_ += static_cast<std::size_t>(gone);
        lastActive_ = Clock::now();
    }
    output_.erase(output_.begin(), output_.begin() + static_cast<std::ptrdiff_t>(sent_));
    sent_ = 0;
}

bool ClientConnection::finished() const {
    return lost_ || (stream_ != Stream::Open && !wantsToWrite() && !wantsToServe());
}

}  // namespace platform
