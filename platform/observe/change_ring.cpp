// SPDX-License-Identifier: MIT
#include "platform/observe/change_ring.h"

#include <algorithm>

#include "platform/observe/sequence.h"

namespace platform {
namespace {

constexpr std::size_t kSlots = 8192;

template <typename Record>
void append(std::vector<u8>& reply, const Record& record) {
    const auto* bytes = reinterpret_cast<const u8*>(&record);
    reply.insert(reply.end(), bytes, bytes + sizeof record);
}

}  // namespace

ChangeRing::ChangeRing() : slots_(kSlots), start_(firstSequence()), newest_(start_) {}

void ChangeRing::add(ChangeRecord change) {
    change.sequence = ++newest_;
    change.timeMs = wallClockUs() / 1000;
    slots_[newest_ % kSlots] = change;
}

void ChangeRing::read(u64 since, std::vector<u8>& reply) const {
    const u64 oldest = std::max(start_, newest_ - std::min<u64>(newest_, kSlots)) + 1;
    ChangesHeader header{newest_, oldest, 0, 0};
    const bool asked = since != kNever;
    const bool known = since + 1 >= oldest && since <= newest_;
    header.gap = asked && !known ? 1 : 0;
    if (asked && known)
        header.count = static_cast<u32>(std::min<u64>(newest_ - since, kChangesPerReply));
    append(reply, header);
    for (u64 sequence = since + 1; sequence < since + 1 + header.count; ++sequence)
        append(reply, slots_[sequence % kSlots]);
}

}  // namespace platform
