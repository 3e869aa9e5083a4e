// SPDX-License-Identifier: MIT
#include "network/check/cable_reason.h"

#include <algorithm>

#include "platform/contract/management.h"
#include "platform/model/vlan_algebra.h"

namespace network {

namespace {

using platform::vlanContains;

std::size_t countOf(const VlanBitmap& vlans) {
    std::size_t count = 0;
    platform::vlanForEach(vlans, [&count](u32) { ++count; });
    return count;
}

std::string setPort(const Port& port, const std::string& rest) {
    return "mvrpctl set port " + port.name + " " + rest;
}

/// The link at one end, or what stands for it.
std::optional<Hindrance> linkOf(const Network& network, PortAt at) {
    const Port& port = network.portOf(at);
    const std::string name = nameOf(network, at);
    const bool soft = !network.switchOf(at).linux;
    if (!port.cableError.empty())
        return Hindrance{Reason::CableBroken, at, false,
                         "the cable of " + name + " does not work: " + port.cableError, ""};
    if (port.loop)
        return Hindrance{Reason::Loop, at, false,
                         name + " hears frames of its own switch and takes no part: it loops", ""};
    if (!port.linkUp && !port.blocked)
        return Hindrance{Reason::LinkDown, at, false, "the link of " + name + " is down",
                         soft ? "mvrpctl switch port link " + port.name + " up"
                              : "ip link set dev " + port.name + " up"};
    if (port.blocked)
        return Hindrance{Reason::Blocked, at, false,
                         "the spanning tree blocks " + name + ", and no other way is there",
                         "bridge -d link show dev " + port.name};
    return {};
}

/// Whether one end speaks at all.
std::optional<Hindrance> silenceOf(const Network& network, PortAt at) {
    const Switch& each = network.switchOf(at);
    const Port& port = network.portOf(at);
    if (!each.enabled)
        return Hindrance{Reason::MvrpOff, at, true, "MVRP is off on " + each.name,
                         "mvrpctl set global enable on"};
    if (!port.enabled)
        return Hindrance{Reason::PortOff, at, false, "MVRP is off at " + nameOf(network, at),
                         setPort(port, "enable on")};
    return {};
}

std::string permitCommand(const Switch& each, const Port& port) {
    return each.linux ? "mvrpctl config check    # permit of " + port.name + ": add VLANS"
                      : "mvrpctl switch vlan add-port " + port.name + " VLANS";
}

/// Settings of the sender that keep it from declaring.
std::optional<Hindrance> sendingOf(const Direction& way, u32 vid) {
    const std::string name = nameOf(way.network, way.from);
    if (!vlanContains(way.out().permitted, vid))
        return Hindrance{Reason::NotPermitted, way.from, false,
                         "the permit list of " + name + " leaves VLANs out",
                         permitCommand(way.sender(), way.out())};
    if (way.out().quiet && !vlanContains(way.out().declared, vid))
        return Hindrance{Reason::Quiet, way.from, false,
                         name + " is quiet: it declares nothing that it has not registered there",
                         setPort(way.out(), "participant full")};
    return {};
}

/// Settings of the receiver that keep it from registering.
std::optional<Hindrance> receivingOf(const Direction& way, u32 vid) {
    const std::string name = nameOf(way.network, way.to);
    const Port& in = way.in();
    if (!vlanContains(in.permitted, vid))
        return Hindrance{Reason::NotPermitted, way.to, false,
                         "the permit list of " + name + " leaves VLANs out",
                         permitCommand(way.receiver(), in)};
    if (in.registration != Registration::Normal) {
        const bool fixed = in.registration == Registration::Fixed;
        return Hindrance{fixed ? Reason::Fixed : Reason::Forbidden, way.to, false,
                         "the registration mode of " + name + " is " +
                             (fixed ? "fixed" : "forbidden") + ", which learns nothing",
                         setPort(in, "registration normal")};
    }
    if (in.maxVlans != 0 && countOf(in.registered) >= in.maxVlans &&
        !vlanContains(in.registered, vid))
        return Hindrance{
            Reason::Limit, way.to, false,
            name + " has registered as many VLANs as it may (max-vlans = " +
                std::to_string(in.maxVlans) + ")",
            "mvrpctl config apply    # after max-vlans of " + in.name + " was raised in the file"};
    return {};
}

/// A LeaveAll time is no shorter than the leave time, or the port refuses it.
std::string longerLeave(const Port& port, u32 leaveMs) {
    constexpr u32 kLeavesPerLeaveAll = 2;  // and some, as the standard's times have it
    std::string leaveAll;
    if (port.leaveAllMs < leaveMs)
        leaveAll =
            setPort(port, "leave-all-time " + std::to_string(kLeavesPerLeaveAll * leaveMs)) + "\n";
    return leaveAll + setPort(port, "leave-time " + std::to_string(leaveMs));
}

/// No setting explains it: where it was last seen.
std::optional<Hindrance> lastSeen(const Direction& way, u32 vid) {
    const std::string to = nameOf(way.network, way.to);
    const std::string from = nameOf(way.network, way.from);
    if (!vlanContains(way.out().declared, vid))
        return Hindrance{Reason::NotDeclared, way.from, false,
                         from + " does not declare what its switch has",
                         setPort(way.out(), "enable off") + "\n" + setPort(way.out(), "enable on")};
    if (vlanContains(way.in().registered, vid))
        return Hindrance{Reason::NotMember, way.to, false,
                         to + " has registered VLANs and the switch has not taken it into them",
                         "mvrpctl explain " + way.in().name + " VLANS"};
    return Hindrance{Reason::NotHeard, way.to, false,
                     from + " declares VLANs and " + to + " has not registered them",
                     "mvrpctl explain " + way.in().name + " VLANS"};
}

}  // namespace

std::optional<Hindrance> mismatchOf(const Direction& way) {
    if (way.sender().gvrp != way.receiver().gvrp) {
        const PortAt older = way.sender().gvrp ? way.from : way.to;
        return Hindrance{
            Reason::Protocols, older, true,
            way.network.switchOf(older).name + " speaks GVRP, and its neighbour speaks MVRP",
            "mvrpctl set global compliance off"};
    }
    if (way.in().leaveMs != 0 && way.out().joinMs * kMvrpJoinsPerLeave > way.in().leaveMs)
        return Hindrance{Reason::Times, way.to, false,
                         "the leave time of " + nameOf(way.network, way.to) + " (" +
                             std::to_string(way.in().leaveMs) +
                             " ms) is less than twice the join time of its neighbour (" +
                             std::to_string(way.out().joinMs) +
                             " ms): VLANs leave before they are declared again",
                         longerLeave(way.in(), way.out().joinMs * kMvrpJoinsPerLeave)};
    return {};
}

std::optional<Hindrance> hindranceOf(const Direction& way, u32 vid) {
    if (vlanContains(way.in().member, vid) && way.in().linkUp && way.out().linkUp)
        return {};
    for (const PortAt at : {way.from, way.to})
        if (auto found = linkOf(way.network, at))
            return found;
    for (const PortAt at : {way.from, way.to})
        if (auto found = silenceOf(way.network, at))
            return found;
    if (way.sender().gvrp != way.receiver().gvrp)
        return mismatchOf(way);
    if (auto found = sendingOf(way, vid))
        return found;
    if (auto found = receivingOf(way, vid))
        return found;
    if (auto found = mismatchOf(way))
        return found;
    return lastSeen(way, vid);
}

void forEachStop(const Network& network, const Gap& gap,
                 const std::function<void(const Hindrance& what, u32 vid)>& visit) {
    const Cable& cable = network.cables[gap.cable];
    for (const Direction& way :
         {Direction{network, cable.a, cable.b}, Direction{network, cable.b, cable.a}}) {
        const VlanBitmap should =
            platform::vlanIntersection(gap.vlans, offeredAt(network, way.from));
        platform::vlanForEach(should, [&](u32 vid) {
            if (const auto what = hindranceOf(way, vid))
                visit(*what, vid);
        });
    }
}

}  // namespace network
