// SPDX-License-Identifier: MIT
#include "platform/config/management_commands.h"

#include <gtest/gtest.h>

#include "platform/contract/management.h"

namespace platform {
namespace {

constexpr ManagementCommand scalar(u32 attribute, u32 value) {
    return {false, 0, attribute, value};
}

constexpr ManagementCommand port(u32 unit, u32 attribute, u32 value) {
    return {true, unit, attribute, value};
}

ManagementConfig after(std::initializer_list<ManagementCommand> commands) {
    ManagementConfig settings;
    for (const ManagementCommand& command : commands)
        applyCommand(settings, command);
    return settings;
}

TEST(ManagementCommands, ANumberIsTakenApartAndPutTogether) {
    EXPECT_EQ(parseCommand(0, 0xFC001, 1), scalar(1, 1));
    EXPECT_EQ(parseCommand(9, 0x040A8005, 200), port(9, 5, 200));
    EXPECT_EQ(commandNumber(scalar(4, 0)), 0xFC004U);
    EXPECT_EQ(commandNumber(port(1, 7, 0)), 0x040A8007U);
    for (const u32 unknown : {0U, 0xFBFFFU, 0xFD000U, 0x040A7FFFU, 0x040A9000U, 0xFFFFFFFFU})
        EXPECT_FALSE(parseCommand(1, unknown, 0)) << unknown;
}

TEST(ManagementCommands, SettingsBecomeCommandsThatLeadBackToThem) {
    ManagementConfig settings;
    settings.enable = MVRP_ON;
    settings.compliance = MVRP_ON;
    settings.ports[3] = {MVRP_ON, 2, 3, 0, 200, 1000, 10000};
    settings.ports[4].enable = MVRP_OFF;
    ManagementConfig back;
    for (const ManagementCommand& command : commandsOf(settings))
        applyCommand(back, command);
    EXPECT_EQ(back, settings);
    EXPECT_EQ(commandsOf(settings).front(), scalar(MVRP_SCALAR_ENABLE, MVRP_ON));
}

TEST(ManagementCommands, APortThatIsDisabledForgetsItsSettings) {
    const ManagementConfig settings =
        after({scalar(1, 1), port(3, 1, 1), port(3, 5, 200), port(3, 1, 2), port(3, 1, 1)});
    EXPECT_EQ(settings.ports.at(3).enable, MVRP_ON);
    EXPECT_FALSE(settings.ports.at(3).joinTime);
}

TEST(ManagementCommands, DisablingAllForgetsPortsAndCompliance) {
    const ManagementConfig settings =
        after({scalar(1, 1), scalar(3, 1), port(3, 1, 1), scalar(1, 2)});
    EXPECT_EQ(settings.enable, MVRP_OFF);
    EXPECT_FALSE(settings.compliance);
    EXPECT_TRUE(settings.ports.empty());
}

TEST(ManagementCommands, AnyValueButOneDisables) {
    EXPECT_EQ(after({scalar(1, 0)}).enable, MVRP_OFF);
    EXPECT_EQ(after({port(3, 1, 77)}).ports.at(3).enable, MVRP_OFF);
}

TEST(ManagementCommands, APortThatIsOffIsToldWithoutItsSettings) {
    ManagementConfig settings;
    settings.enable = MVRP_ON;
    settings.ports[3] = {MVRP_OFF, 2, {}, {}, {}, {}, {}};
    const std::vector<ManagementCommand> expected = {scalar(1, 1), port(3, 1, 2)};
    EXPECT_EQ(commandsOf(settings), expected);
}

}  // namespace
}  // namespace platform
