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
    items_[at] = {unit, port, std::move(cable), kept, false};
}

bool SendBatch::endsWith(u32 port, std::span<const u8> frame) const {
    for (std::size_t at = count_; at-- > 0;)
        if (items_[at].port == port)
            return std::ranges::equal(items_[at].frame, frame);
    return false;
}

std::span<SendBatch::Item> SendBatch::send() {
    const std::span<Item> items = std::span(items_).first(count_);
    for (std::size_t at = 0; at < count_;) {
        std::size_t end = at;
        while (end < count_ && takesTogether(*items[end].cable))
            ++end;
        // The call ends in front of the first that is refused, or fails when it begins there.
        const int sent = end == at ? 0
                                   : sendmmsg(socket_.get(), &messages_[at],
                                              static_cast<unsigned>(end - at), MSG_DONTWAIT);
        for (const std::size_t stop = at + static_cast<std::size_t>(std::max(sent, 0)); at < stop;
             ++at)
            items[at].isSent = true;
        if (sent <= 0)
            ++at;
    }
    return items;
}

void SendBatch::clear() {
    for (Item& item : std::span(items_).first(count_))
        item.cable.reset();
    count_ = 0;
}

}  // namespace platform
