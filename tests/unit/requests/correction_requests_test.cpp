// SPDX-License-Identifier: MIT
#include "platform/requests/correction_requests.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/unit/channel/channel_client.h"

namespace platform {
namespace {

CorrectionSet setOf(std::initializer_list<Correction> corrections) {
    CorrectionSet set;
    for (const Correction which : corrections)
        set.add(which);
    return set;
}

class CorrectionRequests : public testing::Test {
  protected:
    CorrectionRequests() { registerCorrectionRequests(dispatcher_, book_); }

    ChannelReply call(Request request, u32 unit, u32 attribute, const std::vector<u8>& value = {}) {
        ChannelReply reply{};
        const RequestHeader header{static_cast<u32>(request), unit, attribute,
                                   static_cast<u32>(value.size())};
        reply.status = dispatcher_.dispatch(header, value, reply.value);
        return reply;
    }
    CorrectionLastRecord last(u32 unit, u32 vid) {
        const ChannelReply reply = call(Request::CorrectionLast, unit, vid);
        CorrectionLastRecord record{};
        EXPECT_EQ(reply.status, 0U);
        EXPECT_EQ(reply.value.size(), sizeof record);
        std::memcpy(&record, reply.value.data(), std::min(reply.value.size(), sizeof record));
        return record;
    }

    CorrectionBook book_{setOf({Correction::LeaveNeeded, Correction::Admission})};
    Dispatcher dispatcher_;
};

TEST_F(CorrectionRequests, TellWhichAreOnAndHowOftenEachActed) {
    book_.acted(Correction::Admission, 3, 10);
    book_.acted(Correction::Admission, 3, 11);
    const ChannelReply reply = call(Request::Corrections, 0, 0);
    ASSERT_EQ(reply.status, 0U);
    CorrectionsRecord record{};
    ASSERT_EQ(reply.value.size(), sizeof record);
    std::memcpy(&record, reply.value.data(), sizeof record);
    EXPECT_EQ(CorrectionSet::ofBits(record.on), book_.on());
    EXPECT_EQ(record.known, CorrectionSet::all().bits());
    EXPECT_EQ(record.acted[static_cast<u32>(Correction::Admission)], 2U);
    EXPECT_EQ(record.acted[static_cast<u32>(Correction::LeaveNeeded)], 0U);
    EXPECT_EQ(call(Request::Corrections, 0, 0, {1}).status, 22U);
}

TEST_F(CorrectionRequests, TellTheLastOneForAPortAndVlan) {
    EXPECT_EQ(last(3, 10).correction, kNoCorrection);
    book_.acted(Correction::LeaveNeeded, 3, 10);
    EXPECT_EQ(last(3, 10).correction, static_cast<u32>(Correction::LeaveNeeded));
    EXPECT_LT(last(3, 10).agoMs, kNoCorrection);
    EXPECT_EQ(last(3, 0).correction, kNoCorrection);
    const ChannelReply refused = call(Request::CorrectionLast, 3, 4095);
    EXPECT_EQ(refused.status, 22U);
    EXPECT_NE(std::string(refused.value.begin(), refused.value.end()).find("1 to 4094"),
              std::string::npos);
}

}  // namespace
}  // namespace platform
