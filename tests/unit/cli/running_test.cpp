// SPDX-License-Identifier: MIT
#include "cli/views/running.h"

#include <gtest/gtest.h>

#include <cstring>

namespace cli {
namespace {

VlansView viewOfOnePort() {
    VlansView view;
    view.staticVlans = platform::vlanRange(1, 3);
    PortView port;
    port.port.unit = 1;
    std::strcpy(port.port.name.data(), "p1");
    port.permitted = platform::vlanRange(1, 2);
    view.ports.push_back(port);
    return view;
}

TEST(Running, APortIsAMemberOfPermittedStaticAndOfLearntVlans) {
    VlansView view = viewOfOnePort();
    view.ports[0].dynamic = platform::vlanRange(10, 11);
    view.ports[0].registered = platform::vlanRange(10, 11);
    const std::vector<RunningPort> ports = compareRunning(view);
    EXPECT_EQ(platform::formatVlanRanges(ports[0].inSwitch), "1-2,10-11");
    EXPECT_EQ(platform::formatVlanRanges(ports[0].missing), "-");
    EXPECT_EQ(platform::formatVlanRanges(ports[0].extra), "-");
    EXPECT_EQ(runningText(ports, {}).find('!'), std::string::npos);
}

TEST(Running, DifferencesAreMarkedBothWays) {
    VlansView view = viewOfOnePort();
    view.ports[0].dynamic = platform::vlanRange(10, 11);
    view.ports[0].registered = platform::vlanRange(11, 12);
    const std::vector<RunningPort> ports = compareRunning(view);
    EXPECT_EQ(platform::formatVlanRanges(ports[0].missing), "12");
    EXPECT_EQ(platform::formatVlanRanges(ports[0].extra), "10");
    const std::string text = runningText(ports, {});
    EXPECT_NE(text.find("! registered, not in the switch: 12"), std::string::npos);
    EXPECT_NE(text.find("! in the switch, no longer registered: 10"), std::string::npos);
    EXPECT_NE(summaryText(ports, {}).find(" 2\n"), std::string::npos);
}

}  // namespace
}  // namespace cli
