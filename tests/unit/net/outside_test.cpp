// SPDX-License-Identifier: MIT
//
// What leaves a port, as a decoder reads it that nobody here wrote.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/unit/net/net_node.h"

namespace platform::testing {
namespace {

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    char line[512];
    while (pipe != nullptr && std::fgets(line, sizeof line, pipe) != nullptr)
        output += line;
    if (pipe != nullptr)
        pclose(pipe);
    return output;
}

class DecodedOutside : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::system("command -v tshark >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "tshark is not installed";
        node_.enable(3);
        ASSERT_EQ(node_.net.setRecording(3, {file_}, error_), HostStatus::Ok) << error_;
    }
    void send(const frames::Bytes& frame) {
        ASSERT_EQ(node_.send(node_.mvrp, 3, frame), static_cast<ssize_t>(frame.size()));
    }
    /// The named fields of each frame, separated by bars.
    std::string fields(const std::string& names) {
        EXPECT_EQ(node_.net.setRecording(3, {}, error_), HostStatus::Ok);  // all of it is there
        std::string command = "tshark -r '" + file_ + "' -T fields -E separator='|'";
        for (std::size_t at = 0; at < names.size();) {
            const std::size_t end = std::min(names.find(' ', at), names.size());
            command += " -e " + names.substr(at, end - at);
            at = end + 1;
        }
        return outputOf(command + " 2>/dev/null");
    }

    ScratchDirectory directory_;
    const std::string file_ = directory_.path("out.pcap");
    std::string error_;
    NetNode node_;
};

TEST_F(DecodedOutside, StandardFormHasTheRightVlansAndEvents) {
    node_.net.setWireForm(3, WireForm::Ieee);
    // VLANs 10 to 12 JoinIn, JoinMt, Lv, and 100 New; then a LeaveAll with VLAN 7 In.
    send(frames::nativeFrame("00 01 01 0003 000a 3b 0001 0064 00 0000"));
    send(frames::nativeFrame("00 01 01 2001 0007 48 0000"));
    EXPECT_EQ(fields("frame.protocols mrp-mvrp.vid mrp-mvrp.leave_all_event "
                     "mrp-mvrp.three_packed_event _ws.malformed"),
              "eth:ethertype:mrp-mvrp|10,100|0,0|1,3,5,0|\n"
              "eth:ethertype:mrp-mvrp|7|1|2|\n");
}

TEST_F(DecodedOutside, OurFormIsLlcSnapWithTheMvrpProtocol) {
    send(frames::nativeFrame("00 01 01 0003 000a 3b 0000"));
    EXPECT_EQ(fields("eth.len llc.dsap llc.ssap llc.control llc.oui llc.type"),
              "18|0xaa|0xaa|0x0003|0|0x88f5\n");
}

TEST_F(DecodedOutside, GvrpHasTheRightVlansAndEvents) {
    const frames::Bytes frame = frames::gvrpFrame("0001 01 04 02 000a 04 03 0064 00 00");
    ASSERT_EQ(node_.send(node_.gvrp, 3, frame), static_cast<ssize_t>(frame.size()));
    EXPECT_EQ(fields("gvrp.attribute_event gvrp.attribute_value _ws.malformed"), "2,3|10,100|\n");
}

}  // namespace
}  // namespace platform::testing
