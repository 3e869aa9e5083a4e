// SPDX-License-Identifier: MIT
#include "platform/requests/host_requests.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/contract/machine_states.h"
#include "platform/contract/management.h"
#include "platform/requests/reply.h"
#include "platform/runtime/tasks/sem.h"
#include "platform/runtime/tasks/shell.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

constexpr u32 kVlansOfPort = 4095;
constexpr u32 kLastReadableVlan = 4094;

u32 hostInfo(const HostFacts& facts, u64 startMs, std::vector<u8>& reply) {
    HostInfoRecord info{};
    info.driver = static_cast<u32>(facts.driver);
    info.role = static_cast<u32>(facts.role());
    info.standbyConnected = facts.standbyConnected() ? 1 : 0;
    info.portCount = facts.portCount();
    info.uptimeMs = monotonicMs() - startMs;
    facts.switchName().copy(info.name.data(), info.name.size() - 1);
    appendRecord(reply, info);
    return kStatusOk;
}

u32 readMachine(const Dispatcher& dispatcher, u32 unit, u32 vid, MachineRecord& record) {
    u32 applicant = 0;
    u32 registrar = 0;
    u32 registered = 0;
    u32 propagated = 0;
    const auto read = [&](u32 attribute, u32& value) {
        value = vid;
        return dispatcher.callNumber(Request::PortGet, unit, attribute, value);
    };
    u32 status = read(MVRP_PORT_APPLICANT, applicant);
    if (status == kStatusOk)
        status = read(MVRP_PORT_REGISTRAR, registrar);
    if (status == kStatusOk)
        status = read(MVRP_PORT_REG_BIT, registered);
    if (status == kStatusOk)
        status = read(MVRP_PORT_PROPAGATE_BIT, propagated);
    record = {static_cast<u8>(applicant), static_cast<u8>(registrar),
              static_cast<u8>(registered * kMachineRegistered + propagated * kMachinePropagated)};
    return status;
}

u32 portMachines(const Dispatcher& dispatcher, u32 unit, std::vector<u8>& reply) {
    std::vector<MachineRecord> machines;
    const u32 status = readMachines(dispatcher, unit, machines);
    const auto* bytes = reinterpret_cast<const u8*>(machines.data());
    if (status == kStatusOk)
        reply.insert(reply.end(), bytes, bytes + machines.size() * sizeof(MachineRecord));
    return status;
}

u32 callShell(std::span<const u8> value, std::vector<u8>& reply) {
    ShellCallRecord record{};
    if (value.size() != sizeof record)
        return refuseSize(value.size(), sizeof record, reply);
    std::memcpy(&record, value.data(), sizeof record);
    const auto end = std::ranges::find(record.name, '\0');
    const std::string name(record.name.begin(), end);
    const auto result = shellCall(name, record.parameters, kMaxValueBytes);
    if (!result)
        return refuse(HostStatus::BadArgument,
                      "there is no function \"" + name + "\"; allowed:\n" + shellNames(), reply);
    appendText(reply, result->text);
    return kStatusOk;
}

}  // namespace

/// Reads through the handlers of the daemon, which is kept from changing anything between two of
/// them; VLAN 4095, which the handlers do not read, stays zero.
u32 readMachines(const Dispatcher& dispatcher, u32 unit, std::vector<MachineRecord>& machines) {
    const SemHoldAll locks;
    machines.assign(kVlansOfPort, {});
    for (u32 vid = 1; vid <= kLastReadableVlan; vid++) {
        const u32 status = readMachine(dispatcher, unit, vid, machines[vid - 1]);
        if (status != kStatusOk)
            return status;
    }
    return kStatusOk;
}

void registerHostRequests(Dispatcher& dispatcher, HostFacts facts) {
    const auto withoutValue = [](auto serve) {
        return [serve](const RequestHeader& header, std::span<const u8> value,
                       std::vector<u8>& reply) {
            return value.empty() ? serve(header, reply) : refuseSize(value.size(), 0, reply);
        };
    };
    dispatcher.registerRequest(
        Request::Losses,
        withoutValue([losses = facts.losses](const RequestHeader&, std::vector<u8>& reply) {
            appendRecord(reply, losses());
            return kStatusOk;
        }));
    dispatcher.registerRequest(Request::HostInfo,
                               withoutValue([facts = std::move(facts), startMs = monotonicMs()](
                                                const RequestHeader&, std::vector<u8>& reply) {
                                   return hostInfo(facts, startMs, reply);
                               }));
    dispatcher.registerRequest(
        Request::PortMachines,
        withoutValue([&dispatcher](const RequestHeader& header, std::vector<u8>& reply) {
            return portMachines(dispatcher, header.unit, reply);
        }));
    dispatcher.registerRequest(Request::ShellList,
                               withoutValue([](const RequestHeader&, std::vector<u8>& reply) {
                                   appendText(reply, shellNames());
                                   return kStatusOk;
                               }));
    dispatcher.registerRequest(Request::ShellCall,
                               [](const RequestHeader&, std::span<const u8> value,
                                  std::vector<u8>& reply) { return callShell(value, reply); });
}

}  // namespace platform
