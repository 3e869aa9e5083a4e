// SPDX-License-Identifier: MIT
#include "daemon/pdu/frame.h"

#include <cstring>

namespace {

constexpr u8 kPacketTypeMulticast = 2;
constexpr u32 kLengthFieldAt = 12;

}  // namespace

void mvrpFrameHeaderBegin(std::span<u8> header, const MvrpPortEntry* port, size_t bodyBytes) {
    std::copy(kMvrpGroupAddress.begin(), kMvrpGroupAddress.end(), header.begin());
    std::copy(std::begin(port->portMac), std::end(port->portMac),
              header.begin() + kMvrpGroupAddress.size());
    mvrpWriteBe16(&header[kLengthFieldAt],
                  static_cast<u32>(bodyBytes + header.size()) - kMvrpEthernetHeaderBytes);
}

ssize_t mvrpFrameSend(s32 socket, const MvrpPortEntry* port, u16 addressProtocol,
                      std::span<const u8> header, std::span<const u8> body) {
    QorLinkAddress destination = {};
    destination.family = kQorFamilyPacket;
    destination.protocol = addressProtocol;
    destination.interfaceIndex = static_cast<s32>(port->portunit);
    destination.packetType = kPacketTypeMulticast;
    destination.addressLength = static_cast<u8>(kMvrpGroupAddress.size());
    std::copy(kMvrpGroupAddress.begin(), kMvrpGroupAddress.end(), destination.address);

    // The socket layer takes what it sends by pointer to non-const, as POSIX does; it writes
    // nothing.
    std::array<iovec, 2> parts = {{
        {const_cast<u8*>(header.data()), header.size()},
        {const_cast<u8*>(body.data()), body.size()},
    }};
    msghdr message = {};
    message.msg_name = &destination;
    message.msg_namelen = sizeof(destination);
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    return qor_sendmsg(socket, &message, 0);
}
