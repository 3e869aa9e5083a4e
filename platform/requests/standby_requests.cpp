// SPDX-License-Identifier: MIT
#include "platform/requests/standby_requests.h"

#include "platform/requests/reply.h"

namespace platform {

void registerStandbyRequests(Dispatcher& dispatcher, StandbyRole& role) {
    dispatcher.registerRequest(
        Request::StandbyHello,
        [&role](const RequestHeader&, std::span<const u8> value, std::vector<u8>& reply) {
            return role.hello(value, reply);
        });
    dispatcher.registerRequest(Request::StandbyBeat,
                               [&role](const RequestHeader&, std::span<const u8> value,
                                       std::vector<u8>& reply) { return role.beat(value, reply); });
    dispatcher.registerRequest(Request::StandbyAgree,
                               [&role](const RequestHeader&, std::span<const u8>,
                                       std::vector<u8>& reply) { return role.oldHello(reply); });
    dispatcher.registerRequest(
        Request::StandbyTakeOver,
        [&role](const RequestHeader& header, std::span<const u8>, std::vector<u8>& reply) {
            const std::string refusal = role.takeOver(static_cast<TakeOverForce>(header.attribute));
            return refusal.empty() ? kStatusOk : refuse(HostStatus::BadArgument, refusal, reply);
        });
    dispatcher.registerRequest(
        Request::StandbyInfo,
        [&role](const RequestHeader&, std::span<const u8> value, std::vector<u8>& reply) {
            if (!value.empty())
                return refuseSize(value.size(), 0, reply);
            appendRecord(reply, role.info());
            return kStatusOk;
        });
}

}  // namespace platform
