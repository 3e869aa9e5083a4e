// SPDX-License-Identifier: MIT
#include "platform/replication/outbox.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::size_t kKindAt = 0;
constexpr std::size_t kUnitAt = 4;

u32 unitOf(std::span<const u8> message) {
    u32 unit = 0;
    for (const u8 byte : message.subspan(kUnitAt, sizeof unit))
        unit = unit << 8U | byte;
    return unit;
}

bool isList(std::span<const u8> message) {
    return message.size() == kVlanListBytes &&
           (message[kKindAt] == static_cast<u8>(VlanListKind::Applied) ||
            message[kKindAt] == static_cast<u8>(VlanListKind::NotApplied));
}

}  // namespace

Outbox::Outbox(u32 mostPorts)
    : mostPorts_(mostPorts), ports_(std::make_unique_for_overwrite<Port[]>(mostPorts)) {
    free_.reserve(mostPorts_);
    waiting_.reserve(mostPorts_);
    clear();
}

void Outbox::clear() {
    waiting_.clear();
    free_.clear();
    for (u32 index = mostPorts_; index > 0; index--)
        free_.push_back(index - 1);
}

Outbox::Port& Outbox::portOf(u32 unit) {
    const auto found = std::ranges::find_if(
        waiting_, [this, unit](u32 index) { return ports_[index].unit == unit; });
    return found == waiting_.end() ? newPort(unit) : ports_[*found];
}

Outbox::Port& Outbox::newPort(u32 unit) {
    if (free_.empty()) {
        dropped_ += ports_[waiting_.front()].count;
        free_.push_back(waiting_.front());
        waiting_.erase(waiting_.begin());
    }
    const u32 index = free_.back();
    free_.pop_back();
    waiting_.push_back(index);
    ports_[index].unit = unit;
    ports_[index].count = 0;
    return ports_[index];
}

bool Outbox::put(std::span<const u8> message) {
    if (!isList(message))
        return false;
    Port& port = portOf(unitOf(message));
    const bool first = port.count > 0 && port.lists[0][kKindAt] == message[kKindAt];
    const bool last = port.count == 2 && port.lists[1][kKindAt] == message[kKindAt];
    if (first && port.count == 2)
        port.lists[0] = port.lists[1];  // the newer one of the other kind comes before it now
    else if (!first && !last)
        port.count++;
    std::ranges::copy(message, port.lists[port.count - 1].begin());
    return true;
}

bool Outbox::take(VlanList& list) {
    if (waiting_.empty())
        return false;
    Port& port = ports_[waiting_.front()];
    list = port.lists[0];
    if (--port.count > 0) {
        port.lists[0] = port.lists[1];
        return true;
    }
    free_.push_back(waiting_.front());
    waiting_.erase(waiting_.begin());
    return true;
}

}  // namespace platform
