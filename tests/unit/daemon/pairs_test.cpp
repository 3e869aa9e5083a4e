// SPDX-License-Identifier: MIT
//
// Pending pairs, and the places of units that they stand in, against a set.
#include <algorithm>
#include <random>
#include <set>

#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "daemon/mgmt/config.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

/// With gaps, so that a place is not always where the distance from the first one says.
constexpr std::array<u32, 5> kUnits = {1, 2, 7, 1024 + 7, 0xFFFFFFFF};

class Pairs : public StartedDaemon {
  protected:
    Pairs() {
        host_.options["mvrp.maxifnum"] = "6";
        host_.options["mvrp.maxvlannumperif"] = "2000";
        scenario::startDaemon(host_);
        enable(MVRP_ON);
    }
    void enable(u32 state) {
        EXPECT_EQ(mvrpScalarSetApi(0, MVRP_SCALAR_ENABLE, &state), kStatusOk);
    }
    u32 dice(u32 end) { return static_cast<u32>(random_() % end); }

    /// What a walk meets, in its order.
    static std::vector<MvrpPortVlanEntry> walked() {
        std::vector<MvrpPortVlanEntry> pairs;
        for (auto pair = mvrpPortVlanEntryFirst(); pair; pair = mvrpPortVlanEntryNext(*pair))
            pairs.push_back(*pair);
        return pairs;
    }
    std::vector<MvrpPortVlanEntry> expected() const { return {pairs_.begin(), pairs_.end()}; }

    void toggle(u32 unit, u32 vid) {
        const MvrpPortVlanEntry pair = {unit, static_cast<u16>(vid)};
        ASSERT_EQ(mvrpPortVlanEntryGet(unit, vid), pairs_.contains(pair));
        if (pairs_.erase(pair) != 0) {
            mvrpPortVlanEntryDel(unit, vid);
        } else {
            pairs_.insert(pair);
            EXPECT_TRUE(mvrpPortVlanEntryEnsure(unit, vid));
            EXPECT_FALSE(mvrpPortVlanEntryEnsure(unit, vid));
        }
        ASSERT_EQ(gMvrpInfo.vlanEntryNum, pairs_.size());
    }

    std::mt19937 random_{7};
    std::set<MvrpPortVlanEntry> pairs_;
};

TEST_F(Pairs, AreWhatASetOfThemIs) {
    for (int step = 0; step < 4000; ++step) {
        const u32 vid = dice(8) == 0 ? kMvrpVlanLast - dice(3) : 1 + dice(300);
        toggle(kUnits[dice(kUnits.size())], vid);
        if (dice(200) == 0) {
            const u32 unit = kUnits[dice(kUnits.size())];
            mvrpPortVlanEntriesDel(unit);
            std::erase_if(pairs_, [unit](const auto& pair) { return pair.portUnit == unit; });
        }
        ASSERT_EQ(mvrpPairsEmpty(), pairs_.empty());
        if (step % 50 == 0) {
            ASSERT_EQ(walked(), expected());
        }
    }
    EXPECT_EQ(walked(), expected());
}

TEST_F(Pairs, GetOfNoneAndOfOneThatWasAddedAndDeleted) {
    EXPECT_FALSE(mvrpPortVlanEntryGet(5, 100));
    EXPECT_TRUE(mvrpPortVlanEntryAdd(5, 100));
    EXPECT_TRUE(mvrpPortVlanEntryGet(5, 100));
    EXPECT_EQ(gMvrpInfo.vlanEntryNum, 1U);
    EXPECT_EQ(mvrpPortVlanEntryDel(5, 100), 0U);
    EXPECT_EQ(gMvrpInfo.vlanEntryNum, 0U);
}

TEST_F(Pairs, AreInOrderOfPortThenVlan) {
    mvrpPortVlanEntryAdd(5, 200);
    mvrpPortVlanEntryAdd(3, 4000);
    mvrpPortVlanEntryAdd(5, 100);
    EXPECT_EQ(walked(), (std::vector<MvrpPortVlanEntry>{{3, 4000}, {5, 100}, {5, 200}}));
}

TEST_F(Pairs, DeletingOneThatIsNotThereChangesNothing) {
    mvrpPortVlanEntryAdd(5, 200);
    EXPECT_EQ(mvrpPortVlanEntryDel(5, 201), 0U);
    EXPECT_EQ(mvrpPortVlanEntryDel(6, 200), 0U);
    EXPECT_EQ(gMvrpInfo.vlanEntryNum, 1U);
}

TEST_F(Pairs, AVlanIdWithoutStateHasNone) {
    for (const u32 vid : {0U, 4096U, 0x10001U})
        EXPECT_FALSE(mvrpPortVlanEntryAdd(1, vid)) << vid;
    EXPECT_TRUE(mvrpPairsEmpty());
}

TEST_F(Pairs, TheSuccessorOfOneThatIsGoneIsTheOneBehindIt) {
    mvrpPortVlanEntryAdd(3, 10);
    mvrpPortVlanEntryAdd(7, 20);
    const MvrpPortVlanEntry first = *mvrpPortVlanEntryFirst();
    mvrpPortVlanEntriesDel(3);
    EXPECT_EQ(mvrpPortVlanEntryNext(first), (MvrpPortVlanEntry{7, 20}));
    mvrpPortVlanEntriesDel(7);
    EXPECT_EQ(mvrpPortVlanEntryNext(first), std::nullopt);
}

TEST_F(Pairs, AreNoMoreThanThePoolHolds) {
    u32 added = 0;
    for (const u32 unit : kUnits)
        for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; ++vid)
            added += mvrpPortVlanEntryAdd(unit, vid) ? 1 : 0;
    EXPECT_EQ(added, 6U * 2000U);
    EXPECT_FALSE(mvrpPortVlanEntryGet(kUnits.back(), kMvrpVlanLast));
    EXPECT_TRUE(mvrpPortVlanEntryEnsure(kUnits.back(), kMvrpVlanLast)) << "it was missing";
    mvrpPortVlanEntryDel(1, 1);
    EXPECT_TRUE(mvrpPortVlanEntryAdd(kUnits.back(), kMvrpVlanLast));
}

TEST_F(Pairs, MoreUnitsThanThereCanBePorts) {
    for (u32 unit = 40; unit >= 1; --unit)
        EXPECT_TRUE(mvrpPortVlanEntryAdd(10 * unit, 2));
    EXPECT_EQ(mvrpPortVlanEntryFirst(), (MvrpPortVlanEntry{10, 2}));
    EXPECT_EQ(walked().size(), 40U);
}

TEST_F(Pairs, ThereAreNoneWhileThereIsNoPool) {
    enable(MVRP_OFF);
    EXPECT_FALSE(mvrpPortVlanEntryAdd(1, 10));
    EXPECT_TRUE(mvrpUnitPlaces().empty());
}

TEST_F(Pairs, AreNotThoseOfAnEarlierDaemon) {
    mvrpPortVlanEntryAdd(1, 10);
    enable(MVRP_OFF);
    EXPECT_TRUE(mvrpPairsEmpty());
    EXPECT_FALSE(mvrpPortVlanEntryGet(1, 10));
    enable(MVRP_ON);
    EXPECT_FALSE(mvrpPortVlanEntryGet(1, 10));
    EXPECT_TRUE(mvrpPortVlanEntryAdd(1, 10));
}

class Places : public Pairs {
  protected:
    Places() {
        for (const u32 unit : kUnits)
            host_.switchState.ports[unit];
    }
    MvrpPortEntry* add(u32 unit) {
        MvrpPortEntry* port = mvrpPortEntryAdd(unit);
        EXPECT_NE(port, nullptr) << unit;
        return port;
    }
};

TEST_F(Places, FindPortsInWhateverOrderTheyCome) {
    std::map<u32, MvrpPortEntry*> ports;
    for (int step = 0; step < 400; ++step) {
        const u32 unit = kUnits[dice(kUnits.size())];
        const auto known = ports.find(unit);
        if (known == ports.end()) {
            ports[unit] = add(unit);
        } else {
            mvrpPortEntryDel(known->second);
            ports.erase(known);
        }
        for (const u32 each : kUnits)
            ASSERT_EQ(mvrpPortEntryGet(each), ports.contains(each) ? ports[each] : nullptr);
    }
    EXPECT_EQ(mvrpPortEntryGet(3), nullptr);
    EXPECT_EQ(mvrpPortEntryGet(0), nullptr);
}

TEST_F(Places, TheFirstOfTwoEntriesOfAUnitIsFoundAndThenTheOther) {
    MvrpPortEntry* first = add(7);
    MvrpPortEntry* second = add(7);
    mvrpPortVlanEntryAdd(7, 10);
    EXPECT_EQ(mvrpPortEntryGet(7), first);
    mvrpPortEntryDel(first);
    EXPECT_FALSE(mvrpPortVlanEntryGet(7, 10));
    EXPECT_EQ(mvrpPortEntryGet(7), second);
    mvrpPortEntryDel(second);
    EXPECT_EQ(mvrpPortEntryGet(7), nullptr);
    EXPECT_TRUE(mvrpUnitPlaces().empty());
}

TEST_F(Places, APortTakesItsFirstAndItsLastPairAlong) {
    MvrpPortEntry* port = add(2);
    mvrpPortVlanEntryAdd(2, kMvrpVlanFirst);
    mvrpPortVlanEntryAdd(2, kMvrpVlanLast);
    mvrpPortVlanEntryAdd(7, 10);
    mvrpPortEntryDel(port);
    EXPECT_EQ(walked(), (std::vector<MvrpPortVlanEntry>{{7, 10}}));
    EXPECT_EQ(gMvrpInfo.vlanEntryNum, 1U);
}

}  // namespace
