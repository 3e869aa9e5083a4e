// SPDX-License-Identifier: MIT
#include "network/explain/port_words.h"

#include <algorithm>

#include "cli/explain/explain.h"
#include "platform/contract/machine_states.h"
#include "platform/contract/management.h"

namespace network {

namespace {

using platform::vlanContains;

u32 ageOf(const std::vector<VlanAge>& ages, u32 vid) {
    const auto found = std::ranges::find_if(
        ages, [vid](const VlanAge& age) { return vlanContains(age.vlans, vid); });
    return found == ages.end()
               ? platform::kNever32
               : static_cast<u32>(std::min<u64>(found->ageMs, platform::kNever32 - 1));
}

platform::MacAddress bytesOf(Mac mac) {
    platform::MacAddress bytes{};
    for (std::size_t i = bytes.size(); i-- > 0; mac >>= 8U)
        bytes.at(i) = static_cast<u8>(mac);
    return bytes;
}

/// As the daemon tells it; of states that a snapshot does not keep apart, the usual one.
platform::MachineRecord machineOf(const Port& port, u32 vid) {
    const bool registered = vlanContains(port.registered, vid);
    const bool declared = vlanContains(port.declared, vid);
    return {declared ? APP_STATE_QA : APP_STATE_VO, registered ? REG_STATE_IN : REG_STATE_MT,
            registered ? kMachineRegistered : u8{0}};
}

cli::PortSettings settingsOf(const Port& port) {
    cli::PortSettings settings;
    settings.enabled = port.enabled;
    settings.registration =
        port.registration == Registration::Forbidden ? u32{MVRP_REGISTRATION_FORBIDDEN}
        : port.registration == Registration::Fixed   ? u32{MVRP_REGISTRATION_FIXED}
                                                     : u32{MVRP_REGISTRATION_NORMAL};
    settings.participant = port.quiet ? u32{MVRP_PARTICIPANT_QUIET} : u32{MVRP_PARTICIPANT_FULL};
    settings.joinTime = port.joinMs;
    settings.leaveTime = port.leaveMs;
    settings.leaveAllTime = port.leaveAllMs;
    return settings;
}

cli::VlanOnPort onPort(const Port& port, u32 vid) {
    cli::VlanOnPort result;
    result.port.unit = port.number;
    result.port.link = port.linkUp ? 1 : 0;
    result.port.eligible = port.eligible ? 1 : 0;
    result.port.aggregation = port.aggregation;
    port.name.copy(result.port.name.data(), result.port.name.size() - 1);
    if (port.leaveMs != 0)
        result.settings = settingsOf(port);
    result.machine = machineOf(port, vid);
    result.history.port = {platform::kNever, platform::kNever, platform::kNever};
    result.history.vlan.joinMs = ageOf(port.heardAges, vid);
    result.history.vlan.leaveMs = ageOf(port.withdrawnAges, vid);
    result.history.vlan.sentMs = platform::kNever32;
    if (!port.neighbours.empty()) {
        result.history.vlan.origin = bytesOf(port.neighbours.front().mac);
        result.lastPduMs = port.neighbours.front().ageMs;
    }
    result.permitted = vlanContains(port.permitted, vid);
    result.permittedTagged = result.permitted && port.pvid != vid;
    result.learntMember = vlanContains(port.learnt, vid);
    return result;
}

}  // namespace

PortWords explainPort(const Network& network, PortAt at, u32 vid) {
    const Switch& each = network.switchOf(at);
    cli::ExplainFacts facts;
    facts.vid = vid;
    facts.global.enabled = each.enabled;
    facts.global.compliance = each.gvrp;
    facts.global.pendingPairs = static_cast<u32>(each.pending);
    facts.global.host.uptimeMs = each.uptimeMs;
    facts.global.host.role =
        static_cast<u32>(each.standby ? platform::HostRole::Standby : platform::HostRole::Active);
    facts.global.host.driver = static_cast<u32>(each.linux ? platform::DriverKind::LinuxBridge
                                                           : platform::DriverKind::SoftwareSwitch);
    facts.vlanIsStatic = vlanContains(each.staticVlans, vid);
    facts.vlanIsLearnt = vlanContains(each.learntVlans, vid);
    for (std::size_t port = 0; port < each.ports.size(); ++port) {
        if (port == at.port)
            facts.port = onPort(each.ports[port], vid);
        else
            facts.others.push_back(onPort(each.ports[port], vid));
    }
    const cli::Explanation explanation = cli::explainVlan(facts);
    return {explanation.why, explanation.advice};
}

}  // namespace network
