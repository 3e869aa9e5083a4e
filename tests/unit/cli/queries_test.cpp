// SPDX-License-Identifier: MIT
#include "cli/client/queries.h"

#include <gtest/gtest.h>

#include "cli/client/safe_text.h"
#include "platform/contract/management.h"
#include "tests/unit/cli/fake_server.h"

namespace {

using namespace cli;
using cli_test::Arrived;
using cli_test::FakeServer;
using platform::MachineRecord;
using platform::SwitchPortRecord;
using Number = platform::Request;

SwitchPortRecord portRecord(u32 unit, const char* name) {
    SwitchPortRecord record{};
    record.unit = unit;
    std::string(name).copy(record.name.data(), record.name.size() - 1);
    return record;
}

platform::PortCountersRecord portCounters(u64 framesIn) {
    platform::PortCountersRecord record{};
    record.framesIn = framesIn;
    return record;
}

/// Answers the requests about one port that runs the protocol.
void answerPort(FakeServer& server, const Arrived& request) {
    switch (static_cast<Number>(request.header.request)) {
        case Number::PortGet:
            server.replyRecord(request.header.attribute == 1 ? 1U : 100 * request.header.attribute);
            break;
        case Number::PortMachines: {
            std::vector<MachineRecord> machines(4095, MachineRecord{});
            machines[10 - 1] = {5, 0, 2};    // QA, registered
            machines[11 - 1] = {0, 0, 2};    // VO, registered
            machines[12 - 1] = {10, 2, 1};   // AP, propagated
            machines[13 - 1] = {11, 2, 0};   // QP, without a flag
            machines[4095 - 1] = {1, 3, 2};  // VP
            server.reply(0, std::as_bytes(std::span(machines)));
            break;
        }
        case Number::PortVlans:
            server.replyRecord(platform::vlanRange(request.header.attribute, 200));
            break;
        case Number::PortCounters:
            server.replyRecord(portCounters(9));
            break;
        default:
            server.reply(22);
    }
}

TEST(HostileServer, NamesThatDoNotEndAreCutAndWhatATerminalObeysIsNotPassedOn) {
    FakeServer server([](FakeServer& s) {
        for (Arrived request; s.next(request);) {
            if (request.header.unit == 2) {
                s.reply(0);
                continue;
            }
            std::array<SwitchPortRecord, 2> ports{};
            ports[0] = portRecord(1, "a\x1b]0;x\x07\xc2\x9b\xc3\xbc\xff");
            ports[1].unit = 2;
            ports[1].name.fill('n');
            ports[1].cable.fill('c');
            s.reply(0, std::as_bytes(std::span(ports)));
        }
    });
    Client client(server.path());
    const std::vector<SwitchPortRecord> ports = queryPortList(client);
    ASSERT_EQ(ports.size(), 2U);
    EXPECT_STREQ(ports[0].name.data(), "a?]0;x???\xc3\xbc?");
    EXPECT_EQ(std::string(ports[1].name.data()), std::string(ports[1].name.size() - 1, 'n'));
    EXPECT_EQ(std::string(ports[1].cable.data()), std::string(ports[1].cable.size() - 1, 'c'));
    EXPECT_THROW(findPort(client, "no such port"), RefusedError);
}

TEST(HostileServer, TextsKeepTheirLinesAndNothingElseThatMovesACursor) {
    EXPECT_EQ(safeText("a\tb\r\nc\rd\x1b[2J\x7f", true), "a\tb\r\nc?d?[2J?");
    EXPECT_EQ(safeText("a\nb"), "a?b");
    EXPECT_EQ(safeText("\xe2\x82\xac \xf0\x9f\x90\x80"), "\xe2\x82\xac \xf0\x9f\x90\x80");
    EXPECT_EQ(safeText("\xc0\x80 \xed\xa0\x80 \xe2\x82"), "?? ??? ??");
}

TEST(QueryPorts, ReadsSettingsMachinesAndVlans) {
    FakeServer server([](FakeServer& s) {
        for (Arrived request; s.next(request);)
            answerPort(s, request);
    });
    Client client(server.path());
    const PortView view = queryPorts(client, {portRecord(3, "x")}).at(0);
    ASSERT_TRUE(view.settings);
    EXPECT_TRUE(view.settings->enabled);
    EXPECT_EQ(view.settings->registration, 200U);
    EXPECT_EQ(view.settings->participant, 300U);
    EXPECT_EQ(view.settings->periodicTime, 400U);
    EXPECT_EQ(view.settings->joinTime, 500U);
    EXPECT_EQ(view.settings->leaveTime, 600U);
    EXPECT_EQ(view.settings->leaveAllTime, 700U);
    EXPECT_EQ(platform::formatVlanRanges(view.registered), "10-11,4095");
    EXPECT_EQ(platform::formatVlanRanges(view.propagated), "12");
    EXPECT_EQ(platform::formatVlanRanges(view.declared), "10,12-13,4095");
    EXPECT_EQ(platform::formatVlanRanges(view.permittedTagged), "184-200");
    EXPECT_EQ(platform::formatVlanRanges(view.permitted), "196-200");
    EXPECT_EQ(platform::formatVlanRanges(view.dynamic), "198-200");
    EXPECT_EQ(view.counters.framesIn, 9U);
}

TEST(QueryPorts, APortWithoutMvrpHasNoSettingsAndItsVlansAllTheSame) {
    FakeServer server([](FakeServer& s) {
        for (Arrived request; s.next(request);) {
            const auto number = static_cast<Number>(request.header.request);
            if (number == Number::PortGet || number == Number::PortMachines)
                s.reply(MVRP_ERR_NO_PORT);
            else
                answerPort(s, request);
        }
    });
    Client client(server.path());
    const std::vector<PortView> views =
        queryPorts(client, {portRecord(3, "x"), portRecord(4, "y")});
    ASSERT_EQ(views.size(), 2U);
    EXPECT_FALSE(views[0].settings);
    EXPECT_EQ(platform::formatVlanRanges(views[0].registered), "-");
    EXPECT_EQ(platform::formatVlanRanges(views[1].dynamic), "198-200");
}

/// How many requests these parts of 48 ports take.
struct Cost {
    std::size_t requests = 0;
    std::size_t machines = 0;  ///< of the requests, those for the machines of all VLANs
};

Cost costOf(const PortParts& parts, PortView& last) {
    Cost cost;
    {
        FakeServer server([&cost](FakeServer& s) {
            for (Arrived request; s.next(request);) {
                ++cost.requests;
                cost.machines +=
                    static_cast<Number>(request.header.request) == Number::PortMachines ? 1 : 0;
                answerPort(s, request);
            }
        });
        Client client(server.path());
        last = queryPorts(client, std::vector(48, portRecord(3, "x")), parts).back();
    }
    return cost;
}

TEST(QueryPorts, AsksForNoPartThatNobodyLooksAt) {
    PortView view;
    Cost cost = costOf(kRunningParts, view);
    EXPECT_EQ(cost.requests, 48U * 5);
    EXPECT_EQ(cost.machines, 48U);
    EXPECT_TRUE(view.settings && view.settings->enabled);
    EXPECT_EQ(view.settings->joinTime, 0U);
    EXPECT_EQ(platform::formatVlanRanges(view.registered), "10-11,4095");
    EXPECT_EQ(platform::formatVlanRanges(view.dynamic), "198-200");

    cost = costOf(kConfigParts, view);
    EXPECT_EQ(cost.requests, 48U * 10);
    EXPECT_EQ(cost.machines, 0U);
    EXPECT_EQ(view.settings->joinTime, 500U);
    EXPECT_EQ(platform::formatVlanRanges(view.permitted), "196-200");

    cost = costOf(kMemberParts, view);
    EXPECT_EQ(cost.requests, 48U * 4);
    EXPECT_EQ(cost.machines, 0U);
    EXPECT_EQ(platform::formatVlanRanges(view.permittedTagged), "184-200");

    cost = costOf(kCounterParts, view);
    EXPECT_EQ(cost.requests, 48U * 2);
    EXPECT_EQ(view.counters.framesIn, 9U);

    EXPECT_EQ(costOf(kNameParts, view).requests, 48U);
    EXPECT_EQ(costOf(kAllParts, view).requests, 48U * 12);
}

TEST(QueryPorts, NoPortsAreNoRequests) {
    FakeServer server([](FakeServer& s) {
        Arrived request;
        EXPECT_FALSE(s.next(request));
    });
    Client client(server.path());
    EXPECT_TRUE(queryPorts(client, {}).empty());
}

TEST(QueryPorts, AnAnswerOfAnotherSizeIsRefused) {
    FakeServer server([](FakeServer& s) {
        for (Arrived request; s.next(request);)
            s.reply(0, std::vector<std::byte>(3));
    });
    Client client(server.path());
    EXPECT_THROW(queryPorts(client, {portRecord(3, "x")}), ConnectionError);
}

TEST(QueryPortList, AsksUntilThereAreNoMore) {
    FakeServer server([](FakeServer& s) {
        for (Arrived request; s.next(request);) {
            const u32 next = request.header.unit + 1;
            if (next <= 3)
                s.replyRecord(portRecord(next, "p"));
            else
                s.reply(0);
        }
    });
    Client client(server.path());
    EXPECT_EQ(queryPortList(client).size(), 3U);
}

TEST(FindPort, FindsByUnitAndByNameAndNamesWhatThereIs) {
    FakeServer server([](FakeServer& s) {
        const SwitchPortRecord ports[] = {portRecord(1, "west"), portRecord(2, "4")};
        for (Arrived request; s.next(request);)
            if (request.header.unit == 0)
                s.reply(0, std::as_bytes(std::span(ports)));
            else
                s.reply(0);
    });
    Client client(server.path());
    EXPECT_EQ(findPort(client, "west").unit, 1U);
    EXPECT_EQ(findPort(client, "1").unit, 1U);
    EXPECT_EQ(findPort(client, "4").unit, 2U);
    try {
        findPort(client, "3");
        FAIL() << "found a port that is not there";
    } catch (const RefusedError& error) {
        EXPECT_STREQ(error.what(), "the switch has no port '3'; its ports are: 1 west, 2 4");
    }
}

TEST(IsDeclaring, HoldsForTheDeclaringStatesOfTheStandard) {
    // VO VP VN AN AA QA LA LO AO QO AP QP VA
    const bool expected[] = {false, true,  true,  true, true, true, false,
                             false, false, false, true, true, true};
    for (u32 state = 0; state < std::size(expected); ++state)
        EXPECT_EQ(isDeclaring(state), expected[state]) << state;
    EXPECT_FALSE(isDeclaring(13));
    EXPECT_FALSE(isDeclaring(255));
}

}  // namespace
