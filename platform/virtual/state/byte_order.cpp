// SPDX-License-Identifier: MIT
#include "platform/virtual/state/byte_order.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "daemon/events/message.h"
#include "platform/contract/qor_socket.h"

namespace scenario {
namespace {

constexpr bool kLowestFirst = std::endian::native == std::endian::little;
constexpr std::size_t kAttributeHeaderBytes = 4;
constexpr std::size_t kAttributeTypeAt = 2;

/// The number at a place, and its bytes turned around; 0, and nothing, if it is cut.
template <class T>
T turnField(std::span<u8> bytes, std::size_t at) {
    if (at + sizeof(T) > bytes.size())
        return 0;
    const auto field = bytes.subspan(at, sizeof(T));
    std::ranges::reverse(field);
    T value = 0;
    for (const u8 byte : field)
        value = static_cast<T>(value << 8U | byte);
    return value;
}

void turnAttributes(std::span<u8> rest) {
    while (rest.size() >= kAttributeHeaderBytes) {
        const std::size_t length = turnField<u16>(rest, 0);
        const u16 type = turnField<u16>(rest, kAttributeTypeAt);
        if (length < kAttributeHeaderBytes || length > rest.size())
            return;
        const std::size_t next = std::min(mvrpRouteAlign(length), rest.size());
        // A value that its length denies is read all the same, unless the next header lies there.
        const bool itsOwn = next >= kAttributeHeaderBytes + sizeof(u32) || next == rest.size();
        if (type != LINK_STATE && itsOwn)
            turnField<u32>(rest, kAttributeHeaderBytes);
        rest = rest.subspan(next);
    }
}

void turnLink(std::span<u8> message) {
    turnField<u32>(message, ROUTE_LINK_INTERFACE);
    turnField<u32>(message, ROUTE_LINK_VLAN);
    const u32 changed = turnField<u32>(message, ROUTE_LINK_CHANGE_MASK);
    if (changed != kMvrpLinkCreated && message.size() >= kMvrpLinkAttributesAt)
        turnAttributes(message.subspan(kMvrpLinkAttributesAt));
}

void turnBody(std::span<u8> message, u16 type) {
    switch (type) {
        case ROUTE_NEW_LINK:
            turnLink(message);
            break;
        case ROUTE_DEL_LINK:
            turnField<u32>(message, ROUTE_LINK_INTERFACE);
            break;
        case ROUTE_RESET:
            turnField<u32>(message, ROUTE_RESET_INTERFACE);
            break;
        case ROUTE_TUNNEL_MAC_CHANGE:
            turnField<u32>(message, ROUTE_TUNNEL_INTERFACE);
            break;
        default:
            break;
    }
}

}  // namespace

void turnRouteMessages(std::span<u8> messages) {
    while (messages.size() >= kMvrpRouteHeaderBytes) {
        const std::size_t length = turnField<u32>(messages, ROUTE_LENGTH);
        const u16 type = turnField<u16>(messages, ROUTE_TYPE);
        if (length < kMvrpRouteHeaderBytes || length > messages.size())
            return;
        turnBody(messages.first(length), type);
        messages = messages.subspan(std::min(mvrpRouteAlign(length), messages.size()));
    }
}

void turnWords(std::span<u8> bytes) {
    for (std::size_t at = 0; at + sizeof(u32) <= bytes.size(); at += sizeof(u32))
        turnField<u32>(bytes, at);
}

void turnReceiveMatch(std::span<u8> match) {
    constexpr u32 kValueIsIndex = 1;
    if (match.size() != sizeof(QorReceiveMatch))
        return;
    turnField<u32>(match, offsetof(QorReceiveMatch, interfaceIndex));
    const u32 kind = turnField<u32>(match, offsetof(QorReceiveMatch, kind));
    // Which of the two it was before is not known here: none of the other kinds is its mirror.
    if (kind == kValueIsIndex || kind == kValueIsIndex << 24U)
        turnField<u32>(match, offsetof(QorReceiveMatch, value));
}

void routeMessagesFromLittleEndian(std::span<u8> messages) {
    if constexpr (!kLowestFirst)
        turnRouteMessages(messages);
}

void wordsFromLittleEndian(std::span<u8> bytes) {
    if constexpr (!kLowestFirst)
        turnWords(bytes);
}

void receiveMatchToLittleEndian(std::span<u8> match) {
    if constexpr (!kLowestFirst)
        turnReceiveMatch(match);
}

}  // namespace scenario
