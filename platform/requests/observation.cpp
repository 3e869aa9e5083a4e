// SPDX-License-Identifier: MIT
#include "platform/requests/observation.h"

#include <algorithm>
#include <cstring>

#include "platform/contract/management.h"
#include "platform/requests/host_requests.h"
#include "platform/requests/reply.h"
#include "platform/requests/snapshot_request.h"

namespace platform {
namespace {

constexpr u32 kLastRecordedVlan = 4095;

/// A request whose value is one record, or nothing.
template <typename Query, typename Serve>
HostHandler withQuery(Serve serve) {
    return [serve](const RequestHeader&, std::span<const u8> value, std::vector<u8>& reply) -> u32 {
        Query query{};
        if (value.size() != sizeof query)
            return refuseSize(value.size(), sizeof query, reply);
        std::memcpy(&query, value.data(), sizeof query);
        serve(query, reply);
        return kStatusOk;
    };
}

}  // namespace

Observation::Observation(const SwitchDriver& driver, FrameNet& frames)
    : driver_(driver),
      net_(frames),
      frames_(driver, frames.mutex()),
      changes_(driver),
      events_(driver, changes_, frames_) {}

void Observation::install(Dispatcher& dispatcher) {
    frames_.setNews(&events_.news());
    changes_.setNews(&events_.news());
    net_.setObserver(&frames_);
    installSwitchObserver(this);
    changes_.setMachineReader([&dispatcher](u32 unit, std::vector<MachineRecord>& machines) {
        return readMachines(dispatcher, unit, machines) == kStatusOk;
    });
    // Switching MVRP on or off at a port puts its modes back to their defaults.
    dispatcher.onDone([this, &dispatcher](const RequestHeader& header) {
        const bool ofPort = header.request == static_cast<u32>(Request::PortSet) ||
                            header.request == static_cast<u32>(Request::PortSync);
        if (!ofPort || (header.attribute != MVRP_PORT_ENABLE &&
                        header.attribute != MVRP_PORT_REGISTRATION_MODE))
            return;
        u32 mode = MVRP_REGISTRATION_NORMAL;
        dispatcher.callNumber(Request::PortGet, header.unit, MVRP_PORT_REGISTRATION_MODE, mode);
        frames_.setRegistration(header.unit, mode);
    });
    registerRequests(dispatcher);
    registerSnapshotRequest(dispatcher, {driver_, frames_, changes_});
}

void Observation::startLog() {
    events_.begin();
    events_.start();
}

void Observation::switchCalled(SwitchCall call, u32 unit, const VlanBitmap& vlans, bool done) {
    if (call == SwitchCall::Protocol && done)
        frames_.prepare(unit);
    if (call == SwitchCall::AddMembers && !done)
        frames_.membersRefused(unit, vlans);
    changes_.switchCalled(call, unit, vlans, done);
}

void Observation::registrationRefused(u32 unit, u32 vid, Admission why) {
    frames_.registrationRefused(unit, vid, why);
}

u32 Observation::portHistory(const RequestHeader& header, std::vector<u8>& reply) const {
    if (header.attribute == 0 || header.attribute > kLastRecordedVlan)
        return refuse(HostStatus::BadArgument,
                      "the attribute is the first VLAN ID that is asked for; allowed: 1 to 4095",
                      reply);
    appendRecord(reply, frames_.history(header.unit));
    const u32 end = std::min(header.attribute + kHistoryVlans, kLastRecordedVlan + 1);
    for (u32 vid = header.attribute; vid < end; ++vid)
        appendRecord(reply, frames_.vlanHistory(header.unit, vid));
    return kStatusOk;
}

void Observation::registerRequests(Dispatcher& dispatcher) {
    const auto ofPort = [this](auto serve) {
        return [this, serve](const RequestHeader& header, std::span<const u8>,
                             std::vector<u8>& reply) -> u32 {
            PortState state{};
            if (!driver_.portState(header.unit, state))
                return static_cast<u32>(HostStatus::NoSuchPort);
            return serve(header, reply);
        };
    };
    dispatcher.registerRequest(Request::PortStatistics,
                               ofPort([this](const RequestHeader& header, std::vector<u8>& reply) {
                                   appendRecord(reply, frames_.statistics(header.unit));
                                   return kStatusOk;
                               }));
    dispatcher.registerRequest(Request::PortHistory,
                               ofPort([this](const RequestHeader& header, std::vector<u8>& reply) {
                                   return portHistory(header, reply);
                               }));
    dispatcher.registerRequest(
        Request::StatisticsClear,
        [this](const RequestHeader& header, std::span<const u8>, std::vector<u8>&) -> u32 {
            PortState state{};
            if (header.unit != 0 && !driver_.portState(header.unit, state))
                return static_cast<u32>(HostStatus::NoSuchPort);
            frames_.clear(header.unit);
            return kStatusOk;
        });
    dispatcher.registerRequest(Request::Changes,
                               withQuery<ChangesQuery>([this](auto& query, auto& reply) {
                                   changes_.changes(query, reply);
                               }));
    dispatcher.registerRequest(Request::CaptureRead,
                               withQuery<CaptureQuery>([this](auto& query, auto& reply) {
                                   frames_.tap().read(query.since, reply);
                               }));
}

}  // namespace platform
