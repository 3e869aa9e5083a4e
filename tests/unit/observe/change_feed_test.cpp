// SPDX-License-Identifier: MIT
#include "platform/observe/change_feed.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

constexpr u32 kPort = 3;

struct Seen {
    ChangeKind kind;
    u32 unit;
    u32 first;
    u32 last;
    bool operator==(const Seen&) const = default;
};

class Feed : public ::testing::Test {
  protected:
    Feed() { since = ask(kNever, 1).newest; }

    ChangesHeader ask(u64 after, u32 machines) {
        std::vector<u8> reply;
        feed.changes({after, machines, 0}, reply);
        ChangesHeader header{};
        std::memcpy(&header, reply.data(), sizeof header);
        records.resize(header.count);
        if (!records.empty())
            std::memcpy(records.data(), reply.data() + sizeof header,
                        records.size() * sizeof(ChangeRecord));
        return header;
    }
    std::vector<Seen> news(u32 machines = 0) {
        ask(since, machines);
        std::vector<Seen> seen;
        for (const ChangeRecord& record : records) {
            EXPECT_EQ(record.sequence, ++since);
            seen.push_back({static_cast<ChangeKind>(record.kind), record.unit, record.firstVid,
                            record.lastVid});
        }
        return seen;
    }
    void change(const SwitchChangeRecord& record) {
        std::string error;
        ASSERT_EQ(soft.change(record, error), HostStatus::Ok) << error;
    }
    /// As the daemon does it, through the observer.
    void addMembers(const VlanBitmap& vlans) {
        feed.switchCalled(SwitchCall::CreateVlans, 0, vlans, soft.createDynamic(vlans));
        feed.switchCalled(SwitchCall::AddMembers, kPort, vlans, soft.addDynamic(kPort, vlans));
    }

    SoftSwitch soft{smallSwitch()};
    ChangeFeed feed{soft};
    std::vector<ChangeRecord> records;
    u64 since = 0;
};

TEST_F(Feed, MembershipsAndLearntVlansAreNotedAsRunsInOrder) {
    soft.setProtocol(kPort, kProtocolMvrp, true);
    VlanBitmap vlans = vlanRange(10, 12);
    vlanInsert(vlans, 4094);
    addMembers(vlans);
    const std::vector<Seen> seen = news();
    const std::vector<Seen> expected = {
        {ChangeKind::VlanLearnt, 0, 10, 12},      {ChangeKind::VlanLearnt, 0, 4094, 4094},
        {ChangeKind::MemberAdded, kPort, 10, 12}, {ChangeKind::MemberAdded, kPort, 4094, 4094},
        {ChangeKind::ProtocolOn, kPort, 0, 0},
    };
    EXPECT_EQ(seen, expected);
}

TEST_F(Feed, SinceWhenAPortHasItsLearntVlans) {
    EXPECT_TRUE(feed.membersSince(kPort).empty());
    soft.setProtocol(kPort, kProtocolMvrp, true);
    feed.switchCalled(SwitchCall::Protocol, kPort, {}, true);
    VlanBitmap vlans = vlanRange(10, 12);
    vlanInsert(vlans, 4094);
    addMembers(vlans);
    feed.switchCalled(SwitchCall::RemoveMembers, kPort, vlanRange(11, 11),
                      soft.removeDynamic(kPort, vlanRange(11, 11)));
    VlanBitmap told{};
    for (const VlanTimeRun& run : feed.membersSince(kPort)) {
        EXPECT_LT(run.agoSeconds, 60U);
        for (u32 vid = run.firstVid; vid <= run.lastVid; ++vid)
            vlanInsert(told, vid);
    }
    vlanErase(vlans, 11);
    EXPECT_EQ(told, vlans);
}

TEST_F(Feed, SinceWhenIsNotKnownOfWhatWasFoundAtTheStart) {
    soft.setProtocol(kPort, kProtocolMvrp, true);
    addMembers(vlanRange(10, 12));
    feed.switchCalled(SwitchCall::Protocol, kPort, {}, true);
    EXPECT_TRUE(feed.membersSince(kPort).empty());
}

TEST_F(Feed, ARemovalIsWhatTheSwitchReallyRemoved) {
    soft.setProtocol(kPort, kProtocolMvrp, true);
    addMembers(vlanRange(10, 12));
    news();
    // 11 to 20 are asked for; only 11 and 12 are there.
    feed.switchCalled(SwitchCall::RemoveMembers, kPort, vlanRange(11, 20),
                      soft.removeDynamic(kPort, vlanRange(11, 20)));
    EXPECT_EQ(news(), (std::vector<Seen>{{ChangeKind::MemberRemoved, kPort, 11, 12}}));
}

TEST_F(Feed, LinksPortsAndStaticVlansAreFoundWhenSomebodyAsks) {
    change(changeOf(SwitchChangeKind::PortLink, kPort, 0));
    change(changeOf(SwitchChangeKind::VlanCreate, 0, 0, vlanRange(20, 22)));
    change(changeOf(SwitchChangeKind::PortDelete, 5));
    const std::vector<Seen> expected = {
        {ChangeKind::PortRemoved, 5, 0, 0},
        {ChangeKind::LinkDown, kPort, 0, 0},
        {ChangeKind::VlanStatic, 0, 20, 22},
    };
    EXPECT_EQ(news(), expected);
    EXPECT_TRUE(news().empty());
}

TEST_F(Feed, StatesAreComparedOnlyForThoseWhoAsk) {
    std::vector<MachineRecord> machines(4095);
    u32 reads = 0;
    feed.setMachineReader([&](u32 unit, std::vector<MachineRecord>& out) {
        ++reads;
        out = machines;
        return unit == kPort;
    });
    since = ask(kNever, 1).newest;
    EXPECT_GT(reads, 0U);
    for (u32 vid = 10; vid <= 14; ++vid)
        machines[vid - 1] = {5, 0, 2};
    reads = 0;
    EXPECT_TRUE(news(0).empty());
    EXPECT_EQ(reads, 0U);
    std::vector<Seen> seen;
    for (int turns = 0; turns < 100 && seen.empty(); ++turns) {
        seen = news(1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(seen, (std::vector<Seen>{{ChangeKind::Machine, kPort, 10, 14}}));
    EXPECT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].after.flags, 2);
    EXPECT_EQ(records[0].before.flags, 0);
}

TEST_F(Feed, ANumberOfAnotherRunOrOneThatWasOverwrittenIsAGap) {
    EXPECT_EQ(ask(since, 0).gap, 0U);
    EXPECT_EQ(ask(5, 0).gap, 1U);
    EXPECT_EQ(ask(since + 1000, 0).gap, 1U);
    VlanBitmap everyOther{};
    for (u32 vid = kFirstVlan; vid <= kLastVlan; vid += 2)
        vlanInsert(everyOther, vid);
    // A record for each VLAN: more than the ring holds.
    for (int i = 0; i < 5; ++i)
        feed.switchCalled(SwitchCall::AddMembers, kPort, everyOther, false);
    const ChangesHeader header = ask(since, 0);
    EXPECT_EQ(header.gap, 1U);
    EXPECT_EQ(header.newest - header.oldest + 1, 8192U);
    EXPECT_EQ(ask(header.oldest - 1, 0).gap, 0U);
    EXPECT_EQ(records.size(), kChangesPerReply);
}

}  // namespace
}  // namespace platform::testing
