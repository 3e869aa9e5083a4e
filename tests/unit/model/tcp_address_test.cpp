// SPDX-License-Identifier: MIT
#include "platform/model/tcp_address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <array>
#include <cstring>

namespace platform {
namespace {

TEST(TcpAddress, OfBothFamiliesAreRead) {
    const auto four = parseTcpAddress("127.0.0.1:9620");
    ASSERT_TRUE(four);
    EXPECT_EQ(four->family(), AF_INET);
    ASSERT_EQ(four->length, sizeof(sockaddr_in));
    sockaddr_in read{};
    std::memcpy(&read, &four->address, sizeof read);
    EXPECT_EQ(ntohs(read.sin_port), 9620);
    EXPECT_EQ(ntohl(read.sin_addr.s_addr), INADDR_LOOPBACK);

    const auto six = parseTcpAddress("[::1]:65535");
    ASSERT_TRUE(six);
    EXPECT_EQ(six->family(), AF_INET6);
    sockaddr_in6 read6{};
    ASSERT_EQ(six->length, sizeof read6);
    std::memcpy(&read6, &six->address, sizeof read6);
    EXPECT_EQ(ntohs(read6.sin6_port), 65535);
    EXPECT_TRUE(IN6_IS_ADDR_LOOPBACK(&read6.sin6_addr));
}

TEST(TcpAddress, WhatIsNoneIsRefused) {
    const std::array<std::string_view, 16> wrong = {"",
                                                    ":",
                                                    "127.0.0.1",
                                                    "127.0.0.1:",
                                                    "127.0.0.1:0",
                                                    "9620",
                                                    ":9620",
                                                    "[]:9620",
                                                    "127.0.0.1:65536",
                                                    "::1:9620",
                                                    "[::1]",
                                                    "[::1:9620",
                                                    "host:9620",
                                                    "1.2.3:9620a",
                                                    "127.0.0.1:+9620",
                                                    "[127.0.0.1]:9620"};
    for (const std::string_view text : wrong)
        EXPECT_FALSE(parseTcpAddress(text)) << text;
    EXPECT_FALSE(parseTcpAddress(std::string_view("127.0.0.1\0:9620", 15)));
}

}  // namespace
}  // namespace platform
