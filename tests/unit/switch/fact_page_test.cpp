// SPDX-License-Identifier: MIT
//
// What the software switch shows in place is what it answers, whatever changes.
#include "platform/switch/fact_page.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "platform/switch/admission.h"
#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

/// Ports 3 and 1027 are of one place.
constexpr std::array<u32, 6> kUnits = {3, 5, 100, 101, 200, 3 + 1024};

VlanBitmap permittedShown(const QorPortFacts& facts) {
    VlanBitmap vlans{};
    for (u32 vid = 1; vid <= vlans.size() * 8; ++vid)
        if (facts.permitted.has(vid - 1))
            vlanInsert(vlans, vid);
    return vlans;
}

class FactPageTest : public ::testing::Test {
  protected:
    FactPageTest() {
        soft_.setAdmission(true);
        installSwitchDriver(&soft_);
    }
    ~FactPageTest() override { installSwitchDriver(nullptr); }
    FactPageTest(const FactPageTest&) = delete;
    FactPageTest& operator=(const FactPageTest&) = delete;
    FactPageTest(FactPageTest&&) = delete;
    FactPageTest& operator=(FactPageTest&&) = delete;

    u32 dice(u32 end) { return static_cast<u32>(random_() % end); }
    VlanBitmap someVlans() {
        VlanBitmap vlans{};
        for (u32 count = dice(4); count > 0; --count)
            vlans = vlanUnion(vlans, vlanRange(2 + dice(60), 2 + dice(90)));
        return vlans;
    }
    bool change(SwitchChangeKind kind, u32 unit, u32 value = 0, const VlanBitmap& vlans = {}) {
        std::string error;
        return soft_.change(changeOf(kind, unit, value, vlans), error) == HostStatus::Ok;
    }

    void changeAny() {
        const u32 unit = kUnits[dice(kUnits.size())];
        switch (dice(14)) {
            case 0:
                change(SwitchChangeKind::PortAdd, unit, 1);
                break;
            case 1:
                change(SwitchChangeKind::PortDelete, unit);
                break;
            case 2:
                change(SwitchChangeKind::PortPvid, unit, 1 + dice(90));
                break;
            case 3:
                change(SwitchChangeKind::PortPermit, unit, 0, someVlans());
                break;
            case 4:
                change(SwitchChangeKind::VlanAddPort, unit, 0, vlanRange(1, kLastVlan));
                break;
            case 5:
                change(SwitchChangeKind::VlanCreate, 0, 0, someVlans());
                break;
            case 6:
                change(SwitchChangeKind::VlanDelete, 0, 0, someVlans());
                break;
            case 7:
                change(SwitchChangeKind::VlanType, 0, dice(2) == 0 ? 2 : 6,
                       vlanSet({2 + dice(90)}));
                break;
            case 8:
                soft_.createDynamic(someVlans());
                break;
            case 9:
                soft_.deleteDynamic(someVlans());
                break;
            case 10:
                soft_.addDynamic(unit, someVlans());
                break;
            case 11:
                soft_.removeDynamic(unit, someVlans());
                break;
            case 12:
                soft_.setProtocol(unit, kProtocolMvrp, dice(3) != 0);
                break;
            default:
                if (dice(10) == 0)
                    soft_.reconfigure(smallSwitch());
                break;
        }
    }

    void expectShown() {
        const SwitchState state = soft_.snapshot();
        for (u32 vid = 0; vid <= 4097; ++vid)
            ASSERT_EQ(typeOf(vid), vid < state.kinds.size() ? state.kinds[vid] : 0U) << vid;
        for (const u32 unit : kUnits) {
            const SwitchPort* port = state.find(unit);
            const QorPortFacts* facts = qorPortFacts(unit);
            const bool sharesPlace = unit % 1024 == 3 && state.find(3) && state.find(3 + 1024);
            ASSERT_TRUE(facts == nullptr || port != nullptr) << unit;
            ASSERT_TRUE(facts != nullptr || port == nullptr || sharesPlace) << unit;
            if (facts == nullptr)
                continue;
            ASSERT_EQ(facts->of(unit) & QorPortFacts::kPvidMask, port->pvid) << unit;
            ASSERT_EQ((facts->of(unit) & QorPortFacts::kAdmitsAll) != 0, admitsAll(*port)) << unit;
            ASSERT_EQ(formatVlanRanges(permittedShown(*facts)),
                      formatVlanRanges(vlanUnion(port->tagged, port->untagged)))
                << unit;
            for (u32 vid = 1; vid <= 4096; ++vid)
                ASSERT_EQ(facts->types->type(vid - 1), u32{state.kinds[vid]}) << vid;
        }
    }

    SoftSwitch soft_{smallSwitch()};
    std::mt19937 random_{11};
};

TEST_F(FactPageTest, ShowsWhatIsAnsweredWhateverChanges) {
    expectShown();
    for (int step = 0; step < 1500 && !HasFatalFailure(); ++step) {
        changeAny();
        expectShown();
    }
}

TEST_F(FactPageTest, ListThatIsTightenedUnderAMemberIsShownUntilTheMemberGoes) {
    ASSERT_TRUE(soft_.setProtocol(3, kProtocolMvrp, true));
    ASSERT_TRUE(soft_.createDynamic(vlanSet({20})));
    ASSERT_TRUE(soft_.addDynamic(3, vlanSet({20})));
    SwitchConfig config = smallSwitch();
    config.ports[0].permitTagged = vlanSet({30});
    soft_.reconfigure(config);
    EXPECT_EQ(formatVlanRanges(permittedShown(*qorPortFacts(3))), "1,20,30");
    ASSERT_TRUE(soft_.removeDynamic(3, vlanSet({20})));
    EXPECT_EQ(formatVlanRanges(permittedShown(*qorPortFacts(3))), "1,30");
}

TEST_F(FactPageTest, OfTwoPortsOfOnePlaceOneIsShownAndBothAnswer) {
    ASSERT_TRUE(change(SwitchChangeKind::PortAdd, 3 + 1024, 1));
    ASSERT_TRUE(change(SwitchChangeKind::PortPvid, 3 + 1024, 77));
    EXPECT_NE(qorPortFacts(3) == nullptr, qorPortFacts(3 + 1024) == nullptr);
    u32 pvid = 0;
    EXPECT_EQ(readWord(3, QorIfAttribute::Pvid, pvid), kStatusOk);
    EXPECT_EQ(pvid, 1U);
    EXPECT_EQ(readWord(3 + 1024, QorIfAttribute::Pvid, pvid), kStatusOk);
    EXPECT_EQ(pvid, 77U);
}

TEST_F(FactPageTest, PortThatCountsWhatItRegistersDoesNotAdmitAll) {
    EXPECT_NE(qorPortFacts(3)->of(3) & QorPortFacts::kAdmitsAll, 0U);
    SwitchConfig config = smallSwitch();
    config.ports[0].maxVlans = 10;
    soft_.reconfigure(config);
    EXPECT_EQ(qorPortFacts(3)->of(3) & QorPortFacts::kAdmitsAll, 0U);
}

TEST_F(FactPageTest, NothingIsShownWithoutADriver) {
    installSwitchDriver(nullptr);
    EXPECT_EQ(qorPortFacts(3), nullptr);
}

/// Two ports of one place come and go; a reader never takes the list of one for that of the other.
TEST_F(FactPageTest, PlaceThatChangesHandsMisleadsNoReader) {
    constexpr int kTurns = 300;
    const VlanBitmap lists[] = {vlanRange(1, 2000), vlanRange(2001, 4000)};
    SwitchConfig configs[] = {smallSwitch(), smallSwitch()};
    configs[1].ports[0] = trunk(3 + 1024);
    for (int i = 0; i < 2; ++i) {
        configs[i].ports[0].permitTagged = lists[i];
        configs[i].ports[0].permitUntagged = {};
        std::ranges::sort(configs[i].ports, {}, &PortConfig::unit);
    }
    soft_.reconfigure(configs[0]);
    std::atomic<bool> ends{false};
    std::atomic<int> wrong{0};
    std::atomic<int> read{0};
    std::thread reader([&] {
        while (!ends) {
            for (int i = 0; i < 2; ++i) {
                const u32 unit = i == 0 ? 3 : 3 + 1024;
                const QorPortFacts* facts = qorPortFacts(unit);
                if (facts == nullptr)
                    continue;
                const bool first = facts->permitted.has(10);
                const bool last = facts->permitted.has(3000);
                if (facts->of(unit) == 0)
                    continue;
                ++read;
                if (first != (i == 0) || last != (i == 1))
                    ++wrong;
            }
        }
    });
    for (int turn = 1; turn <= kTurns || read == 0; ++turn)
        soft_.reconfigure(configs[turn % 2]);
    ends = true;
    reader.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace platform::testing
