// SPDX-License-Identifier: MIT
#include "platform/wire/pcapng.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/unit/wire/frame_builder.h"

namespace {

using namespace frames;
using platform::FrameOrigin;
using platform::FrameWay;
using platform::pcapngOrigins;
using Origins = std::vector<FrameOrigin>;

const Bytes kSection = hex("0a0d0d0a 1c000000 4d3c2b1a 01000000 ffffffffffffffff 1c000000");
/// An interface called "swp1".
const Bytes kNamed = hex("01000000 20000000 01000000 00000400 02000400 73777031 00000000 20000000");
const Bytes kNameless = hex("01000000 14000000 01000000 00000400 14000000");

/// A packet of three bytes on an interface, with these flags.
Bytes packet(const std::string& interface, const std::string& flags) {
    return hex("06000000 30000000 " + interface +
               " 00000000 05000000 03000000 03000000 aabbcc00 02000400 " + flags +
               " 00000000 30000000");
}

TEST(Pcapng, TellsPortAndDirectionOfEachPacket) {
    const Bytes file = kSection + kNamed + packet("00000000", "01000000") + kNameless +
                       packet("00000000", "02000000") + packet("01000000", "00000000") +
                       packet("01000000", "03000000") + packet("07000000", "01000000");
    EXPECT_EQ(pcapngOrigins(file), (Origins{{"swp1", FrameWay::Received},
                                            {"swp1", FrameWay::Sent},
                                            {"", FrameWay::Unknown},
                                            {"", FrameWay::Unknown},
                                            {"", FrameWay::Received}}));
}

TEST(Pcapng, CountsPacketsOfOtherKindsAndPassesByOtherBlocks) {
    const Bytes simple = hex("03000000 14000000 03000000 aabbcc00 14000000");
    const Bytes names = hex("04000000 10000000 00000000 10000000");
    EXPECT_EQ(pcapngOrigins(kSection + kNamed + names + simple + packet("00000000", "02000000")),
              (Origins{{"swp1", FrameWay::Unknown}, {"swp1", FrameWay::Sent}}));
}

TEST(Pcapng, ReadsTheOtherByteOrderAndBeginsAnewWithEachSection) {
    const Bytes big =
        hex("0a0d0d0a 0000001c 1a2b3c4d 00010000 ffffffffffffffff 0000001c"
            "00000001 00000020 00010000 00040000 00020004 73777031 00000000 00000020"
            "00000006 00000030 00000000 00000000 00000005 00000003 00000003 aabbcc00"
            "00020004 00000002 00000000 00000030");
    EXPECT_EQ(pcapngOrigins(kSection + kNameless + packet("00000000", "01000000") + big),
              (Origins{{"", FrameWay::Received}, {"swp1", FrameWay::Sent}}));
}

TEST(Pcapng, OfAnotherFormatTellsNothing) {
    EXPECT_TRUE(pcapngOrigins({}).empty());
    EXPECT_TRUE(
        pcapngOrigins(hex("d4c3b2a1 0200 0400 00000000 00000000 ffff0000 01000000")).empty());
    EXPECT_TRUE(pcapngOrigins(kNamed + packet("00000000", "01000000")).empty()) << "no section";
}

TEST(Pcapng, ReadsBackWhatItWroteAsTheSameFrames) {
    const std::string path = testing::TempDir() + "pcapng_test_" + std::to_string(getpid());
    std::string error;
    {
        const std::vector<std::string> ports = {"swp1", "swp2"};
        auto writer = platform::PcapngWriter::open(path, ports, error);
        ASSERT_TRUE(writer) << error;
        EXPECT_TRUE(
            writer->write(hex("0102030405"), 1'700'000'000'123'456, {"swp1", FrameWay::Received}));
        EXPECT_TRUE(writer->write(hex("06"), 1'700'000'001'000'000, {"uplink", FrameWay::Sent}));
        EXPECT_TRUE(writer->write({}, 1'700'000'002'000'000, {"swp1", FrameWay::Sent}));
    }
    std::ifstream stream(path, std::ios::binary);
    const Bytes file{std::istreambuf_iterator<char>(stream), {}};
    const auto capture = platform::readPcap(path, error);
    std::remove(path.c_str());
    EXPECT_EQ(pcapngOrigins(file), (Origins{{"swp1", FrameWay::Received},
                                            {"uplink", FrameWay::Sent},
                                            {"swp1", FrameWay::Sent}}));
    ASSERT_TRUE(capture) << error;
    ASSERT_EQ(capture->records.size(), 3U);
    EXPECT_EQ(capture->records[0].timeUs, 1'700'000'000'123'456U);
    EXPECT_TRUE(std::ranges::equal(capture->frame(capture->records[0]), hex("0102030405")));
    EXPECT_EQ(capture->records[2].length, 0U);
}

TEST(Pcapng, WithoutAFrameIsAnEmptyCapture) {
    const std::string path = testing::TempDir() + "pcapng_test_" + std::to_string(getpid());
    const std::vector<std::string> ports = {"swp1"};
    std::string error;
    ASSERT_TRUE(platform::PcapngWriter::open(path, ports, error)) << error;
    const auto capture = platform::readPcap(path, error);
    std::remove(path.c_str());
    ASSERT_TRUE(capture) << error;
    EXPECT_TRUE(capture->records.empty());
    EXPECT_FALSE(platform::PcapngWriter::open("/nonexistent/x.pcapng", ports, error));
    EXPECT_NE(error.find("/nonexistent/x.pcapng"), std::string::npos);
}

TEST(Pcapng, NeverReadsBeyondWhatIsCutOffOrRandom) {
    const Bytes whole = kSection + kNamed + packet("00000000", "01000000");
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_TRUE(
            pcapngOrigins(Bytes(whole.begin(), whole.begin() + static_cast<long>(length))).empty())
            << length;
    std::mt19937 random(3);
    for (int round = 0; round < 20000; ++round) {
        Bytes file = whole + packet("00000000", "02000000");
        for (int change = 0; change < 4; ++change)
            file[28 + random() % (file.size() - 28)] = static_cast<u8>(random() % 40);
        EXPECT_LE(pcapngOrigins(file).size(), 12U);
    }
}

}  // namespace
