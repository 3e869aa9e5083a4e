// SPDX-License-Identifier: MIT
#include "cli/client/port_ranges.h"

#include <gtest/gtest.h>

#include "cli/client/queries.h"

namespace {

using namespace cli;

std::vector<platform::SwitchPortRecord> ports(const std::vector<std::string>& names) {
    std::vector<platform::SwitchPortRecord> all;
    for (const std::string& name : names) {
        platform::SwitchPortRecord port{};
        port.unit = static_cast<u32>(all.size() + 1);
        name.copy(port.name.data(), port.name.size() - 1);
        all.push_back(port);
    }
    return all;
}

std::string chosen(const std::vector<std::string>& names, const std::string& list) {
    std::string text;
    for (const auto& port : choosePorts(ports(names), list))
        text += std::string(text.empty() ? "" : " ") + port.name.data();
    return text;
}

TEST(PortRanges, PutSuccessiveNumbersTogether) {
    EXPECT_EQ(portRangesText({"swp1", "swp2", "swp3", "swp5", "uplink"}), "swp1-3, swp5, uplink");
    EXPECT_EQ(portRangesText({"swp9", "swp10"}), "swp9-10");
    EXPECT_EQ(portRangesText({"eth0.10", "eth0.11"}, " "), "eth0.10-11");
    EXPECT_EQ(portRangesText({}), "-");
}

TEST(PortRanges, KeepTheOrderAndOtherNumbers) {
    EXPECT_EQ(portRangesText({"swp2", "swp1", "a1", "b2"}), "swp2, swp1, a1, b2");
    EXPECT_EQ(portRangesText({"swp01", "swp02"}), "swp01, swp02");
    EXPECT_EQ(portRangesText({"1", "2"}), "1, 2");
    EXPECT_EQ(portRangesText({"p99999999999", "p100000000000"}), "p99999999999, p100000000000");
}

TEST(ChoosePorts, TakesNamesUnitsAndRangesOfBoth) {
    const std::vector<std::string> names = {"swp1", "swp2", "swp3", "uplink"};
    EXPECT_EQ(chosen(names, "uplink,swp1"), "swp1 uplink");
    EXPECT_EQ(chosen(names, "swp2-3"), "swp2 swp3");
    EXPECT_EQ(chosen(names, "1-2,4"), "swp1 swp2 uplink");
    EXPECT_EQ(chosen(names, "swp1,swp1-2"), "swp1 swp2");
}

TEST(ChoosePorts, TakesANameThatLooksLikeARangeForThatPort) {
    EXPECT_EQ(chosen({"a1", "a2", "a1-2"}, "a1-2"), "a1-2");
}

TEST(ChoosePorts, RefusesWhatNamesNoPortAndPartsOfRanges) {
    for (const char* list : {"", "swp4", "swp1-4", "swp2-1", "swp1,", "swp", "0", "swp1-", "-2"})
        EXPECT_THROW(chosen({"swp1", "swp2", "swp3"}, list), RefusedError) << list;
    try {
        chosen({"swp1", "swp2", "uplink"}, "uplnik");
        FAIL();
    } catch (const RefusedError& error) {
        EXPECT_STREQ(error.what(),
                     "the switch has no port 'uplnik' (did you mean uplink?); its ports are: "
                     "swp1-2, uplink");
    }
}

}  // namespace
