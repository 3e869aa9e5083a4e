// SPDX-License-Identifier: MIT
#include "platform/requests/log_requests.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/model/vlan_ranges.h"

namespace platform {
namespace {

class ReadLog : public testing::Test {
  protected:
    using Texts = std::vector<std::string>;

    void add(const std::string& text, u32 unit = 0, const std::string& port = {},
             const VlanBitmap* vlans = nullptr) {
        book.add({.event = unit == 0 ? LogEvent::None : LogEvent::VlansLearnt,
                  .unit = unit,
                  .port = port,
                  .vlans = vlans,
                  .text = text});
    }
    /// The texts of one reply, whose header is `header` then.
    Texts ask(const LogQuery& query) {
        std::vector<u8> reply;
        readLog(book, query, reply);
        EXPECT_LE(reply.size(), kMaxValueBytes);
        std::memcpy(&header, reply.data(), sizeof header);
        Texts texts;
        std::size_t at = sizeof header;
        for (u32 i = 0; i < header.count; i++) {
            LogRecord record{};
            std::memcpy(&record, reply.data() + at, sizeof record);
            at += sizeof record + record.portBytes + record.eventBytes;
            texts.emplace_back(reinterpret_cast<const char*>(reply.data()) + at, record.textBytes);
            at += record.textBytes + 4U * record.vlanRanges;
        }
        EXPECT_EQ(at, reply.size());
        return texts;
    }
    static LogQuery ofPort(const std::string& name, u32 unit = 0) {
        LogQuery query{};
        query.unit = unit;
        name.copy(query.port.data(), query.port.size());
        return query;
    }

    LogBook book;
    LogHeader header{};
};

TEST_F(ReadLog, AllLinesAreReadByAnEmptyQuery) {
    add("first");
    add("second");
    EXPECT_EQ(ask({}), (Texts{"first", "second"}));
    EXPECT_EQ(header.next, header.newest);
    EXPECT_EQ(header.lost, 0U);
    LogQuery more{};
    more.since = header.next;
    EXPECT_EQ(ask(more), Texts{});
    add("third");
    EXPECT_EQ(ask(more), Texts{"third"});
}

TEST_F(ReadLog, APortIsFoundByUnitByNameAndByALineThatBeginsWithIt) {
    add("east: VLAN 10 learnt", 3, "east");
    add("east: put back");
    add("eastern: put back");
    add("west: VLAN 10 learnt", 4, "west");
    EXPECT_EQ(ask(ofPort("east")), (Texts{"east: VLAN 10 learnt", "east: put back"}));
    EXPECT_EQ(ask(ofPort("4", 4)), Texts{"west: VLAN 10 learnt"});
    EXPECT_EQ(ask(ofPort("north")), Texts{});
}

TEST_F(ReadLog, AVlanIsFoundWithinItsRanges) {
    const VlanBitmap tens = vlanRange(10, 19);
    add("tens", 3, "east", &tens);
    add("none", 3, "east");
    LogQuery query{};
    query.vid = 15;
    EXPECT_EQ(ask(query), Texts{"tens"});
    query.vid = 20;
    EXPECT_EQ(ask(query), Texts{});
}

TEST_F(ReadLog, LinesBeforeATimeAreLeftOut) {
    add("now");
    LogQuery query{};
    query.fromMs = ~u64{0};
    EXPECT_EQ(ask(query), Texts{});
    EXPECT_EQ(header.next, header.newest);
    query.fromMs = 1;
    EXPECT_EQ(ask(query), Texts{"now"});
}

TEST_F(ReadLog, WhatDoesNotFitAReplyIsReadWithTheNext) {
    VlanBitmap even{};
    for (u32 vid = 2; vid <= kLastVlan; vid += 2)
        vlanInsert(even, vid);
    for (u32 i = 0; i < 20; i++)
        add(std::to_string(i), 3, "east", &even);
    Texts texts;
    LogQuery query{};
    do {
        const Texts some = ask(query);
        ASSERT_FALSE(some.empty());
        texts.insert(texts.end(), some.begin(), some.end());
        query.since = header.next;
    } while (header.next != header.newest);
    ASSERT_EQ(texts.size(), 20U);
    EXPECT_EQ(texts.back(), "19");
}

TEST_F(ReadLog, LinesThatWereOverwrittenAreSaidToBeLost) {
    for (u32 i = 0; i < kLogLinesKept + 2; i++)
        add(std::to_string(i));
    EXPECT_EQ(ask({}).front(), "2");
    EXPECT_EQ(header.lost, 1U);
}

TEST(LogRequest, AQueryOfAWrongSizeAndADaemonWithoutABookAreRefused) {
    Dispatcher dispatcher;
    registerLogRequests(dispatcher, nullptr);
    std::vector<u8> reply;
    const RequestHeader header{static_cast<u32>(Request::LogRead), 0, 0, 0};
    EXPECT_EQ(dispatcher.dispatch(header, std::vector<u8>(3), reply),
              static_cast<u32>(HostStatus::BadArgument));
    EXPECT_EQ(dispatcher.dispatch(header, std::vector<u8>(sizeof(LogQuery)), reply),
              static_cast<u32>(HostStatus::Unsupported));
}

}  // namespace
}  // namespace platform
