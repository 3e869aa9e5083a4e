// SPDX-License-Identifier: MIT
#include "platform/net/cables/cable.h"

#include <cerrno>
#include <cstring>

namespace platform {

bool isWant(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

bool CableFailure::mayPass() const {
    return number == ENODEV || number == ENXIO || isWant(number);
}

FrameBatch::FrameBatch() {
    for (std::size_t i = 0; i < kMostFrames; ++i) {
        parts_[i] = {buffers_[i].data(), buffers_[i].size()};
        messages_[i] = {};
        messages_[i].msg_hdr.msg_iov = &parts_[i];
        messages_[i].msg_hdr.msg_iovlen = 1;
        messages_[i].msg_hdr.msg_control = controls_[i].data();
    }
}

std::size_t FrameBatch::receiveFrom(int descriptor) {
    for (mmsghdr& message : messages_)
        message.msg_hdr.msg_controllen = kControlBytes;
    const int got = recvmmsg(descriptor, messages_.data(), kMostFrames, MSG_DONTWAIT, nullptr);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

ReceivedFrame FrameBatch::frame(std::size_t index) const {
    const msghdr& message = messages_[index].msg_hdr;
    bool tagged = false;
    for (const cmsghdr* item = CMSG_FIRSTHDR(&message); item != nullptr;
         item = CMSG_NXTHDR(const_cast<msghdr*>(&message), const_cast<cmsghdr*>(item))) {
        if (item->cmsg_level == SOL_PACKET && item->cmsg_type == PACKET_AUXDATA) {
            tpacket_auxdata auxdata{};
            std::memcpy(&auxdata, CMSG_DATA(item), sizeof auxdata);
            tagged = (auxdata.tp_status & TP_STATUS_VLAN_VALID) != 0;
        }
    }
    return {std::span(buffers_[index]).first(messages_[index].msg_len), tagged};
}

}  // namespace platform
