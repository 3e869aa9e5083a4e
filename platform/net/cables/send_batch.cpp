// SPDX-License-Identifier: MIT
#include "platform/net/cables/send_batch.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace platform {

SendBatch::SendBatch() {
    for (std::size_t i = 0; i < kMostFrames; ++i) {
        addresses_[i].sll_family = AF_PACKET;
        msghdr& header = messages_[i].msg_hdr;
        header.msg_name = &addresses_[i];
        header.msg_namelen = sizeof addresses_[i];
        header.msg_iov = &parts_[i];
        header.msg_iovlen = 1;
    }
}

void SendBatch::open() {
    // Protocol 0: it receives nothing.
    if (!socket_.isOpen())
        socket_ = Descriptor(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

void SendBatch::add(u32 unit, u32 port, std::shared_ptr<Cable> cable, std::span<const u8> frame) {
    const std::size_t at = count_++;
    const std::span<u8> kept = std::span(bytes_[at]).first(frame.size());
    std::ranges::copy(frame, kept.begin());
    addresses_[at].sll_ifindex = cable->interfaceIndex();
    parts_[at] = {kept.data(), kept.size()};
    items_[at] = {unit, port, std::move(cable), kept, 0};
}

std::span<SendBatch::Item> SendBatch::send() {
    for (std::size_t at = 0; at < count_;) {
        const int sent = sendmmsg(socket_.get(), &messages_[at], static_cast<unsigned>(count_ - at),
                                  MSG_DONTWAIT);
        // The call ends in front of the first that is refused, and says why when it begins there.
        if (sent > 0)
            at += static_cast<std::size_t>(sent);
        else
            items_[at++].error = errno;
    }
    return std::span(items_).first(count_);
}

void SendBatch::clear() {
    for (Item& item : std::span(items_).first(count_))
        item.cable.reset();
    count_ = 0;
}

}  // namespace platform
