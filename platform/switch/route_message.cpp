// SPDX-License-Identifier: MIT
#include "platform/switch/route_message.h"

#include <cstring>

#include "platform/contract/qor_if.h"

namespace platform {
namespace {

constexpr u32 kCreatedMask = 0xFFFFFFFF;
/// Change mask of an interface that existed before; its bits are not looked at.
constexpr u32 kChangedMask = 1;

struct MessageHeader {
    u32 length;
    u16 type;
    std::array<u8, 18> reserved;
};
static_assert(sizeof(MessageHeader) == 24);

struct LinkBody {
    u32 reserved0;
    u32 index;
    u32 reserved1;
    u32 changeMask;
    u32 reserved2;
    u32 vid;  ///< of the membership attributes
};
static_assert(sizeof(LinkBody) == 24);

struct AttributeRecord {
    u16 length;  ///< header and value, without padding
    u16 type;
    u32 value;
};
static_assert(sizeof(AttributeRecord) == 8);
constexpr u16 kByteAttributeBytes = 5;
constexpr u16 kWordAttributeBytes = 8;

struct ResetBody {
    u32 reserved;
    u32 index;
};
static_assert(sizeof(ResetBody) == 8);

struct TunnelMacBody {
    u32 index;
    u8 reserved;
    u8 operation;
    std::array<u8, 6> mac;
};
static_assert(sizeof(TunnelMacBody) == 12);

template <typename Body>
struct Message {
    MessageHeader header;
    Body body;
};

struct ChangedLink {
    MessageHeader header;
    LinkBody body;
    AttributeRecord attribute;
};
static_assert(sizeof(ChangedLink) == 56);

template <typename Record>
Record messageOf(RouteMessageType type) {
    Record record{};
    record.header.length = sizeof record;
    record.header.type = static_cast<u16>(type);
    return record;
}

template <typename Record>
std::span<const u8> bytesOf(const Record& record) {
    static_assert(sizeof record % 4 == 0);
    return {reinterpret_cast<const u8*>(&record), sizeof record};
}

ChangedLink changedLink(u32 index, u32 vid, RouteAttribute attribute, u32 value) {
    auto message = messageOf<ChangedLink>(RouteMessageType::NewLink);
    message.body.index = index;
    message.body.changeMask = kChangedMask;
    message.body.vid = vid;
    message.attribute = {kWordAttributeBytes, static_cast<u16>(attribute), value};
    return message;
}

bool isVlanInterface(u32 index) {
    return index >= kVlanInterfaceBase;
}

}  // namespace

void RouteBatch::append(RouteGroup group, std::span<const u8> message) {
    if (datagrams_.empty() || datagrams_.back().group != group ||
        datagrams_.back().bytes.size() + message.size() > kLongestRouteDatagram)
        datagrams_.push_back({group, {}});
    std::vector<u8>& bytes = datagrams_.back().bytes;
    bytes.insert(bytes.end(), message.begin(), message.end());
}

void RouteBatch::linkCreated(u32 index) {
    auto message = messageOf<Message<LinkBody>>(RouteMessageType::NewLink);
    message.body.index = index;
    message.body.changeMask = kCreatedMask;
    append(isVlanInterface(index) ? RouteGroup::Vlan : RouteGroup::Link, bytesOf(message));
}

void RouteBatch::linkDeleted(u32 index) {
    auto message = messageOf<Message<LinkBody>>(RouteMessageType::DelLink);
    message.body.index = index;
    append(isVlanInterface(index) ? RouteGroup::Vlan : RouteGroup::Link, bytesOf(message));
}

void RouteBatch::linkState(u32 port, bool up) {
    ChangedLink message = changedLink(port, 0, RouteAttribute::LinkState, 0);
    message.attribute.length = kByteAttributeBytes;
    const u8 state = up ? 1 : 0;
    std::memcpy(&message.attribute.value, &state, sizeof state);
    append(RouteGroup::Link, bytesOf(message));
}

void RouteBatch::eligible(u32 port, bool eligible) {
    append(RouteGroup::Link,
           bytesOf(changedLink(port, 0, RouteAttribute::Eligible, eligible ? 1 : 0)));
}

void RouteBatch::joinedAggregation(u32 port, u32 aggregation) {
    append(RouteGroup::Link,
           bytesOf(changedLink(port, 0, RouteAttribute::Aggregation, aggregation)));
}

void RouteBatch::vlanTypeChanged(u32 vid, u32 type) {
    append(RouteGroup::Vlan,
           bytesOf(changedLink(kVlanInterfaceBase + vid, vid, RouteAttribute::VlanType, type)));
}

void RouteBatch::memberAdded(u32 vid, u32 port) {
    append(RouteGroup::Vlan,
           bytesOf(changedLink(kVlanInterfaceBase + vid, vid, RouteAttribute::MemberAdded, port)));
}

void RouteBatch::memberRemoved(u32 vid, u32 port) {
    append(RouteGroup::Vlan, bytesOf(changedLink(kVlanInterfaceBase + vid, vid,
                                                 RouteAttribute::MemberRemoved, port)));
}

void RouteBatch::portReset(u32 port) {
    auto message = messageOf<Message<ResetBody>>(RouteMessageType::Reset);
    message.body.index = port;
    append(RouteGroup::System, bytesOf(message));
}

void RouteBatch::tunnelMac(u32 port, u8 operation, const std::array<u8, 6>& mac) {
    auto message = messageOf<Message<TunnelMacBody>>(RouteMessageType::TunnelMacChange);
    message.body.index = port;
    message.body.operation = operation;
    message.body.mac = mac;
    append(RouteGroup::System, bytesOf(message));
}

void RouteBatch::deliverTo(RouteSink& sink) const {
    for (const RouteDatagram& datagram : datagrams_)
        sink.deliver(datagram);
}

}  // namespace platform
