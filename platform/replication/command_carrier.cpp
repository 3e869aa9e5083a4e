// SPDX-License-Identifier: MIT
#include "platform/replication/command_carrier.h"

#include <utility>

#include "platform/channel/dispatcher.h"
#include "platform/contract/management.h"
#include "platform/runtime/log.h"

namespace platform {

CommandCarrier::CommandCarrier(const std::string& storeFile, const StandbyConfig& standby,
                               CorrectionSet corrections, LinkOwner owner)
    : store_(storeFile) {
    if (standby.configured && standby.role == HostRole::Active)
        link_ = std::make_unique<StandbyLink>(standby, corrections, std::move(owner));
}

void CommandCarrier::start() {
    store_.open();
    if (link_ != nullptr && !link_->start())
        logMessage(LogPriority::Error, "no thread to look for the standby");
}

u32 CommandCarrier::carry(u32 unit, u32 command, void* value) {
    auto parsed = parseCommand(unit, command, 0);
    if (!parsed || value == nullptr)
        return kBadArgument;
    if (!parsed->ofPort && parsed->attribute == MVRP_SCALAR_SYNC_PACKET) {
        const auto& packet = *static_cast<const QorBuffer*>(value);
        return link_ == nullptr
                   ? kStatusOk
                   : link_->carryPacket({static_cast<const u8*>(packet.data), packet.length});
    }
    parsed->value = *static_cast<const u32*>(value);
    const u32 status = link_ == nullptr ? kStatusOk : link_->carry(*parsed, until_);
    if (status != kStatusOk)
        return status;
    if (source_ == CommandSource::Management)
        store_.record(*parsed);
    else if (source_ == CommandSource::ConfigFile)
        store_.supersede(*parsed);
    return kStatusOk;
}

}  // namespace platform
