// SPDX-License-Identifier: MIT
#include "cli/commands/undo.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "cli/client/observed.h"
#include "cli/client/safe_text.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

namespace {

using platform::SwitchChangeKind;
using platform::SwitchChangeRecord;
using platform::SwitchPortRecord;
using platform::VlanBitmap;
using Requests = std::vector<Request>;

constexpr auto kWaitEvery = std::chrono::milliseconds(50);
constexpr int kMostWaits = 40;

/// First words, or whole paths, of commands that change nothing at the daemon.
constexpr std::array<std::string_view, 16> kLooking = {
    "show",   "metrics",     "doctor",      "explain",      "wait",        "watch",
    "decode", "config show", "config diff", "config check", "config plan", "debug list",
    "help",   "status",      "log",         "support"};

Request portSet(u32 unit, u32 attribute, u32 value) {
    return {platform::Request::PortSet, unit, attribute, valueOfRecord(value)};
}

Request scalarSet(u32 attribute, u32 value) {
    return {platform::Request::ScalarSet, 0, attribute, valueOfRecord(value)};
}

Request switchChange(SwitchChangeKind kind, u32 unit, u32 value, const VlanBitmap& vlans = {}) {
    SwitchChangeRecord record{};
    record.kind = static_cast<u32>(kind);
    record.unit = unit;
    record.value = value;
    record.vlans = vlans;
    return {platform::Request::SwitchChange, 0, 0, valueOfRecord(record)};
}

void append(Requests& requests, const Requests& more) {
    requests.insert(requests.end(), more.begin(), more.end());
}

[[noreturn]] void refuse(const std::string& why) {
    throw RefusedError(static_cast<u32>(platform::HostStatus::Unsupported), why);
}

u32 onOff(bool on) {
    return static_cast<u32>(on ? MVRP_ON : MVRP_OFF);
}

/// MVRP on the port with its settings; nothing where it does not run.
Requests settingsOf(const PortView& view) {
    if (!view.settings)
        return {};
    const u32 unit = view.port.unit;
    const PortSettings& settings = *view.settings;
    Requests requests = {portSet(unit, MVRP_PORT_ENABLE, onOff(true))};
    append(requests, {portSet(unit, MVRP_PORT_REGISTRATION_MODE, settings.registration),
                      portSet(unit, MVRP_PORT_PARTICIPANT_MODE, settings.participant),
                      portSet(unit, MVRP_PORT_LEAVE_ALL_TIMEOUT, settings.leaveAllTime),
                      portSet(unit, MVRP_PORT_LEAVE_TIMEOUT, settings.leaveTime),
                      portSet(unit, MVRP_PORT_JOIN_TIMEOUT, settings.joinTime),
                      portSet(unit, MVRP_PORT_PERIOD_TIMEOUT, settings.periodicTime)});
    return requests;
}

PortView viewOf(const Context& context) {
    return queryPorts(context.client, {context.port(0)}, kConfigParts).front();
}

Requests portSettings(const Context& context) {
    const PortView view = viewOf(context);
    return view.settings ? settingsOf(view)
                         : Requests{portSet(view.port.unit, MVRP_PORT_ENABLE, onOff(false))};
}

Requests portReset(const Context& context) {
    return settingsOf(viewOf(context));
}

/// Switching the protocol off, or to GVRP, does so on every port.
Requests globalSettings(const Context& context) {
    const GlobalView global = queryGlobal(context.client);
    Requests requests = {scalarSet(MVRP_SCALAR_ENABLE, onOff(global.enabled))};
    if (!global.enabled)
        return requests;
    requests.push_back(scalarSet(MVRP_SCALAR_GVRP_COMPLIANCE, onOff(global.compliance)));
    for (const PortView& view :
         queryPorts(context.client, queryPortList(context.client), kConfigParts))
        append(requests, settingsOf(view));
    return requests;
}

Requests debugMask(const Context& context) {
    return {scalarSet(MVRP_SCALAR_DEBUG, queryGlobal(context.client).debugMask)};
}

Requests portAdd(const Context& context) {
    constexpr u32 kAnyUnit = 0xFFFFFFFF;
    return {switchChange(SwitchChangeKind::PortDelete, context.number(0, 0, kAnyUnit), 0)};
}

Requests portLink(const Context& context) {
    const SwitchPortRecord port = context.port(0);
    return {switchChange(SwitchChangeKind::PortLink, port.unit, port.link)};
}

/// A port that may not run the protocol, or is an aggregation's, no longer does.
Requests portEligible(const Context& context) {
    const PortView view = viewOf(context);
    Requests requests = {
        switchChange(SwitchChangeKind::PortEligible, view.port.unit, view.port.eligible)};
    append(requests, settingsOf(view));
    return requests;
}

Requests portAggregation(const Context& context) {
    const PortView view = viewOf(context);
    const u32 unit = view.port.unit;
    const u32 aggregation = view.port.aggregation;
    Requests requests = {aggregation == 0
                             ? switchChange(SwitchChangeKind::PortLeaveAgg, unit, 0)
                             : switchChange(SwitchChangeKind::PortJoinAgg, unit, aggregation)};
    append(requests, settingsOf(view));
    return requests;
}

Requests portCable(const Context& context) {
    const SwitchPortRecord port = context.port(0);
    SwitchChangeRecord record{};
    record.kind = static_cast<u32>(SwitchChangeKind::PortCable);
    record.unit = port.unit;
    const std::string cable = port.cable.data();
    (cable.empty() ? std::string("none") : cable).copy(record.text.data(), record.text.size() - 1);
    return {{platform::Request::SwitchChange, 0, 0, valueOfRecord(record)}};
}

Requests portWireForm(const Context& context) {
    const SwitchPortRecord port = context.port(0);
    return {switchChange(SwitchChangeKind::PortWireForm, port.unit, port.wireForm)};
}

/// The PVID, and what the port carries. Of VLANs only the PVID can be made untagged.
Requests portPermits(const Context& context) {
    const PortView view = viewOf(context);
    const u32 unit = view.port.unit;
    const VlanBitmap untagged = platform::vlanDifference(view.permitted, view.permittedTagged);
    const VlanBitmap pvid = platform::vlanRange(view.port.pvid, view.port.pvid);
    if (const VlanBitmap others = platform::vlanDifference(untagged, pvid);
        !platform::vlanIsEmpty(others))
        refuse("port " + std::string(view.port.name.data()) + " carries VLANs " +
               platform::formatVlanRanges(others) +
               " untagged beside its PVID, which could not be put back");
    Requests requests = {switchChange(SwitchChangeKind::PortPvid, unit, view.port.pvid),
                         switchChange(SwitchChangeKind::PortPermit, unit, 0, view.permittedTagged)};
    if (!platform::vlanIsEmpty(untagged))
        return requests;
    requests.push_back(switchChange(SwitchChangeKind::VlanRemovePort, unit, 0, pvid));
    if (platform::vlanContains(view.permittedTagged, view.port.pvid))
        requests.push_back(switchChange(SwitchChangeKind::VlanAddPort, unit, 0, pvid));
    return requests;
}

/// Kinds of the VLANs that argument 0 names.
struct Kinds {
    VlanBitmap absent{};
    VlanBitmap fixed{};
    VlanBitmap learnt{};
};

Kinds kindsOf(const Context& context) {
    const VlanBitmap named = context.vlans(0);
    const VlansView view = queryVlans(context.client, {}, kNameParts);
    const VlanBitmap known = platform::vlanUnion(view.staticVlans, view.dynamicVlans);
    return {platform::vlanDifference(named, known),
            platform::vlanIntersection(named, view.staticVlans),
            platform::vlanIntersection(named, view.dynamicVlans)};
}

/// Creating makes static what is learnt, and what went meanwhile.
Requests retype(const Kinds& kinds) {
    Requests requests;
    if (!platform::vlanIsEmpty(kinds.fixed))
        requests.push_back(switchChange(SwitchChangeKind::VlanCreate, 0, 0, kinds.fixed));
    if (!platform::vlanIsEmpty(kinds.learnt))
        requests.push_back(switchChange(SwitchChangeKind::VlanType, 0,
                                        static_cast<u32>(QorVlanType::Dynamic), kinds.learnt));
    return requests;
}

Requests vlanCreate(const Context& context) {
    const Kinds kinds = kindsOf(context);
    Requests requests = retype({{}, {}, kinds.learnt});
    if (!platform::vlanIsEmpty(kinds.absent))
        requests.push_back(switchChange(SwitchChangeKind::VlanDelete, 0, 0, kinds.absent));
    return requests;
}

Requests vlanDelete(const Context& context) {
    const Kinds kinds = kindsOf(context);
    if (!platform::vlanIsEmpty(kinds.learnt))
        refuse("VLANs " + platform::formatVlanRanges(kinds.learnt) +
               " were learnt, and what was learnt could not be put back");
    if (platform::vlanIsEmpty(kinds.fixed))
        return {};
    return {switchChange(SwitchChangeKind::VlanCreate, 0, 0, kinds.fixed)};
}

Requests vlanType(const Context& context) {
    return retype(kindsOf(context));
}

struct Undo {
    std::string_view path;
    Requests (*requests)(const Context& context);
};

constexpr Undo kUndos[] = {
    {"set global", globalSettings},
    {"set port", portSettings},
    {"set debug", debugMask},
    {"switch port add", portAdd},
    {"switch port link", portLink},
    {"switch port pvid", portPermits},
    {"switch port permit", portPermits},
    {"switch port eligible", portEligible},
    {"switch port aggregation", portAggregation},
    {"switch port reset", portReset},
    {"switch port cable", portCable},
    {"switch port wire-form", portWireForm},
    {"switch vlan create", vlanCreate},
    {"switch vlan delete", vlanDelete},
    {"switch vlan type", vlanType},
    {"switch vlan add-port", portPermits},
    {"switch vlan remove-port", portPermits},
};

const Undo* findUndo(const Command& command) {
    const auto found = std::ranges::find(kUndos, command.path, &Undo::path);
    return found == std::end(kUndos) ? nullptr : found;
}

}  // namespace

Reach reachOf(const Command& command) {
    const std::string_view path = command.path;
    const bool looks = std::ranges::any_of(kLooking, [path](std::string_view words) {
        return path == words || path.starts_with(std::string(words) + " ");
    });
    if (looks)
        return Reach::Looks;
    return findUndo(command) == nullptr ? Reach::Stays : Reach::PutBack;
}

Requests undoOf(const Command& command, const Context& context) {
    const Undo* const undo = findUndo(command);
    return undo == nullptr ? Requests() : undo->requests(context);
}

namespace {

/// Sends each. @return those that were refused; `refusal` says why the last one was
Requests sendAll(Client& client, const Requests& requests, std::string& refusal) {
    Requests refused;
    for (const Request& request : requests) {
        const Reply reply = client.exchange(request);
        if (reply.status == kStatusOk)
            continue;
        refused.push_back(request);
        const bool hasText = request.number == platform::Request::SwitchChange;
        const std::string text = hasText ? textOf(reply) : "";
        refusal = text.empty() ? statusText(reply.status) : text;
    }
    return refused;
}

}  // namespace

std::string putBack(Client& client, const Requests& requests) {
    std::string refusal;
    Requests left = requests;
    for (int waits = 0;;) {
        Requests refused = sendAll(client, left, refusal);
        if (refused.empty())
            return "";
        // The switch tells the daemon of a change after it has answered.
        if (refused.size() == left.size() && ++waits > kMostWaits)
            return refusal;
        if (refused.size() == left.size())
            std::this_thread::sleep_for(kWaitEvery);
        left = std::move(refused);
    }
}

std::string atomicCommands() {
    std::string text;
    for (const Undo& undo : kUndos)
        text += (text.empty() ? "" : ", ") + std::string(undo.path);
    return text + ", and what changes nothing";
}

}  // namespace cli
