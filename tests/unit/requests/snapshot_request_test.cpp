// SPDX-License-Identifier: MIT
#include "platform/requests/snapshot_request.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <optional>

#include "platform/containers/timer_heap.h"
#include "platform/contract/management.h"
#include "platform/contract/sil.h"
#include "platform/net/clock.h"
#include "platform/requests/host_requests.h"
#include "platform/requests/switch_requests.h"
#include "platform/runtime/tasks/sem.h"
#include "tests/unit/channel/channel_client.h"
#include "tests/unit/channel/fake_daemon.h"
#include "tests/unit/switch/soft_harness.h"
#include "tests/unit/wire/frame_builder.h"

namespace platform::testing {
namespace {

constexpr u32 kPort = 3;

struct Section {
    SnapshotSection head{};
    std::vector<u8> bytes;

    template <typename Record>
    std::vector<Record> records() const {
        std::vector<Record> list(bytes.size() / sizeof(Record));
        if (!list.empty())
            std::memcpy(list.data(), bytes.data(), list.size() * sizeof(Record));
        return list;
    }
};

class SnapshotTaken : public ::testing::Test {
  protected:
    SnapshotTaken() {
        fake::reset();
        dispatcher.setTable(fake::table());
        registerSwitchRequests(dispatcher, {soft});
        registerSnapshotRequest(dispatcher, {soft, frames, changes});
    }

    std::vector<Section> take() {
        std::vector<u8> reply;
        EXPECT_EQ(dispatcher.dispatch({static_cast<u32>(Request::Snapshot), 0, 0, 0}, {}, reply),
                  kStatusOk);
        std::vector<Section> sections;
        for (std::size_t at = 0; at < reply.size();) {
            Section section;
            EXPECT_LE(at + sizeof section.head, reply.size());
            std::memcpy(&section.head, reply.data() + at, sizeof section.head);
            at += sizeof section.head;
            EXPECT_LE(at + section.head.length, reply.size());
            const auto first = reply.begin() + static_cast<std::ptrdiff_t>(at);
            section.bytes.assign(first, first + section.head.length);
            at += section.head.length;
            sections.push_back(std::move(section));
        }
        return sections;
    }

    static const Section* find(const std::vector<Section>& sections, u32 part, u32 unit,
                               u32 attribute = 0) {
        for (const Section& section : sections)
            if (section.head.part == part && section.head.unit == unit &&
                section.head.attribute == attribute)
                return &section;
        return nullptr;
    }

    SoftSwitch soft{smallSwitch()};
    std::mutex mutex;
    FrameBook frames{soft, mutex};
    ChangeFeed changes{soft};
    Dispatcher dispatcher;
};

TEST_F(SnapshotTaken, HasEveryPortAndAnswersOfOtherRequests) {
    const std::vector<Section> sections = take();
    const Section* list = find(sections, static_cast<u32>(Request::PortList), 0);
    ASSERT_NE(list, nullptr);
    const auto ports = list->records<SwitchPortRecord>();
    ASSERT_EQ(ports.size(), soft.listPorts(0, 1000).size());
    for (const SwitchPortRecord& port : ports) {
        const Section* permitted = find(sections, static_cast<u32>(Request::PortVlans), port.unit,
                                        static_cast<u32>(VlanSet::Permitted));
        ASSERT_NE(permitted, nullptr);
        VlanBitmap vlans{};
        soft.portVlans(port.unit, VlanSet::Permitted, vlans);
        EXPECT_EQ(permitted->records<VlanBitmap>().at(0), vlans);
    }
    const Section* statics = find(sections, static_cast<u32>(Request::SwitchVlans), 0,
                                  static_cast<u32>(QorVlanType::Static));
    ASSERT_NE(statics, nullptr);
    EXPECT_EQ(statics->head.status, kStatusOk);
    EXPECT_EQ(statics->head.length, kVlanBitmapBytes);
}

TEST_F(SnapshotTaken, ARefusedAnswerIsAStatusWithoutBytes) {
    const std::vector<Section> sections = take();
    const Section* info = find(sections, static_cast<u32>(Request::HostInfo), 0);
    ASSERT_NE(info, nullptr);  // nobody serves it here
    EXPECT_EQ(info->head.status, static_cast<u32>(HostStatus::Unsupported));
    EXPECT_TRUE(info->bytes.empty());
}

TEST_F(SnapshotTaken, MachinesComeAsRunsOfTheSameStates) {
    std::vector<MachineRecord> machines;
    ASSERT_EQ(readMachines(dispatcher, kPort, machines), kStatusOk);
    const std::vector<Section> sections = take();
    const Section* runs = find(sections, static_cast<u32>(SnapshotPart::PortMachines), kPort);
    ASSERT_NE(runs, nullptr);
    std::map<u32, MachineRecord> told;
    for (const MachineRun& run : runs->records<MachineRun>())
        for (u32 vid = run.firstVid; vid <= run.lastVid; ++vid)
            told[vid] = run.machine;
    for (u32 vid = kFirstVlan; vid <= kLastVlan; ++vid) {
        const auto found = told.find(vid);
        const MachineRecord& now = machines[vid - 1];
        if (found == told.end())
            EXPECT_EQ(now.applicant + now.flags, 0) << vid;
        else
            EXPECT_EQ(std::memcmp(&now, &found->second, sizeof now), 0) << vid;
    }
}

TEST_F(SnapshotTaken, TellsWhatWasHeardAndFromWhom) {
    const frames::Bytes frame = frames::nativeFrame("00 01 01 0001 000a 24 0000");
    const FrameView view = classifyFrame(frame);
    frames.frameHandled(kPort, view, DropReason::None, Delivery::Delivered);
    const std::vector<Section> sections = take();
    const Section* heard = find(sections, static_cast<u32>(SnapshotPart::PortHeard), kPort);
    ASSERT_NE(heard, nullptr);
    ASSERT_EQ(heard->records<VlanTimeRun>().size(), 1U);
    EXPECT_EQ(heard->records<VlanTimeRun>()[0].firstVid, 10);
    const Section* who = find(sections, static_cast<u32>(SnapshotPart::PortNeighbours), kPort);
    ASSERT_NE(who, nullptr);
    ASSERT_EQ(who->records<NeighbourRecord>().size(), 1U);
    EXPECT_EQ(who->records<NeighbourRecord>()[0].mac, view.source());
}

TEST_F(SnapshotTaken, TellsWhenLeaveAllsWereSentAndHeard) {
    const auto told = [this] {
        const std::vector<Section> sections = take();
        const Section* section =
            find(sections, static_cast<u32>(SnapshotPart::PortLeaveAlls), kPort);
        return section == nullptr ? PortHistoryRecord{}
                                  : section->records<PortHistoryRecord>().at(0);
    };
    EXPECT_EQ(told().leaveAllInMs, kNever);
    EXPECT_EQ(told().leaveAllOutMs, kNever);
    const frames::Bytes frame = frames::nativeFrame("00 01 01 2001 000a 24 0000");
    frames.frameHandled(kPort, classifyFrame(frame), DropReason::None, Delivery::Delivered);
    EXPECT_LT(told().leaveAllInMs, 60'000U);
    EXPECT_EQ(told().leaveAllOutMs, kNever);
    frames.frameSent(kPort, frame, 0, monotonicMs());
    EXPECT_LT(told().leaveAllOutMs, 60'000U);
}

TEST_F(SnapshotTaken, TellsWhenPendingMembershipsAreAppliedNext) {
    SilTimerList list;
    silTimerListInit(&list);
    SilTimerNode node{};
    constexpr u32 kDueMs = 100'000'000;
    ASSERT_EQ(silTimerStart(&list, &node, 0, kDueMs, nullptr, nullptr, nullptr, nullptr),
              kStatusOk);
    const std::vector<Section> sections = take();
    const Section* section = find(sections, static_cast<u32>(SnapshotPart::NextApply), 0);
    ASSERT_NE(section, nullptr);
    EXPECT_LE(section->records<u64>().at(0), kDueMs);
    EXPECT_GT(section->records<u64>().at(0), kDueMs / 2);
    silTimerStop(&list, &node);
    timerHeapDestroy(list);
}

TEST_F(SnapshotTaken, LeavesNoLockHeldAndTakesNoValue) {
    take();
    EXPECT_EQ(semReleaseHeldByCaller(), 0U);
    std::vector<u8> reply;
    const std::vector<u8> value(1);
    EXPECT_NE(dispatcher.dispatch({static_cast<u32>(Request::Snapshot), 0, 0, 1}, value, reply),
              kStatusOk);
}

}  // namespace
}  // namespace platform::testing
