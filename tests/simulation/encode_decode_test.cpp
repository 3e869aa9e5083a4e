// SPDX-License-Identifier: MIT
//
// Properties of what two switches make of any sets of VLANs: one encodes, the other decodes, both
// ways at once, over MVRP and over GVRP, with any MTU. And: lists of VLANs are read as written.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "daemon/mgmt/config.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/vlan_ranges.h"
#include "platform/virtual/network/network.h"
#include "platform/virtual/network/platform_events.h"

namespace simulation {
namespace {

using scenario::VlanSet;

constexpr u32 kLastVlan = 4094;

/// Runs of VLANs, which are what vectors are made of; single ones among them.
VlanSet anyVlans() {
    const auto lengths = rc::gen::weightedOneOf<u32>({{3, rc::gen::just(u32{1})},
                                                      {3, rc::gen::inRange<u32>(2, 10)},
                                                      {1, rc::gen::inRange<u32>(10, 4094)}});
    const auto runs = *rc::gen::container<std::vector<std::pair<u32, u32>>>(
        rc::gen::pair(rc::gen::inRange<u32>(2, kLastVlan + 1), lengths));
    VlanSet set;
    for (const auto& [first, length] : runs)
        for (u32 vid = first; vid < first + length && vid <= kLastVlan; vid++)
            set.set(vid);
    return set;
}

void equip(Node& node, const VlanSet& vlans, u32 mtu) {
    auto& state = node.host.switchState;
    for (u32 vid = 1; vid <= kLastVlan; vid++)
        if (vid == 1 || vlans.test(vid))
            state.vlanTypes.set(vid, static_cast<u32>(QorVlanType::Static));
    auto& port = state.addPort(1);
    for (u32 vid = 1; vid <= kLastVlan; vid++)
        port.permitted.set(vid);
    port.tagged = port.permitted;
    port.tagged.reset(port.pvid);
    port.mtu = mtu;
    node.wanted[1] = true;
}

/// Two switches on one cable, until both have said everything several times.
void checkExchange(bool gvrp, u32 mtu) {
    constexpr u64 kSaidMs = 20'000;
    const std::array<VlanSet, 2> vlans = {anyVlans(), anyVlans()};
    Network network(1);
    for (u32 index = 0; index < 2; index++)
        equip(network.addNode(), vlans[index], mtu);
    network.addCable({0, 1}, {1, 1}, 1);
    for (u32 index = 0; index < 2; index++)
        network.act(index, [&] {
            startDaemonOf(network.node(index));
            if (gvrp)
                setScalar(MVRP_SCALAR_GVRP_COMPLIANCE, MVRP_ON);
        });
    RC_ASSERT(network.run(kSaidMs));
    for (u32 index = 0; index < 2; index++) {
        const VlanSet expected = vlans[1 - index] & ~vlans[index];
        RC_CLASSIFY(expected.any(), "something to learn");
        const VlanSet& member = network.node(index).host.switchState.ports.at(1).dynamic;
        RC_ASSERT(scenario::formatVlanSet(member) == scenario::formatVlanSet(expected));
    }
}

RC_GTEST_PROP(EncodeDecode, MvrpIsUnderstoodAsItWasMeant, ()) {
    checkExchange(false, 1500);
}

RC_GTEST_PROP(EncodeDecode, GvrpIsUnderstoodAsItWasMeant, ()) {
    checkExchange(true, 1500);
}

RC_GTEST_PROP(EncodeDecode, SmallMtusTakeMorePdus, ()) {
    checkExchange(*rc::gen::arbitrary<bool>(), *rc::gen::inRange<u32>(100, 600));
}

RC_GTEST_PROP(VlanList, IsReadAsItIsWritten, ()) {
    const VlanSet vlans = anyVlans();
    platform::VlanBitmap bitmap{};
    scenario::storeBitmap(vlans, bitmap);
    const std::string text = platform::formatVlanRanges(bitmap);
    RC_ASSERT(platform::parseVlanRanges(text) == bitmap);
    RC_ASSERT(text == scenario::formatVlanSet(vlans));
}

RC_GTEST_PROP(VlanSet, BitmapsAndSetsAreTheSame, ()) {
    const scenario::VlanSet vlans = anyVlans();
    const auto length = *rc::gen::inRange<std::size_t>(0, kVlanBitmapBytes + 8);
    std::vector<u8> bitmap(length, 0xFF);
    scenario::storeBitmap(vlans, bitmap);
    scenario::VlanSet cut = vlans;
    for (u32 vid = 1; vid <= kVlanBitmapBytes * 8; vid++) {
        const u32 byte = (vid - 1) / 8;
        const bool isSet = byte < length && (bitmap[byte] & 0x80U >> (vid - 1) % 8) != 0;
        RC_ASSERT(isSet == (byte < length && vlans.test(vid)));
        if (byte >= length)
            cut.reset(vid);
    }
    RC_ASSERT(scenario::vlanSetOf(bitmap) == cut);
}

}  // namespace
}  // namespace simulation
