// SPDX-License-Identifier: MIT
//
// A software switch for tests, with what it reports collected.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/switch/soft_switch.h"
#include "tests/unit/switch/driver_contract.h"

namespace platform::testing {

inline PortConfig trunk(u32 unit) {
    PortConfig port;
    port.unit = unit;
    port.name = "port" + std::to_string(unit);
    port.mac = {2, 0, 0, 0, 0, static_cast<u8>(unit)};
    port.permitTagged = vlanRange(2, kLastVlan);
    port.permitUntagged = vlanSet({1});
    return port;
}

/// Ports 3 and 5, aggregations 100 and 101.
inline SwitchConfig smallSwitch() {
    SwitchConfig config;
    config.staticVlans = vlanSet({1});
    config.ports = {trunk(3), trunk(5), trunk(100), trunk(101)};
    config.ports[2].isAggregation = true;
    config.ports[3].isAggregation = true;
    return config;
}

inline SwitchChangeRecord changeOf(SwitchChangeKind kind, u32 unit, u32 value = 0,
                                   const VlanBitmap& vlans = {}) {
    SwitchChangeRecord record{};
    record.kind = static_cast<u32>(kind);
    record.unit = unit;
    record.value = value;
    record.vlans = vlans;
    return record;
}

class SoftHarness final : public DriverHarness {
  public:
    SwitchDriver& driver() override { return soft_; }
    u32 firstPort() const override { return 3; }
    u32 secondPort() const override { return 5; }
    u32 missingPort() const override { return 4; }
    void createStaticVlans(const VlanBitmap& vlans) override {
        apply(changeOf(SwitchChangeKind::VlanCreate, 0, 0, vlans));
    }
    void deleteVlans(const VlanBitmap& vlans) override {
        apply(changeOf(SwitchChangeKind::VlanDelete, 0, 0, vlans));
    }
    void setLink(u32 port, bool up) override {
        apply(changeOf(SwitchChangeKind::PortLink, port, up ? 1 : 0));
    }

  private:
    void apply(const SwitchChangeRecord& record) {
        std::string error;
        ASSERT_EQ(soft_.change(record, error), HostStatus::Ok) << error;
    }
    SoftSwitch soft_{smallSwitch()};
};

/// One message of the route socket as the daemon reads it.
struct Message {
    u32 type = 0;
    u32 index = 0;  ///< of a reset and a MAC change too
    u32 changeMask = 0;
    u32 vid = 0;
    u32 attribute = 0;  ///< the first; 0 none
    u32 value = 0;
    bool operator==(const Message&) const = default;
};

/// Collects messages, read by the documented offsets and not through the writer's records.
class MessageLog final : public RouteSink {
  public:
    void deliver(const RouteDatagram& datagram) override {
        EXPECT_LE(datagram.bytes.size(), 3840U);
        groups.push_back(datagram.group);
        const std::vector<u8>& bytes = datagram.bytes;
        std::size_t at = 0;
        while (bytes.size() - at >= 24) {
            const u32 length = word(bytes, at);
            ASSERT_GE(length, 24U);
            ASSERT_LE(length, bytes.size() - at);
            ASSERT_EQ(length % 4, 0U);
            messages.push_back(read(bytes, at, length));
            at += length;
        }
        EXPECT_EQ(at, bytes.size());
    }
    std::vector<Message> take() { return std::exchange(messages, {}); }

    std::vector<Message> messages;
    std::vector<RouteGroup> groups;

  private:
    static u32 word(const std::vector<u8>& bytes, std::size_t at) {
        u32 value = 0;
        std::memcpy(&value, bytes.data() + at, 4);
        return value;
    }
    static u16 half(const std::vector<u8>& bytes, std::size_t at) {
        u16 value = 0;
        std::memcpy(&value, bytes.data() + at, 2);
        return value;
    }
    static Message read(const std::vector<u8>& bytes, std::size_t at, u32 length) {
        Message message;
        message.type = half(bytes, at + 4);
        const std::size_t body = at + 24;
        if (message.type == 0x185) {
            message.index = word(bytes, body);
            message.value = bytes[body + 5];
            return message;
        }
        message.index = word(bytes, body + 4);
        if (message.type == 0x144)
            return message;
        message.changeMask = word(bytes, body + 12);
        message.vid = word(bytes, body + 20);
        if (length > 48) {
            message.attribute = half(bytes, body + 26);
            message.value = half(bytes, body + 24) == 5 ? bytes[body + 28] : word(bytes, body + 28);
        }
        return message;
    }
};

}  // namespace platform::testing
