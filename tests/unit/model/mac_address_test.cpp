// SPDX-License-Identifier: MIT
#include "platform/model/mac_address.h"

#include <gtest/gtest.h>

namespace platform::testing {
namespace {

TEST(MacAddressText, IsReadBackAsWritten) {
    const MacAddress mac{0x02, 0x00, 0xAB, 0xCD, 0xEF, 0x01};
    EXPECT_EQ(formatMac(mac), "02:00:ab:cd:ef:01");
    EXPECT_EQ(parseMac(formatMac(mac)), mac);
    EXPECT_EQ(parseMac("02:00:AB:CD:EF:01"), mac);
}

TEST(MacAddressText, OtherFormsAreRefused) {
    for (const char* text :
         {"", "02", "02:00:00:00:00", "02:00:00:00:00:0", "02:00:00:00:00:001", "02-00-00-00-00-01",
          "02:00:00:00:00:0g", "02:00:00:00:00:01 ", " 2:00:00:00:00:01", "+2:00:00:00:00:01"})
        EXPECT_EQ(parseMac(text), std::nullopt) << text;
}

TEST(MacAddressText, OnlyAStationsAddressFitsAPort) {
    EXPECT_TRUE(isStationMac({2, 0, 0, 0, 0, 1}));
    EXPECT_FALSE(isStationMac({1, 0x80, 0xC2, 0, 0, 0x21}));
    EXPECT_FALSE(isStationMac({}));
}

}  // namespace
}  // namespace platform::testing
