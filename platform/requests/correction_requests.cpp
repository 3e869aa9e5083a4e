// SPDX-License-Identifier: MIT
#include "platform/requests/correction_requests.h"

#include <algorithm>

#include "platform/requests/reply.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

constexpr u32 kLastVlanAsked = 4094;
constexpr u64 kLongestAgoMs = kNoCorrection - 1;

u32 corrections(const CorrectionBook& book, std::vector<u8>& reply) {
    CorrectionsRecord record{};
    record.on = book.on().bits();
    record.known = CorrectionSet::all().bits();
    for (u32 value = 0; value < kCorrectionCount; value++)
        record.acted.at(value) = book.count(static_cast<Correction>(value));
    appendRecord(reply, record);
    return kStatusOk;
}

u32 lastCorrection(const CorrectionBook& book, const RequestHeader& header,
                   std::vector<u8>& reply) {
    if (header.attribute > kLastVlanAsked)
        return refuse(
            HostStatus::BadArgument,
            "the attribute is the VLAN ID that is asked for; allowed: 1 to 4094, or 0 for "
            "the port as a whole",
            reply);
    CorrectionLastRecord record{kNoCorrection, 0};
    if (const auto last = book.last(header.unit, header.attribute)) {
        const u64 ago = monotonicMs() - last->whenMs;
        record = {static_cast<u32>(last->which), static_cast<u32>(std::min(ago, kLongestAgoMs))};
    }
    appendRecord(reply, record);
    return kStatusOk;
}

}  // namespace

void registerCorrectionRequests(Dispatcher& dispatcher, const CorrectionBook& book) {
    dispatcher.registerRequest(
        Request::Corrections,
        [&book](const RequestHeader&, std::span<const u8> value, std::vector<u8>& reply) {
            return value.empty() ? corrections(book, reply) : refuseSize(value.size(), 0, reply);
        });
    dispatcher.registerRequest(
        Request::CorrectionLast,
        [&book](const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) {
            return value.empty() ? lastCorrection(book, header, reply)
                                 : refuseSize(value.size(), 0, reply);
        });
}

}  // namespace platform
