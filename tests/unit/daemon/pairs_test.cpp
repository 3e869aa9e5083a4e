// SPDX-License-Identifier: MIT
//
// The bitmaps and the cursor beside the tree of pending pairs, against a set.
#include <random>
#include <set>

#include "daemon/db/port_vlan.h"
#include "daemon/mgmt/config.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

/// The last two share a place, so one of them has no bitmap.
constexpr std::array<u32, 4> kUnits = {1, 2, 7, 1024 + 7};

class Pairs : public StartedDaemon {
  protected:
    Pairs() {
        u32 on = MVRP_ON;
        EXPECT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_ENABLE, &on), kStatusOk);
    }
    u32 dice(u32 end) { return static_cast<u32>(random_() % end); }

    std::set<u32> vlansOf(u32 unit) {
        std::set<u32> vlans;
        for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; ++vid)
            if (mvrpPortVlanEntryGet(unit, static_cast<u16>(vid)) != nullptr)
                vlans.insert(vid);
        return vlans;
    }

    std::mt19937 random_{7};
    std::map<u32, std::set<u32>> expected_;
};

TEST_F(Pairs, BitmapsSayWhatTheTreeSays) {
    for (int step = 0; step < 4000; ++step) {
        const u32 unit = kUnits[dice(kUnits.size())];
        const u32 vid = dice(8) == 0 ? kMvrpVlanLast - dice(3) : 1 + dice(300);
        std::set<u32>& vlans = expected_[unit];
        if (dice(3) != 0) {
            EXPECT_EQ(mvrpPortVlanEntryEnsure(unit, vid), vlans.insert(vid).second);
        } else {
            mvrpPortVlanEntryDel(mvrpPortVlanEntryGet(unit, static_cast<u16>(vid)));
            vlans.erase(vid);
        }
        if (dice(50) == 0)
            mvrpPairMapForget(unit);
        const MvrpVlanBitmap* map = mvrpPairMap(unit);
        if (map != nullptr) {
            ASSERT_EQ(mvrpBitTest(map->data(), vid - 1) != 0, vlans.contains(vid));
        }
    }
    u32 maps = 0;
    for (const u32 unit : kUnits) {
        ASSERT_EQ(vlansOf(unit), expected_[unit]);
        const MvrpVlanBitmap* map = mvrpPairMap(unit);
        maps += map != nullptr ? 1 : 0;
        std::set<u32> mapped;
        if (map != nullptr) {
            mvrpForEachVlan(*map, [&mapped](u32 vid) { mapped.insert(vid); });
            EXPECT_EQ(mapped, expected_[unit]);
        }
    }
    EXPECT_EQ(maps, 3U);
}

TEST_F(Pairs, ABitmapIsNotThatOfAnEarlierDaemon) {
    mvrpPortVlanEntryEnsure(1, 10);
    ASSERT_NE(mvrpPairMap(1), nullptr);
    scenario::resetDaemon(host_);
    scenario::startDaemon(host_);
    u32 on = MVRP_ON;
    ASSERT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_ENABLE, &on), kStatusOk);
    ASSERT_NE(mvrpPairMap(1), nullptr);
    EXPECT_TRUE(mvrpBitmapEmpty(*mvrpPairMap(1)));
    EXPECT_TRUE(mvrpPortVlanEntryEnsure(1, 10));
}

TEST_F(Pairs, RecordsThatTakeTurnsKeepTheirBitmaps) {
    mvrpPortVlanEntryEnsure(1, 10);
    ASSERT_NE(mvrpPairMap(1), nullptr);
    const MvrpInfo first = gMvrpInfo;
    gMvrpInfo.pairEpoch = 0;
    avl_create(&gMvrpInfo.portVlanTree, mvrpPortVlanComp, kMvrpPortVlanEntryBytes,
               offsetof(MvrpPortVlanEntry, link));
    ASSERT_NE(mvrpPairMap(1), nullptr);
    EXPECT_TRUE(mvrpBitmapEmpty(*mvrpPairMap(1)));
    gMvrpInfo = first;
    ASSERT_NE(mvrpPairMap(1), nullptr);
    EXPECT_EQ(mvrpBitTest(mvrpPairMap(1)->data(), 10 - 1), 1U);
}

TEST_F(Pairs, ACursorFindsAndErasesAsSearchesDo) {
    for (int round = 0; round < 60; ++round) {
        for (const u32 unit : kUnits)
            for (u32 i = dice(40); i > 0; --i) {
                const u32 vid = 1 + dice(round % 2 == 0 ? 60 : kMvrpVlanLast);
                if (expected_[unit].insert(vid).second)
                    mvrpPortVlanEntryAdd(unit, static_cast<u16>(vid));
            }
        const u32 unit = kUnits[dice(kUnits.size())];
        std::set<u32>& vlans = expected_[unit];
        MvrpPairCursor pairs(unit);
        for (u32 vid = 1 + dice(20); vid <= kMvrpVlanLast; vid += dice(round % 3 == 0 ? 400 : 5)) {
            const auto next = vlans.lower_bound(vid);
            ASSERT_EQ(pairs.seek(vid), next == vlans.end() ? 0 : *next);
            if (next != vlans.end() && dice(2) == 0) {
                pairs.erase();
                vlans.erase(next);
            }
        }
        ASSERT_EQ(vlansOf(unit), vlans);
    }
}

}  // namespace
