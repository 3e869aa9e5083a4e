// SPDX-License-Identifier: MIT
#include "platform/requests/snapshot_request.h"

#include <cstring>
#include <limits>
#include <optional>

#include "platform/channel/snapshot_records.h"
#include "platform/contract/machine_states.h"
#include "platform/contract/management.h"
#include "platform/net/clock.h"
#include "platform/requests/host_requests.h"
#include "platform/requests/reply.h"
#include "platform/runtime/tasks/sem.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

struct Asked {
    Request request;
    u32 attribute;
};

constexpr Asked kOfSwitch[] = {
    {Request::HostInfo, 0},
    {Request::ScalarGet, MVRP_SCALAR_ENABLE},
    {Request::ScalarGet, MVRP_SCALAR_GVRP_COMPLIANCE},
    {Request::ScalarGet, MVRP_SCALAR_DEBUG},
    {Request::ScalarGet, MVRP_SCALAR_ENTRY_NUM},
    {Request::ScalarGet, MVRP_SCALAR_VERSION},
    {Request::Corrections, 0},
    {Request::StandbyInfo, 0},
    {Request::Losses, 0},
    {Request::ConfigSource, 0},
    {Request::SwitchVlans, static_cast<u32>(QorVlanType::Static)},
    {Request::SwitchVlans, static_cast<u32>(QorVlanType::Dynamic)},
};

constexpr Asked kOfPort[] = {
    {Request::PortGet, MVRP_PORT_ENABLE},
    {Request::PortGet, MVRP_PORT_REGISTRATION_MODE},
    {Request::PortGet, MVRP_PORT_PARTICIPANT_MODE},
    {Request::PortGet, MVRP_PORT_PERIOD_TIMEOUT},
    {Request::PortGet, MVRP_PORT_JOIN_TIMEOUT},
    {Request::PortGet, MVRP_PORT_LEAVE_TIMEOUT},
    {Request::PortGet, MVRP_PORT_LEAVE_ALL_TIMEOUT},
    {Request::PortVlans, static_cast<u32>(VlanSet::PermittedTagged)},
    {Request::PortVlans, static_cast<u32>(VlanSet::Permitted)},
    {Request::PortVlans, static_cast<u32>(VlanSet::Dynamic)},
    {Request::PortCounters, 0},
    {Request::PortStatistics, 0},
};

bool inUse(const MachineRecord& machine) {
    return machine.flags != 0 || machine.applicant != APP_STATE_VO;
}

bool alike(const MachineRecord& a, const MachineRecord& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::vector<MachineRun> runsOf(const std::vector<MachineRecord>& machines) {
    std::vector<MachineRun> runs;
    for (u32 vid = kFirstVlan; vid <= kLastVlan; ++vid) {
        const MachineRecord& machine = machines[vid - 1];
        if (!inUse(machine))
            continue;
        if (!runs.empty() && runs.back().lastVid + 1U == vid && alike(runs.back().machine, machine))
            runs.back().lastVid = static_cast<u16>(vid);
        else
            runs.push_back({static_cast<u16>(vid), static_cast<u16>(vid), machine, 0});
    }
    return runs;
}

/// Writes sections into the reply, one after the other.
class SnapshotWriter {
  public:
    SnapshotWriter(const Dispatcher& dispatcher, const SnapshotSources& sources,
                   std::vector<u8>& reply)
        : dispatcher_(dispatcher), sources_(sources), reply_(reply) {}

    void addSwitch() {
        constexpr u64 kUsPerMs = 1000;
        addRecords(SnapshotPart::Moment, 0, std::vector{wallClockUs() / kUsPerMs});
        if (const std::optional<u64> ms = portlessTimerMs())
            addRecords(SnapshotPart::NextApply, 0, std::vector{*ms});
        for (const Asked& asked : kOfSwitch)
            ask(asked, 0);
    }

    void addPorts() {
        // As in PortList's own answer: its records in portions that say where the next begins.
        u32 above = 0;
        for (u32 last = askPorts(above); last != above; last = askPorts(above))
            above = last;
        for (const PortSummary& port :
             sources_.driver.listPorts(0, std::numeric_limits<std::size_t>::max()))
            addPort(port);
    }

  private:
    template <typename Record>
    void addRecords(SnapshotPart part, u32 unit, const std::vector<Record>& records) {
        const auto length = static_cast<u32>(records.size() * sizeof(Record));
        appendRecord(reply_, SnapshotSection{static_cast<u32>(part), unit, 0, kStatusOk, length});
        for (const Record& record : records)
            appendRecord(reply_, record);
    }

    /// Asks as a client would. Of a refusal the status is kept, and no text.
    void ask(const Asked& asked, u32 unit) {
        SnapshotSection section{static_cast<u32>(asked.request), unit, asked.attribute, 0, 0};
        const std::size_t begin = reply_.size();
        appendRecord(reply_, section);
        const std::size_t first = reply_.size();
        section.status = dispatcher_.ask({section.part, unit, asked.attribute, 0}, reply_);
        if (section.status != kStatusOk)
            reply_.resize(first);
        section.length = static_cast<u32>(reply_.size() - first);
        std::memcpy(reply_.data() + begin, &section, sizeof section);
    }

    /// @return the unit of the last port that was added, or `above`
    u32 askPorts(u32 above) {
        const std::size_t begin = reply_.size() + sizeof(SnapshotSection);
        ask({Request::PortList, 0}, above);
        if (reply_.size() < begin + sizeof(SwitchPortRecord))
            return above;
        SwitchPortRecord last{};
        std::memcpy(&last, reply_.data() + reply_.size() - sizeof last, sizeof last);
        return last.unit;
    }

    void addPort(const PortSummary& port) {
        for (const Asked& asked : kOfPort)
            ask(asked, port.unit);
        std::vector<MachineRecord> machines;
        if (readMachines(dispatcher_, port.unit, machines) == kStatusOk)
            addRecords(SnapshotPart::PortMachines, port.unit, runsOf(machines));
        const VlanTimes times = sources_.frames.vlanTimes(port.unit);
        addRecords(SnapshotPart::PortHeard, port.unit, times.heard);
        addRecords(SnapshotPart::PortWithdrawn, port.unit, times.withdrawn);
        addRecords(SnapshotPart::PortMembers, port.unit, sources_.changes.membersSince(port.unit));
        addRecords(SnapshotPart::PortNeighbours, port.unit, sources_.frames.neighbours(port.unit));
        addRecords(SnapshotPart::PortLimits, port.unit,
                   std::vector{PortLimitsRecord{port.maxVlans}});
        addRecords(SnapshotPart::PortLeaveAlls, port.unit,
                   std::vector{sources_.frames.history(port.unit)});
    }

    const Dispatcher& dispatcher_;
    const SnapshotSources& sources_;
    std::vector<u8>& reply_;
};

u32 takeSnapshot(const Dispatcher& dispatcher, const SnapshotSources& sources,
                 std::vector<u8>& reply) {
    const std::size_t begin = reply.size();
    {
        const SemHoldAll locks;
        SnapshotWriter writer(dispatcher, sources, reply);
        writer.addSwitch();
        writer.addPorts();
    }
    if (reply.size() - begin <= kMaxSnapshotBytes)
        return kStatusOk;
    reply.resize(begin);
    return refuse(HostStatus::Unsupported,
                  "a snapshot of this switch is longer than an answer may be", reply);
}

}  // namespace

void registerSnapshotRequest(Dispatcher& dispatcher, const SnapshotSources& sources) {
    dispatcher.registerRequest(
        Request::Snapshot,
        [&dispatcher, sources](const RequestHeader& /*header*/, std::span<const u8> value,
                               std::vector<u8>& reply) {
            return value.empty() ? takeSnapshot(dispatcher, sources, reply)
                                 : refuseSize(value.size(), 0, reply);
        });
}

}  // namespace platform
