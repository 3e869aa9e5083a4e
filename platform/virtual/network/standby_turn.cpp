// SPDX-License-Identifier: MIT
#include "platform/virtual/network/standby_turn.h"

#include "daemon/sync/standby.h"
#include "platform/virtual/network/platform_events.h"
#include "platform/virtual/state/sync_message.h"

namespace simulation {
namespace {

/// Fields of a synchronisation packet.
constexpr std::size_t kUnitAt = 4;  ///< most significant byte first
constexpr std::size_t kBitmapAt = kMvrpSyncMessageBytes - kVlanBitmapBytes;

u32 unitOf(std::span<const u8> packet) {
    u32 unit = 0;
    for (const u8 byte : packet.subspan(kUnitAt, sizeof unit))
        unit = unit << 8U | byte;
    return unit;
}

void takePacket(Node& standby, StandbyMessage message) {
    if (message.packet.size() == kMvrpSyncMessageBytes && message.packet[0] == MVRP_SYNC_ADD)
        standby.told[unitOf(message.packet)] |=
            scenario::vlanSetOf(std::span(message.packet).subspan(kBitmapAt));
    QorBuffer descriptor{message.packet.data(), static_cast<u32>(message.packet.size())};
    mvrpScalarSyncApi(0, MVRP_SCALAR_SYNC_PACKET, &descriptor);
}

void takeSetting(StandbyMessage message) {
    if (message.command >= kMvrpPortCommandBase)
        mvrpPortSyncApi(message.unit, message.command - kMvrpPortCommandBase, &message.value);
    else
        syncScalar(message.command - kMvrpScalarCommandBase, message.value);
}

}  // namespace

void takeFromActive(Node& standby, std::span<const StandbyMessage> messages) {
    for (const StandbyMessage& message : messages)
        if (message.command == kSyncPacketCommand)
            takePacket(standby, message);
        else
            takeSetting(message);
}

}  // namespace simulation
