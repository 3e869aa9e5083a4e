// SPDX-License-Identifier: MIT
//
// Every request of the handler table with every size of value, and the form of each reply.
#include "platform/channel/dispatcher.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "platform/channel/value_forms.h"
#include "platform/channel/version.h"
#include "platform/contract/sil.h"
#include "tests/unit/channel/channel_client.h"
#include "tests/unit/channel/fake_daemon.h"

namespace platform {
namespace {

class DispatcherTest : public testing::Test {
  protected:
    DispatcherTest() {
        fake::reset();
        dispatcher_.setTable(fake::table());
    }

    ChannelReply call(Request request, u32 unit, u32 attribute, const std::vector<u8>& value = {}) {
        ChannelReply reply{};
        const RequestHeader header{static_cast<u32>(request), unit, attribute,
                                   static_cast<u32>(value.size())};
        reply.status = dispatcher_.dispatch(header, value, reply.value);
        return reply;
    }

    static bool lockIsFree() {
        bool free = false;
        std::thread([&free] {
            free = silTakeSem(fake::daemon().sem, 0) == 0;
            if (free)
                silGiveSem(fake::daemon().sem);
        }).join();
        return free;
    }

    Dispatcher dispatcher_;
};

TEST_F(DispatcherTest, PortsAreEnumeratedByTheirUnitAsTheValue) {
    EXPECT_EQ(call(Request::PortFirst, 0, 0).number(), 3U);
    EXPECT_EQ(call(Request::PortNext, 3, 0).number(), 9U);
    const ChannelReply end = call(Request::PortNext, 9, 0);
    EXPECT_EQ(end.status, fake::kNoSuchPort);
    EXPECT_TRUE(end.value.empty());
}

TEST_F(DispatcherTest, ASettingIsSetAndReadBack) {
    EXPECT_EQ(call(Request::PortSet, 3, 5, bytesOf(300)).status, 0U);
    EXPECT_EQ(call(Request::PortGet, 3, 5).number(), 300U);
    EXPECT_EQ(call(Request::PortGet, 3, 5, bytesOf(0)).number(), 300U);
    EXPECT_EQ(call(Request::ScalarSet, 0, 2, bytesOf(255)).status, 0U);
    EXPECT_EQ(call(Request::ScalarGet, 0, 2).number(), 255U);
    EXPECT_EQ(call(Request::ScalarSync, 0, 2, bytesOf(1)).status, 0U);
    EXPECT_EQ(call(Request::ScalarGet, 0, 2).number(), 1U);
}

TEST_F(DispatcherTest, ASetAnswersWithoutAValueAndAFailedGetToo) {
    EXPECT_TRUE(call(Request::PortSet, 3, 5, bytesOf(300)).value.empty());
    const ChannelReply unknown = call(Request::PortGet, 4, 1);
    EXPECT_EQ(unknown.status, fake::kNoSuchPort);
    EXPECT_TRUE(unknown.value.empty());
}

TEST_F(DispatcherTest, AMachineIsAskedForWithItsVlanAsTheValue) {
    EXPECT_EQ(call(Request::PortGet, 3, 8, bytesOf(14)).number(), 1U);
    EXPECT_EQ(call(Request::PortGet, 3, 8, bytesOf(4095)).status, 22U);
    EXPECT_EQ(call(Request::PortGet, 3, 8).status, 22U);
}

TEST_F(DispatcherTest, TheVersionIsATextAsLongAsTheRoomAllows) {
    EXPECT_EQ(call(Request::ScalarGet, 0, 5).text(), "MVRP test version");
    EXPECT_EQ(call(Request::ScalarGet, 0, 5, bytesOf(4)).text(), "MVRP");
    EXPECT_EQ(call(Request::ScalarGet, 0, 5, bytesOf(0xFFFFFFFF)).text(), "MVRP test version");
    EXPECT_EQ(call(Request::ScalarGet, 0, 5, bytesOf(0)).status, 22U);
}

TEST_F(DispatcherTest, TheStatusIsTwelveBytes) {
    for (const auto& room : {std::vector<u8>{}, bytesOf(12), bytesOf(40), bytesOf(0xFFFFFFFF)}) {
        const ChannelReply reply = call(Request::ScalarSet, 0, 8, room);
        EXPECT_EQ(reply.status, 0U);
        EXPECT_EQ(reply.value.size(), 12U);
        EXPECT_EQ(reply.value[0], 1);
    }
}

TEST_F(DispatcherTest, APacketReachesTheHandlerByteByByte) {
    std::vector<u8> packet(520);
    for (std::size_t index = 0; index < packet.size(); index++)
        packet[index] = static_cast<u8>(index * 7);
    EXPECT_EQ(call(Request::ScalarSync, 0, 4, packet).status, 0U);
    EXPECT_EQ(fake::daemon().packet, packet);
    EXPECT_EQ(call(Request::ScalarSet, 0, 4, {}).status, 0U);
    EXPECT_TRUE(fake::daemon().packet.empty());
    EXPECT_EQ(call(Request::ScalarSet, 0, 4, std::vector<u8>(kMaxValueBytes)).status, 0U);
    EXPECT_EQ(fake::daemon().packet.size(), kMaxValueBytes);
}

TEST_F(DispatcherTest, AValueOfAnyOtherSizeNeverReachesAHandler) {
    // Of each form, one request, which succeeds with the sizes of its form.
    struct Tried {
        Request request;
        u32 attribute;
    };
    constexpr std::array kTried = {
        Tried{Request::PortFirst, 0}, Tried{Request::PortGet, 1},   Tried{Request::PortGet, 11},
        Tried{Request::PortSet, 2},   Tried{Request::PortSync, 2},  Tried{Request::ScalarGet, 1},
        Tried{Request::ScalarGet, 5}, Tried{Request::ScalarSet, 1}, Tried{Request::ScalarSet, 8},
    };
    for (const Tried& tried : kTried)
        for (std::size_t bytes = 0; bytes <= 600; bytes++) {
            std::vector<u8> value(bytes);
            if (bytes == sizeof(u32))
                value = bytesOf(12);
            const ChannelReply reply = call(tried.request, 3, tried.attribute, value);
            const bool fits = sizeFits(valueForm(tried.request, tried.attribute), bytes);
            ASSERT_EQ(reply.status, fits ? 0U : 22U)
                << static_cast<u32>(tried.request) << " " << tried.attribute << " " << bytes;
        }
}

TEST_F(DispatcherTest, NumbersThatNobodyServesAreRefused) {
    for (const u32 number : {0U, 9U, 255U})
        EXPECT_EQ(call(static_cast<Request>(number), 0, 0).status, 22U) << number;
    for (const u32 number : {256U, 400U, 0xFFFFFFFFU})
        EXPECT_EQ(call(static_cast<Request>(number), 0, 0).status,
                  static_cast<u32>(HostStatus::Unsupported))
            << number;
}

TEST_F(DispatcherTest, AClientOfALaterVersionIsToldWhichVersionsThisIs) {
    const std::string text = call(static_cast<Request>(4711), 0, 0).text();
    EXPECT_NE(text.find("request 4711;"), std::string::npos) << text;
    EXPECT_NE(text.find("mvrp 0."), std::string::npos) << text;
    EXPECT_NE(text.find("version " + std::to_string(kChannelVersion) + " of the command channel"),
              std::string::npos)
        << text;
}

TEST_F(DispatcherTest, ARegisteredRequestIsServedByItsHandler) {
    dispatcher_.registerRequest(
        Request::PortList,
        [](const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) {
            reply.assign(value.begin(), value.end());
            return header.unit;
        });
    const ChannelReply reply = call(Request::PortList, 5, 0, {1, 2});
    EXPECT_EQ(reply.status, 5U);
    EXPECT_EQ(reply.value, (std::vector<u8>{1, 2}));
}

TEST_F(DispatcherTest, ALockThatAHandlerLeftHeldIsReleasedWithAWarning) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(call(Request::ScalarSet, 0, fake::kScalarKeepsLock, bytesOf(1)).status,
              fake::kRefused);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("warning"), std::string::npos) << log;
    EXPECT_NE(log.find("request 7 (unit 0, attribute 3)"), std::string::npos) << log;
    EXPECT_TRUE(lockIsFree());
}

TEST_F(DispatcherTest, ALockHeldForAStatusWithoutRoomIsReleasedToo) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(call(Request::ScalarSet, 0, 8, bytesOf(11)).status, kStatusFailed);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("attribute 8"), std::string::npos);
    EXPECT_TRUE(lockIsFree());
}

TEST_F(DispatcherTest, AHandlerThatGivesItsLockBackCausesNoWarning) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(call(Request::ScalarSet, 0, 1, bytesOf(1)).status, 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace platform
