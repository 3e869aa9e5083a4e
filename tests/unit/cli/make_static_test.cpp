// SPDX-License-Identifier: MIT
#include "cli/commands/make_static.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using platform::vlanRange;

PortView portOf(const char* name, const platform::VlanBitmap& permitted,
                const platform::VlanBitmap& learnt) {
    PortView view;
    view.port.unit = static_cast<u32>(name[0]);
    std::string(name).copy(view.port.name.data(), view.port.name.size() - 1);
    view.permitted = permitted;
    view.dynamic = learnt;
    return view;
}

VlansView viewOf() {
    VlansView view;
    view.staticVlans = vlanRange(1, 2);
    view.dynamicVlans = vlanRange(10, 12);
    view.ports = {portOf("a", vlanRange(1, 4094), vlanRange(10, 12)),
                  portOf("b1", vlanRange(12, 12), {}), portOf("b2", vlanRange(10, 10), {}),
                  portOf("c", vlanRange(100, 200), {})};
    return view;
}

using Texts = std::vector<std::string>;

TEST(MakeStatic, OnASoftwareSwitchChangesTheKind) {
    const VlansView view = viewOf();
    const MakeStatic made = makeStatic(view, view.ports[0], vlanRange(10, 14), false);
    EXPECT_EQ(made.commands, Texts{"mvrpctl switch vlan type 10-12 static"});
    EXPECT_EQ(platform::formatVlanRanges(made.notLearnt), "13-14");
    EXPECT_EQ(made.others, (Texts{"b1", "b2"}));
}

TEST(MakeStatic, PermitsFirstWhatThePortDoesNot) {
    VlansView view = viewOf();
    view.ports[0].permitted = vlanRange(1, 10);
    EXPECT_EQ(
        makeStatic(view, view.ports[0], vlanRange(10, 12), false).commands,
        (Texts{"mvrpctl switch vlan add-port a 11-12", "mvrpctl switch vlan type 10-12 static"}));
}

TEST(MakeStatic, OnABridgeHasTheDaemonGiveItUpFirst) {
    VlansView view = viewOf();
    view.ports[0].dynamic = vlanRange(10, 11);
    platform::vlanInsert(view.ports[0].dynamic, 30);
    EXPECT_EQ(
        makeStatic(view, view.ports[0], vlanRange(1, 4094), true).commands,
        (Texts{"mvrpctl set port a registration forbidden",
               "mvrpctl wait --port a --vlan 10-11,30 --gone", "bridge vlan add dev a vid 10-11",
               "bridge vlan add dev a vid 30", "mvrpctl set port a registration normal"}));
}

TEST(MakeStatic, LeavesOutWhatIsStaticOrNotLearnt) {
    VlansView view = viewOf();
    view.staticVlans = vlanRange(1, 11);
    EXPECT_EQ(
        platform::formatVlanRanges(makeStatic(view, view.ports[0], vlanRange(10, 12), false).vlans),
        "12");
    EXPECT_TRUE(makeStatic(view, view.ports[3], vlanRange(10, 12), false).commands.empty());
}

TEST(MakeStatic, SaysWhatElseChangesInComments) {
    const VlansView view = viewOf();
    const std::string text =
        makeStaticText(makeStatic(view, view.ports[0], vlanRange(10, 13), false), "a");
    EXPECT_EQ(text,
              "# not learnt on a, and left out: 13\n"
              "mvrpctl switch vlan type 10-12 static\n"
              "# static VLANs are on all ports that permit them, here also on: b1-2\n"
              "# lost at the next start unless the configuration has it, too\n");
}

}  // namespace
}  // namespace cli
