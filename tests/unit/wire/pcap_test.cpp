// SPDX-License-Identifier: MIT
#include "platform/wire/pcap.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <random>

#include "tests/unit/wire/frame_builder.h"

namespace {

using namespace frames;
using platform::parsePcap;

const Bytes kLittleHeader = hex("d4c3b2a1 0200 0400 00000000 00000000 ffff0000 01000000");

TEST(Pcap, ReadsWhatItWrote) {
    const std::string path = testing::TempDir() + "pcap_test_" + std::to_string(getpid());
    std::string error;
    {
        auto writer = platform::PcapWriter::open(path, error);
        ASSERT_TRUE(writer) << error;
        EXPECT_TRUE(writer->write(hex("0102030405"), 1'700'000'000'123'456));
        EXPECT_TRUE(writer->write({}, 1'700'000'001'000'000));
    }
    const auto capture = platform::readPcap(path, error);
    std::remove(path.c_str());
    ASSERT_TRUE(capture) << error;
    ASSERT_EQ(capture->records.size(), 2U);
    EXPECT_EQ(capture->records[0].timeUs, 1'700'000'000'123'456U);
    EXPECT_TRUE(std::ranges::equal(capture->frame(capture->records[0]), hex("0102030405")));
    EXPECT_EQ(capture->records[1].length, 0U);
}

TEST(Pcap, FrameIsInTheFileAsSoonAsItIsWritten) {
    const std::string path = testing::TempDir() + "pcap_test_" + std::to_string(getpid());
    std::string error;
    auto writer = platform::PcapWriter::open(path, error);
    ASSERT_TRUE(writer) << error;
    ASSERT_TRUE(writer->write(hex("aabb"), 5));
    const auto capture = platform::readPcap(path, error);
    std::remove(path.c_str());
    ASSERT_TRUE(capture) << error;
    EXPECT_EQ(capture->records.size(), 1U);
}

TEST(Pcap, ReadsTheOtherByteOrder) {
    std::string error;
    const auto capture = parsePcap(hex("a1b2c3d4 0002 0004 00000000 00000000 0000ffff 00000001"
                                       "00000001 00000002 00000003 00000003 aabbcc"),
                                   error);
    ASSERT_TRUE(capture) << error;
    ASSERT_EQ(capture->records.size(), 1U);
    EXPECT_EQ(capture->records[0].timeUs, 1'000'002U);
    EXPECT_TRUE(std::ranges::equal(capture->frame(capture->records[0]), hex("aabbcc")));
}

TEST(Pcap, ReadsNanoseconds) {
    std::string error;
    const auto capture = parsePcap(hex("4d3cb2a1 0200 0400 00000000 00000000 ffff0000 01000000"
                                       "01000000 e8030000 01000000 01000000 aa"),
                                   error);
    ASSERT_TRUE(capture) << error;
    EXPECT_EQ(capture->records.at(0).timeUs, 1'000'001U);
}

TEST(Pcap, ReadsPcapng) {
    const Bytes section = hex("0a0d0d0a 1c000000 4d3c2b1a 01000000 ffffffffffffffff 1c000000");
    const Bytes interface = hex("01000000 14000000 01000000 00000400 14000000");
    const Bytes packet =
        hex("06000000 24000000 00000000 00000000 05000000 03000000 03000000"
            "aabbcc00 24000000");
    std::string error;
    const auto capture = parsePcap(section + interface + packet + packet, error);
    ASSERT_TRUE(capture) << error;
    ASSERT_EQ(capture->records.size(), 2U);
    EXPECT_EQ(capture->records[1].timeUs, 5U);
    EXPECT_TRUE(std::ranges::equal(capture->frame(capture->records[1]), hex("aabbcc")));
}

TEST(Pcap, RecordThatIsCutShortIsLeftOut) {
    std::string error;
    const Bytes record = hex("01000000 02000000 03000000 03000000 aabbcc");
    for (std::size_t cut = 1; cut <= record.size(); ++cut) {
        Bytes file = kLittleHeader + record + record;
        file.resize(file.size() - cut);
        const auto capture = parsePcap(file, error);
        ASSERT_TRUE(capture) << error;
        EXPECT_EQ(capture->records.size(), 1U) << cut;
    }
}

TEST(Pcap, RecordThatClaimsMoreThanTheFileHoldsEndsIt) {
    std::string error;
    const auto capture =
        parsePcap(kLittleHeader + hex("01000000 02000000 ffffffff ffffffff aabbcc"), error);
    ASSERT_TRUE(capture) << error;
    EXPECT_TRUE(capture->records.empty());
}

TEST(Pcap, RefusesOtherFiles) {
    std::string error;
    EXPECT_FALSE(parsePcap({}, error));
    EXPECT_NE(error.find("empty"), std::string::npos);
    EXPECT_FALSE(parsePcap(hex("0a0d0d0a 00000000 00000000 00000000 00000000 00000000"), error));
    EXPECT_NE(error.find("not a pcap or pcapng file"), std::string::npos);
    EXPECT_FALSE(parsePcap(hex("ff"), error));
    EXPECT_FALSE(parsePcap(hex("d4c3b2a1 0200 0400 00000000 00000000 ffff0000 71000000"), error));
    EXPECT_NE(error.find("113"), std::string::npos);
    EXPECT_FALSE(platform::readPcap("/nonexistent/capture", error));
    EXPECT_NE(error.find("/nonexistent/capture"), std::string::npos);
}

TEST(Pcap, NeverReadsBeyondRandomBytes) {
    std::mt19937 random(3);
    std::string error;
    for (int round = 0; round < 5000; ++round) {
        Bytes file = kLittleHeader;
        const std::size_t size = random() % 200;
        for (std::size_t i = 0; i < size; ++i)
            file.push_back(static_cast<u8>(random() % 8 == 0 ? random() : 0));
        const auto capture = parsePcap(file, error);
        ASSERT_TRUE(capture);
        for (const auto& record : capture->records)
            ASSERT_EQ(capture->frame(record).size(), record.length);
    }
}

}  // namespace
