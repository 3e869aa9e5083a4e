// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/config/host_config.h"

namespace platform {
namespace {

TEST(Cable, EachKindIsReadAndWrittenBack) {
    for (const char* text : {"none", "unix:/run/a,/run/b", "interface:eth0"}) {
        const auto cable = parseCable(text);
        ASSERT_TRUE(cable) << text;
        EXPECT_EQ(formatCable(*cable), text);
    }
    const auto cable = parseCable("unix:/run/a,/run/b");
    EXPECT_EQ(cable->localPath, "/run/a");
    EXPECT_EQ(cable->peerPath, "/run/b");
}

TEST(Cable, AnythingElseIsRefused) {
    for (const std::string& text :
         {std::string(), std::string("unix:"), std::string("unix:/a"), std::string("unix:/a,"),
          std::string("unix:,/b"), std::string("unix:/same,/same"), std::string("interface:"),
          std::string("interface:a-name-much-too-long"), std::string("udp:1"),
          "unix:/" + std::string(kMaxSocketPath, 'x') + ",/b"})
        EXPECT_FALSE(parseCable(text)) << text;
}

TEST(Cable, APathMayHaveTheLengthOfASocketAddress) {
    EXPECT_TRUE(parseCable("unix:/" + std::string(kMaxSocketPath - 1, 'x') + ",/b"));
}

}  // namespace
}  // namespace platform
