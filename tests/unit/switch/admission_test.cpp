// SPDX-License-Identifier: MIT
//
// Which VLANs a port may register: attribute 0x10001 of a port, and what a tightened policy does.
#include "platform/switch/admission.h"

#include <gtest/gtest.h>

#include "platform/switch/switch_observer.h"
#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

constexpr u32 kPort = 3;
constexpr u32 kOther = 5;

/// What was refused, as it is told to those who look on.
class Refusals final : public SwitchObserver {
  public:
    void switchCalled(SwitchCall, u32, const VlanBitmap&, bool) override {}
    void registrationRefused(u32 unit, u32 vid, Admission why) override {
        seen.push_back({unit, vid, why});
    }
    struct Refusal {
        u32 unit;
        u32 vid;
        Admission why;
        bool operator==(const Refusal&) const = default;
    };
    std::vector<Refusal> seen;
};

u64 gNowMs = 0;
u64 now() {
    return gNowMs;
}

class AdmissionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        installSwitchDriver(&soft);
        installSwitchObserver(&refusals);
        soft.setAdmission(true);
        ASSERT_TRUE(soft.setProtocol(kPort, kProtocolMvrp, true));
    }
    void TearDown() override {
        installSwitchObserver(nullptr);
        installSwitchDriver(nullptr);
    }
    /// Asks as the daemon does.
    static bool admits(u32 vid, u32 unit = kPort) {
        u32 value = vid;
        return qorIfGetApi(unit, 0x10001, &value) == kStatusOk;
    }
    static SwitchConfig limited(u32 maxVlans, const VlanBitmap& permit = vlanRange(2, 4094)) {
        SwitchConfig config = smallSwitch();
        config.ports[0].maxVlans = maxVlans;
        config.ports[0].permitTagged = permit;
        return config;
    }
    void apply(const VlanBitmap& vlans) {
        EXPECT_TRUE(soft.createDynamic(vlans));
        EXPECT_TRUE(soft.addDynamic(kPort, vlans));
    }
    std::string permitted() {
        VlanBitmap vlans{};
        EXPECT_TRUE(soft.portVlans(kPort, VlanSet::Permitted, vlans));
        return formatVlanRanges(vlans);
    }

    SoftSwitch soft{smallSwitch()};
    Refusals refusals;
};

TEST_F(AdmissionTest, EveryVlanOfThePermitListAndNoOther) {
    soft.reconfigure(limited(0, vlanRange(10, 20)));
    EXPECT_TRUE(admits(10));
    EXPECT_TRUE(admits(20));
    EXPECT_TRUE(admits(1)) << "untagged counts, too";
    EXPECT_FALSE(admits(21));
    EXPECT_FALSE(admits(0));
    EXPECT_FALSE(admits(4095));
    EXPECT_FALSE(admits(10, 4)) << "there is no such port";
    ASSERT_FALSE(refusals.seen.empty());
    EXPECT_EQ(refusals.seen[0], (Refusals::Refusal{kPort, 21, Admission::NotPermitted}));
}

TEST_F(AdmissionTest, APortThatAdmitsAllDoesSoUntilItsPolicyIsAnother) {
    soft.reconfigure(limited(0));
    EXPECT_TRUE(admits(1));
    EXPECT_TRUE(admits(4094));
    EXPECT_FALSE(admits(0));
    EXPECT_FALSE(admits(4095)) << "no VLAN of the standard";
    EXPECT_FALSE(admits(10, kPort + 1024)) << "another unit of the same place";
    apply(vlanSet({30}));
    soft.reconfigure(limited(0, vlanRange(10, 20)));
    EXPECT_FALSE(admits(21));
    EXPECT_FALSE(admits(30)) << "kept, and not admitted again";
    soft.reconfigure(limited(1));
    EXPECT_TRUE(admits(30));
    EXPECT_FALSE(admits(31));
    soft.reconfigure(limited(0));
    EXPECT_TRUE(admits(31));
}

TEST_F(AdmissionTest, ALimitCountsWhatIsRegisteredWhetherItIsAppliedYetOrNot) {
    soft.reconfigure(limited(3));
    EXPECT_TRUE(admits(10));
    apply(vlanSet({10}));
    EXPECT_TRUE(admits(11));
    EXPECT_TRUE(admits(12));
    EXPECT_FALSE(admits(13));
    EXPECT_TRUE(admits(11)) << "counted already";
    apply(vlanSet({11, 12}));
    EXPECT_FALSE(admits(13));
    EXPECT_TRUE(admits(13, kOther)) << "each port has its own limit";
    EXPECT_TRUE(soft.removeDynamic(kPort, vlanSet({11})));
    EXPECT_TRUE(admits(13));
    EXPECT_FALSE(admits(11));
    const Refusals::Refusal first{kPort, 13, Admission::TooMany};
    EXPECT_EQ(refusals.seen.at(0), first);
}

TEST_F(AdmissionTest, ThePvidIsNoVlanThatARegistrationAdds) {
    soft.reconfigure(limited(1));
    EXPECT_TRUE(admits(10));
    EXPECT_TRUE(admits(1));
    EXPECT_FALSE(admits(11));
}

TEST_F(AdmissionTest, APortThatIsSwitchedOffHasRegisteredNothing) {
    soft.reconfigure(limited(1));
    EXPECT_TRUE(admits(10));
    EXPECT_TRUE(soft.setProtocol(kPort, kProtocolMvrp, false));
    EXPECT_TRUE(soft.setProtocol(kPort, kProtocolMvrp, true));
    EXPECT_TRUE(admits(11));
}

TEST_F(AdmissionTest, WhatAnEarlierDaemonLeftIsNotRegisteredUntilItIsDeclaredAgain) {
    soft.reconfigure(limited(2));
    apply(vlanSet({10, 11}));
    soft.adoptMemberships();
    EXPECT_TRUE(admits(10));
    EXPECT_TRUE(admits(20));
    EXPECT_FALSE(admits(11));
}

TEST(AdmittedVlans, OneThatWasNeverAppliedIsForgottenAfterAWhile) {
    SwitchPort port;
    port.tagged = vlanRange(2, 4094);
    port.maxVlans = 1;
    gNowMs = 1'000'000;
    EXPECT_EQ(admitVlan(port, 10, now), Admission::Admitted);
    EXPECT_EQ(admitVlan(port, 11, now), Admission::TooMany);
    gNowMs += RecentlyAdmitted::kForgetMs - 1;
    EXPECT_EQ(admitVlan(port, 11, now), Admission::TooMany);
    gNowMs += 1;
    EXPECT_EQ(admitVlan(port, 11, now), Admission::Admitted);
    EXPECT_EQ(admitVlan(port, 10, now), Admission::TooMany);
}

TEST_F(AdmissionTest, WhatIsRegisteredStaysWhenThePermitListIsTightened) {
    soft.reconfigure(limited(0));
    EXPECT_TRUE(admits(30));
    apply(vlanSet({30}));
    MessageLog log;
    soft.setRouteSink(&log);
    ::testing::internal::CaptureStderr();
    soft.reconfigure(limited(0, vlanRange(2, 20)));
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("VLANs 30 are not permitted any more and registered: they stay until they "
                        "are withdrawn"),
              std::string::npos)
        << said;
    EXPECT_TRUE(log.take().empty()) << "the daemon takes nothing off";
    EXPECT_EQ(permitted(), "1-20,30");
    VlanBitmap members{};
    EXPECT_TRUE(soft.portVlans(kPort, VlanSet::Dynamic, members));
    EXPECT_EQ(members, vlanSet({30}));
    EXPECT_FALSE(admits(30)) << "withdrawn, it is not registered again";
    EXPECT_TRUE(soft.removeDynamic(kPort, vlanSet({30})));
    EXPECT_EQ(permitted(), "1-20");
}

TEST_F(AdmissionTest, WhatIsPermittedAgainIsAsEver) {
    soft.reconfigure(limited(0));
    apply(vlanSet({30}));
    soft.reconfigure(limited(0, vlanRange(2, 20)));
    soft.reconfigure(limited(0));
    EXPECT_TRUE(admits(30));
    EXPECT_TRUE(soft.removeDynamic(kPort, vlanSet({30})));
    EXPECT_EQ(permitted(), "1-4094");
}

TEST_F(AdmissionTest, WhatIsRegisteredStaysWhenTheLimitIsTightened) {
    soft.reconfigure(limited(4));
    for (const u32 vid : {10U, 11U, 12U})
        EXPECT_TRUE(admits(vid));
    apply(vlanSet({10, 11, 12}));
    ::testing::internal::CaptureStderr();
    soft.reconfigure(limited(2));
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("3 VLANs are registered and 2 may be (max-vlans): they stay until they are "
                        "withdrawn"),
              std::string::npos)
        << said;
    VlanBitmap members{};
    EXPECT_TRUE(soft.portVlans(kPort, VlanSet::Dynamic, members));
    EXPECT_EQ(members, vlanSet({10, 11, 12}));
    EXPECT_FALSE(admits(13));
    EXPECT_TRUE(soft.removeDynamic(kPort, vlanSet({10, 11})));
    EXPECT_TRUE(admits(13));
    EXPECT_FALSE(admits(14));
}

TEST_F(AdmissionTest, WithoutAdmissionATightenedPermitListTakesTheMembershipOff) {
    soft.setAdmission(false);
    soft.reconfigure(limited(0));
    apply(vlanSet({30}));
    MessageLog log;
    soft.setRouteSink(&log);
    soft.reconfigure(limited(0, vlanRange(2, 20)));
    const auto messages = log.take();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].attribute, 65U);
    EXPECT_EQ(messages[0].vid, 30U);
}

}  // namespace
}  // namespace platform::testing
