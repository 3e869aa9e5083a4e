// SPDX-License-Identifier: MIT
#include "platform/channel/client_connection.h"

#include <sys/socket.h>

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

ClientConnection::ClientConnection(Descriptor connection) : connection_(std::move(connection)) {}

bool ClientConnection::wantsToRead() const {
    return stream_ == Stream::Open && unread() < kMaxUnread && unsent() < kMaxUnsent;
}

void ClientConnection::receive() {
    if (!wantsToRead())
        return;
    input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(taken_));
    taken_ = 0;
    const std::size_t before = input_.size();
    input_.resize(std::min(before + kReadBytes, kMaxUnread));
    const ssize_t received =
        recv(connection_.get(), input_.data() + before, input_.size() - before, MSG_DONTWAIT);
    const int error = errno;
    input_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
    if (received == 0 || (received < 0 && !wouldWait(error)))
        stream_ = Stream::Ended;
}

bool ClientConnection::takeHeader(RequestHeader& header) {
    if (stream_ == Stream::Broken || unread() < sizeof header)
        return false;
    std::memcpy(&header, input_.data() + taken_, sizeof header);
    if (header.length > kMaxValueBytes) {
        logMessage(LogPriority::Warning,
                   "command channel: a request with a value of %u bytes, at most %u are allowed; "
                   "the connection is closed",
                   header.length, kMaxValueBytes);
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
    reply.status = server(header, value, output_);
    if (output_.size() > begin + sizeof reply + kMaxValueBytes)
        output_.resize(begin + sizeof reply + kMaxValueBytes);
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
    }
    output_.erase(output_.begin(), output_.begin() + static_cast<std::ptrdiff_t>(sent_));
    sent_ = 0;
}

bool ClientConnection::finished() const {
    return lost_ || (stream_ != Stream::Open && !wantsToWrite() && !wantsToServe());
}

}  // namespace platform
