// SPDX-License-Identifier: MIT
#include "platform/wire/leave_all.h"

#include <gtest/gtest.h>

#include "platform/wire/adapter.h"
#include "platform/wire/events.h"
#include "tests/unit/wire/frame_builder.h"

namespace platform {
namespace {

constexpr MacAddress kSource = {2, 0, 0, 0, 1, 2};

frames::Bytes written(FrameKind kind) {
    std::array<u8, kMostLeaveAllBytes> bytes;
    const std::size_t size = writeLeaveAll(kind, kSource, bytes);
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

class Events final : public EventSink {
  public:
    void onEvent(u32 vid, PduEvent event) override { seen.emplace_back(vid, event); }
    std::vector<std::pair<u32, PduEvent>> seen;
};

TEST(LeaveAll, IsOnePduWithoutAnyVlan) {
    EXPECT_EQ(written(FrameKind::NativeMvrp), frames::nativeFrame("00 01 01 2000 0000 0000"));
    EXPECT_EQ(written(FrameKind::Gvrp), frames::gvrpFrame("0001 01 02 00 00 00"));
    EXPECT_TRUE(written(FrameKind::IeeeMvrp).empty());
}

TEST(LeaveAll, IsReadAsOne) {
    for (const FrameKind kind : {FrameKind::NativeMvrp, FrameKind::Gvrp}) {
        const frames::Bytes frame = written(kind);
        Events events;
        EXPECT_EQ(walkEvents(classifyFrame(frame), events), DropReason::None);
        ASSERT_EQ(events.seen.size(), 1U);
        EXPECT_EQ(events.seen[0].second, PduEvent::LeaveAll);
    }
}

TEST(LeaveAll, HasAStandardForm) {
    const frames::Bytes frame = written(FrameKind::NativeMvrp);
    frames::Bytes ieee(64);
    ieee.resize(nativeToIeee(frame, ieee));
    EXPECT_EQ(ieee, frames::ieeeFrame("00 01 02 2000 0000 0000 0000"));
}

}  // namespace
}  // namespace platform
