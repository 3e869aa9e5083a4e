// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cli/client/safe_text.h"
#include "cli/commands/commands.h"
#include "cli/commands/passed_file.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_if.h"

namespace cli {

namespace {

using platform::SwitchChangeKind;
using platform::SwitchChangeRecord;

constexpr u32 kMaxUnit = 0x00FFFFFF;  ///< above are the interfaces of VLANs
constexpr u32 kMaxReplaySpeed = 1000;

constexpr Argument kPort = {"port", "name or unit of a port"};
constexpr Argument kVlans = {"vlans", "VLANs as ranges, for example 10-12,20"};

SwitchChangeRecord change(SwitchChangeKind kind) {
    SwitchChangeRecord record{};
    record.kind = static_cast<u32>(kind);
    return record;
}

SwitchChangeRecord portChange(const Context& context, SwitchChangeKind kind, std::size_t index) {
    SwitchChangeRecord record = change(kind);
    record.unit = context.port(index).unit;
    return record;
}

void putText(SwitchChangeRecord& record, const std::string& text) {
    if (text.size() >= record.text.size()) {
        throw UsageError("'" + text + "' is too long; allowed are " +
                         std::to_string(record.text.size() - 1) + " characters");
    }
    std::ranges::copy(text, record.text.begin());
}

/// @param passed  goes along with the request; it may be none
void send(const Context& context, const SwitchChangeRecord& record,
          const platform::Descriptor& passed = platform::Descriptor()) {
    const auto bytes = std::as_bytes(std::span(&record, 1));
    const Reply reply = context.client.exchange(
        {platform::Request::SwitchChange, 0, 0, {bytes.begin(), bytes.end()}, passed.get()});
    // The switch may say more about a refusal than its status does.
    const std::string refusal = textOf(reply);
    context.finish(reply.status, reply.status == MVRP_ERR_ARGUMENT && refusal.empty()
                                     ? "the switch does not allow this change"
                                     : refusal);
}

constexpr Name kPortKindTable[] = {{static_cast<u32>(QorEndType::Port), "port"},
                                   {static_cast<u32>(QorEndType::Aggregation), "aggregation"}};
constexpr Names kPortKinds = kPortKindTable;

void portAdd(const Context& context) {
    SwitchChangeRecord record = change(SwitchChangeKind::PortAdd);
    record.unit = context.number(0, 1, kMaxUnit);
    putText(record, context.text(1));
    if (context.count() > 2)
        record.value = context.choice(2, kPortKinds);
    send(context, record);
}

template <SwitchChangeKind kKind>
void portPlain(const Context& context) {
    send(context, portChange(context, kKind, 0));
}

template <SwitchChangeKind kKind, const Names& kNames>
void portChoice(const Context& context) {
    SwitchChangeRecord record = portChange(context, kKind, 0);
    record.value = context.choice(1, kNames);
    send(context, record);
}

template <SwitchChangeKind kKind>
void portText(const Context& context) {
    SwitchChangeRecord record = portChange(context, kKind, 0);
    putText(record, context.text(1));
    send(context, record);
}

template <SwitchChangeKind kKind>
void portVlans(const Context& context) {
    SwitchChangeRecord record = portChange(context, kKind, 0);
    record.vlans = context.vlans(1);
    send(context, record);
}

void portReplay(const Context& context) {
    SwitchChangeRecord record = portChange(context, SwitchChangeKind::PortReplay, 0);
    putText(record, context.text(1));
    record.value = context.count() > 2 ? context.number(2, 0, kMaxReplaySpeed) : 1;
    send(context, record, fileToRead(context.text(1)));
}

void portRecord(const Context& context) {
    SwitchChangeRecord record = portChange(context, SwitchChangeKind::PortRecord, 0);
    if (context.text(1) == "none")
        return send(context, record);
    putText(record, context.text(1));
    send(context, record, fileToWrite(context.text(1)));
}

void portPvid(const Context& context) {
    SwitchChangeRecord record = portChange(context, SwitchChangeKind::PortPvid, 0);
    record.value = context.vlan(1);
    send(context, record);
}

void portAggregation(const Context& context) {
    const bool leave = context.text(1) == "none";
    SwitchChangeRecord record = portChange(
        context, leave ? SwitchChangeKind::PortLeaveAgg : SwitchChangeKind::PortJoinAgg, 0);
    if (!leave)
        record.value = context.port(1).unit;
    send(context, record);
}

template <SwitchChangeKind kKind>
void vlanPlain(const Context& context) {
    SwitchChangeRecord record = change(kKind);
    record.vlans = context.vlans(0);
    send(context, record);
}

void vlanType(const Context& context) {
    SwitchChangeRecord record = change(SwitchChangeKind::VlanType);
    record.vlans = context.vlans(0);
    record.value = context.choice(1, kVlanKinds);
    send(context, record);
}

std::array<u8, 6> parseMac(const std::string& text) {
    std::array<unsigned, 6> bytes{};
    int used = 0;
    const int fields = std::sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &bytes[0], &bytes[1],
                                   &bytes[2], &bytes[3], &bytes[4], &bytes[5], &used);
    if (fields != 6 || static_cast<std::size_t>(used) != text.size()) {
        throw UsageError("'" + text +
                         "' is not a MAC address; write six bytes as 01:80:c2:00:00:21");
    }
    std::array<u8, 6> mac{};
    std::ranges::transform(bytes, mac.begin(), [](unsigned byte) { return static_cast<u8>(byte); });
    return mac;
}

constexpr Name kTunnelTable[] = {{1, "take"}, {2, "give-back"}};
constexpr Names kTunnelActions = kTunnelTable;

void tunnel(const Context& context) {
    SwitchChangeRecord record = portChange(context, SwitchChangeKind::TunnelMac, 0);
    record.value = context.choice(1, kTunnelActions);
    record.mac = parseMac(context.text(2));
    send(context, record);
}

using Kind = SwitchChangeKind;

constexpr Command kCommands[] = {
    {"switch port add",
     "add a port",
     {{{"unit", "number of the new port"},
       {"name", "its name"},
       {"kind", "port (the default) or aggregation", true}}},
     portAdd},
    {"switch port delete", "delete a port", {{kPort}}, portPlain<Kind::PortDelete>},
    {"switch port link",
     "take the link of a port up or down",
     {{kPort, {"state", "up|down"}}},
     portChoice<Kind::PortLink, kUpDown>},
    {"switch port pvid",
     "set the port VLAN ID",
     {{kPort, {"vlan", "VLAN ID, 1 to 4094"}}},
     portPvid},
    {"switch port permit",
     "set the VLANs that a port carries tagged",
     {{kPort, kVlans}},
     portVlans<Kind::PortPermit>},
    {"switch port eligible",
     "say whether a port may run the protocol",
     {{kPort, {"may", "yes|no"}}},
     portChoice<Kind::PortEligible, kYesNo>},
    {"switch port aggregation",
     "make a port a member of an aggregation",
     {{kPort, {"aggregation", "name or unit of the aggregation, or none"}}},
     portAggregation},
    {"switch port reset", "set a port back to its defaults", {{kPort}}, portPlain<Kind::PortReset>},
    {"switch port cable",
     "connect a port to something else",
     {{kPort, {"cable", "none, unix:LOCAL,PEER or interface:NAME"}}},
     portText<Kind::PortCable>},
    {"switch port wire-form",
     "set the form of the MVRP frames that a port sends",
     {{kPort, {"form", "native|ieee|auto"}}},
     portChoice<Kind::PortWireForm, kWireForms>},
    {"switch port replay",
     "feed the frames of a pcap file into a port",
     {{kPort,
       {"file", "path of the pcap file"},
       {"speed", "1 (the default) as captured, N so many times faster, 0 at once", true}}},
     portReplay},
    {"switch port record",
     "record the frames of a port, both ways, in a pcap file",
     {{kPort, {"file", "path of the pcap file, or none"}}},
     portRecord},
    {"switch vlan create", "create static VLANs", {{kVlans}}, vlanPlain<Kind::VlanCreate>},
    {"switch vlan delete", "delete VLANs", {{kVlans}}, vlanPlain<Kind::VlanDelete>},
    {"switch vlan type",
     "change the kind of VLANs",
     {{kVlans, {"kind", "static|dynamic"}}},
     vlanType},
    {"switch vlan add-port",
     "permit VLANs on a port",
     {{kPort, kVlans}},
     portVlans<Kind::VlanAddPort>},
    {"switch vlan remove-port",
     "no longer permit VLANs on a port",
     {{kPort, kVlans}},
     portVlans<Kind::VlanRemovePort>},
    {"switch tunnel",
     "have a tunnel take the frames of a port to an address",
     {{kPort, {"action", "take|give-back"}, {"mac", "destination address of the frames"}}},
     tunnel},
};

}  // namespace

constinit const std::span<const Command> kSwitchCommands = kCommands;

}  // namespace cli
