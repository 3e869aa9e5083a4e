// SPDX-License-Identifier: MIT
//
// Addresses in a support dump: which are replaced, by what, and that the same stays the same.
#include "cli/support/mask.h"

#include <gtest/gtest.h>

#include <string>

namespace cli {
namespace {

TEST(Mask, TheSameAddressIsReplacedByTheSame) {
    Masker masker;
    EXPECT_EQ(masker.masked("a 52:54:00:12:34:56, b 52:54:00:AB:cd:ef, a 52:54:00:12:34:56"),
              "a 02:00:00:00:00:01, b 02:00:00:00:00:02, a 02:00:00:00:00:01");
    EXPECT_EQ(masker.masked("{\"mac\":\"52:54:00:ab:CD:EF\"}"), "{\"mac\":\"02:00:00:00:00:02\"}");
}

TEST(Mask, Ipv4AndIpv6) {
    Masker masker;
    EXPECT_EQ(masker.masked("192.168.7.1/24 10.0.0.1:9620 and 192.168.7.1."),
              "198.18.0.1/24 198.18.0.2:9620 and 198.18.0.1.");
    EXPECT_EQ(masker.masked("fe80::5054:ff:fe12:3456/64 fe80:0:0:0:5054:ff:fe12:3456"),
              "2001:db8::1/64 2001:db8::1");
    EXPECT_EQ(masker.masked("\"local\":\"2a01:4f8::1\""), "\"local\":\"2001:db8::2\"");
}

TEST(Mask, WhatIsNoHostsStays) {
    Masker masker;
    for (const char* text : {"01:80:c2:00:00:21", "00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff",
                             "127.0.0.1:9620", "0.0.0.0", "224.0.0.22", "::1", "::", "ff02::1"})
        EXPECT_EQ(masker.masked(text), text);
}

TEST(Mask, WhatOnlyLooksLikeAnAddressStays) {
    Masker masker;
    for (const char* text : {"17:31:04.123", "2026-11-22T17:31:04", "10-12,20", "swp1:2", "a::b:g",
                             "1.2.3", "std::string", "8000", "52:54:00:12:34", "dead:beef", ""})
        EXPECT_EQ(masker.masked(text), text) << text;
}

TEST(Mask, AnAddressBehindABridgePriority) {
    Masker masker;
    EXPECT_EQ(masker.masked("8000.52:54:00:12:34:56"), "8000.02:00:00:00:00:01");
}

TEST(Mask, SourcesInACaptureAreThoseOfTheTexts) {
    Masker masker;
    masker.masked("52:54:00:12:34:56");
    std::string capture(24, '\0');
    const std::string frame = std::string("\x01\x80\xc2\x00\x00\x21", 6) +
                              std::string("\x52\x54\x00\x12\x34\x56", 6) + "rest";
    for (int i = 0; i < 2; i++) {
        std::string record(16, '\0');
        record[8] = static_cast<char>(frame.size());
        capture += record + frame;
    }
    const std::string masked = masker.maskedCapture(capture);
    ASSERT_EQ(masked.size(), capture.size());
    EXPECT_EQ(masked.find("\x52\x54"), std::string::npos);
    EXPECT_EQ(masked.substr(24 + 16, 12),
              std::string("\x01\x80\xc2\x00\x00\x21\x02\x00\x00\x00\x00\x01", 12));
    EXPECT_EQ(masked.substr(masked.size() - 10), std::string("\x02\x00\x00\x00\x00\x01rest", 10));
    // Cut off anywhere, nothing is read behind its end.
    for (std::size_t length = 0; length < capture.size(); length++)
        EXPECT_EQ(masker.maskedCapture(capture.substr(0, length)).size(), length);
}

}  // namespace
}  // namespace cli
