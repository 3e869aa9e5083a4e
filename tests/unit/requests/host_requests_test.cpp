// SPDX-License-Identifier: MIT
#include "platform/requests/host_requests.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/contract/process.h"
#include "platform/runtime/process_runtime.h"
#include "tests/unit/channel/channel_client.h"
#include "tests/unit/channel/fake_daemon.h"

namespace platform {
namespace {

class HostRequests : public testing::Test {
  protected:
    HostRequests() {
        fake::reset();
        dispatcher_.setTable(fake::table());
        HostFacts facts;
        facts.switchName = [] { return std::string("core"); };
        facts.role = [] { return HostRole::Standby; };
        facts.standbyConnected = [] { return true; };
        facts.portCount = [] { return 5U; };
        facts.losses = [] { return LossesRecord{3, 4, 5}; };
        registerHostRequests(dispatcher_, facts);
        procShellInit("mvrp", 0, 0);
    }
    ~HostRequests() override { processRuntime().shellReady = false; }

    ChannelReply call(Request request, u32 unit, const std::vector<u8>& value = {}) {
        ChannelReply reply{};
        const RequestHeader header{static_cast<u32>(request), unit, 0,
                                   static_cast<u32>(value.size())};
        reply.status = dispatcher_.dispatch(header, value, reply.value);
        return reply;
    }

    ChannelReply callShell(const std::string& name, u32 parameter) {
        ShellCallRecord record{};
        name.copy(record.name.data(), record.name.size());
        record.parameters[0] = parameter;
        std::vector<u8> value(sizeof record);
        std::memcpy(value.data(), &record, sizeof record);
        return call(Request::ShellCall, 0, value);
    }

    Dispatcher dispatcher_;
};

TEST_F(HostRequests, LossesAreWhatTheHostCounted) {
    const ChannelReply reply = call(Request::Losses, 0);
    ASSERT_EQ(reply.status, 0U);
    LossesRecord losses{};
    ASSERT_EQ(reply.value.size(), sizeof losses);
    std::memcpy(&losses, reply.value.data(), sizeof losses);
    EXPECT_EQ(losses.logLines, 3U);
    EXPECT_EQ(losses.recordedFrames, 4U);
    EXPECT_EQ(losses.forwardedFrames, 5U);
    EXPECT_NE(call(Request::Losses, 0, {1}).status, 0U) << "it takes no value";
}

TEST_F(HostRequests, HostInfoTellsWhatThisProcessIs) {
    const ChannelReply reply = call(Request::HostInfo, 0);
    ASSERT_EQ(reply.status, 0U);
    HostInfoRecord info{};
    ASSERT_EQ(reply.value.size(), sizeof info);
    std::memcpy(&info, reply.value.data(), sizeof info);
    EXPECT_EQ(info.driver, static_cast<u32>(DriverKind::SoftwareSwitch));
    EXPECT_EQ(info.role, static_cast<u32>(HostRole::Standby));
    EXPECT_EQ(info.standbyConnected, 1U);
    EXPECT_EQ(info.portCount, 5U);
    EXPECT_STREQ(info.name.data(), "core");
}

TEST_F(HostRequests, AllMachinesOfAPortComeInOneAnswer) {
    const ChannelReply reply = call(Request::PortMachines, 3);
    ASSERT_EQ(reply.status, 0U);
    ASSERT_EQ(reply.value.size(), 4095 * sizeof(MachineRecord));
    const auto machineOf = [&reply](u32 vid) {
        MachineRecord record{};
        std::memcpy(&record, reply.value.data() + (vid - 1) * sizeof record, sizeof record);
        return record;
    };
    for (const u32 vid : {1U, 2U, 25U, 4093U, 4094U}) {
        EXPECT_EQ(machineOf(vid).applicant, vid % 13);
        EXPECT_EQ(machineOf(vid).registrar, vid % 4);
        EXPECT_EQ(machineOf(vid).flags, (vid % 2) * 3);
    }
    EXPECT_EQ(machineOf(4095).applicant, 0);
    EXPECT_EQ(call(Request::PortMachines, 4).status, fake::kNoSuchPort);
    EXPECT_EQ(call(Request::PortMachines, 3, {1}).status, 22U);
}

TEST_F(HostRequests, AFunctionOfTheDebugShellIsCalledAndItsOutputReturned) {
    testing::internal::CaptureStdout();
    const ChannelReply reply = callShell("shout", 7);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "shout 7\n\r");
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(reply.text(), "shout 7\n\r");
    EXPECT_EQ(call(Request::ShellList, 0).text(), "shout\n");
}

TEST_F(HostRequests, AnUnknownFunctionIsRefusedWithTheNamesThatAreAllowed) {
    const ChannelReply reply = callShell(std::string(kNameBytes, 'x'), 0);
    EXPECT_EQ(reply.status, 22U);
    EXPECT_NE(reply.text().find("allowed:\nshout\n"), std::string::npos);
}

TEST_F(HostRequests, ACallOfAnyOtherSizeIsRefused) {
    for (const std::size_t bytes : {std::size_t{0}, sizeof(ShellCallRecord) - 1,
                                    sizeof(ShellCallRecord) + 1, std::size_t{kMaxValueBytes}}) {
        const ChannelReply reply = call(Request::ShellCall, 0, std::vector<u8>(bytes));
        EXPECT_EQ(reply.status, 22U) << bytes;
        EXPECT_NE(reply.text().find("allowed: 76"), std::string::npos) << reply.text();
    }
    EXPECT_EQ(call(Request::HostInfo, 0, {1}).status, 22U);
    EXPECT_EQ(call(Request::ShellList, 0, {1}).status, 22U);
}

}  // namespace
}  // namespace platform
