// SPDX-License-Identifier: MIT
//
// A line of switches in which all is well: west - middle - east, VLAN 30 wanted at both ends.
#pragma once

#include "network/join/topology.h"

namespace network::testing {

using platform::vlanInsert;
using platform::vlanRange;

inline constexpr u32 kVlan = 30;

inline Port portOf(std::string name, Mac mac, Mac hears) {
    Port port;
    port.name = std::move(name);
    port.mac = mac;
    port.linkUp = port.enabled = port.eligible = true;
    port.joinMs = 200;
    port.leaveMs = 600;
    port.leaveAllMs = 10'000;
    port.heardLast = hears;
    if (hears != 0)
        port.neighbours.push_back({hears, false, 100, false});
    port.permitted = vlanRange(1, 4094);
    for (VlanBitmap* const set : {&port.registered, &port.declared, &port.member, &port.heard})
        vlanInsert(*set, kVlan);
    return port;
}

inline Switch switchOf(std::string name, std::vector<Port> ports, bool wanted) {
    Switch each;
    each.name = each.hostName = std::move(name);
    each.enabled = true;
    each.version = "1";
    each.corrections.emplace();
    if (wanted)
        each.staticVlans = vlanRange(kVlan, kVlan);
    else
        for (Port& port : ports)
            port.learnt = port.member;
    each.ports = std::move(ports);
    return each;
}

inline std::vector<Switch> lineOfThree() {
    return {switchOf("east", {portOf("e1", 0xE1, 0x32)}, true),
            switchOf("middle", {portOf("m1", 0x31, 0xF1), portOf("m2", 0x32, 0xE1)}, false),
            switchOf("west", {portOf("w1", 0xF1, 0x31)}, true)};
}

inline Port& at(std::vector<Switch>& switches, const std::string& name, std::size_t port) {
    for (Switch& each : switches)
        if (each.name == name)
            return each.ports.at(port);
    throw std::out_of_range(name);
}

}  // namespace network::testing
