// SPDX-License-Identifier: MIT
#include "cli/explain/explain.h"

#include <gtest/gtest.h>

#include <string>

namespace cli {
namespace {

void setName(VlanOnPort& port, const std::string& name) {
    name.copy(port.port.name.data(), port.port.name.size() - 1);
}

/// VLAN 20 on port p1, which runs MVRP and permits everything; nobody said anything yet.
ExplainFacts facts() {
    ExplainFacts facts;
    facts.vid = 20;
    facts.global.enabled = true;
    facts.global.host.role = static_cast<u32>(platform::HostRole::Active);
    facts.global.host.driver = static_cast<u32>(platform::DriverKind::SoftwareSwitch);
    facts.port.port.unit = 1;
    setName(facts.port, "p1");
    facts.port.port.link = 1;
    facts.port.port.eligible = 1;
    facts.port.port.wireForm = static_cast<u32>(platform::WireForm::Native);
    facts.port.settings = PortSettings{true, 1, 1, 1000, 200, 600, 10000};
    facts.port.permitted = facts.port.permittedTagged = true;
    facts.port.history.port = {platform::kNever, platform::kNever, platform::kNever};
    facts.port.history.vlan = {
        platform::kNever32, platform::kNever32, platform::kNever32, {}, 0, 0};
    facts.port.lastPduMs = 100;
    return facts;
}

void declared(ExplainFacts& facts, u32 agoMs) {
    facts.port.history.vlan.joinMs = agoMs;
    facts.port.history.vlan.origin = {2, 0, 0, 0, 0, 9};
}

Cause causeOf(const ExplainFacts& facts) {
    const Explanation explanation = explainVlan(facts);
    EXPECT_FALSE(explanation.why.empty());
    EXPECT_FALSE(explanation.declaration.empty());
    EXPECT_FALSE(explanation.advice.empty());
    return explanation.cause;
}

TEST(Explain, NamesTheNeighbourThatDeclaredTheVlan) {
    ExplainFacts f = facts();
    declared(f, 3000);
    f.port.learntMember = true;
    f.port.machine = {9, 0, 2};
    const Explanation explanation = explainVlan(f);
    EXPECT_EQ(explanation.cause, Cause::Learnt);
    EXPECT_TRUE(explanation.onPort);
    EXPECT_NE(explanation.why.find("02:00:00:00:00:09 declared it 3.0 s ago"), std::string::npos);
}

TEST(Explain, TellsHowMuchOfTheLeaveTimeIsLeft) {
    ExplainFacts f = facts();
    declared(f, 3000);
    f.port.learntMember = true;
    f.port.machine = {9, 1, 2};
    f.port.history.port.leaveMs = 100;
    const Explanation explanation = explainVlan(f);
    EXPECT_EQ(explanation.cause, Cause::Leaving);
    EXPECT_NE(explanation.why.find("in about 0.5 s"), std::string::npos);
}

TEST(Explain, ASettingComesBeforeWhatTheNeighbourDoes) {
    ExplainFacts f = facts();
    EXPECT_EQ(causeOf(f), Cause::NotDeclared);
    f.port.settings->registration = 2;
    EXPECT_EQ(causeOf(f), Cause::Fixed);
    f.port.settings->registration = 3;
    EXPECT_EQ(causeOf(f), Cause::Forbidden);
    f.port.permitted = false;
    EXPECT_EQ(causeOf(f), Cause::NotPermitted);
    f.port.port.link = 0;
    EXPECT_EQ(causeOf(f), Cause::LinkDown);
    f.port.settings.reset();
    EXPECT_EQ(causeOf(f), Cause::MvrpOff);
    f.port.port.eligible = 0;
    EXPECT_EQ(causeOf(f), Cause::NotEligible);
    f.global.host.role = static_cast<u32>(platform::HostRole::Standby);
    EXPECT_EQ(causeOf(f), Cause::Standby);
    f.global.enabled = false;
    EXPECT_EQ(causeOf(f), Cause::GloballyOff);
    f.vlanIsStatic = true;
    EXPECT_EQ(causeOf(f), Cause::NotPermitted);
    f.port.permitted = true;
    EXPECT_EQ(causeOf(f), Cause::StaticMember);
}

bool says(const std::string& text, const char* words) {
    return text.find(words) != std::string::npos;
}

/// The daemon says that it runs with these corrections.
void runsWith(ExplainFacts& facts, CorrectionSet on) {
    facts.global.corrections.emplace();
    facts.global.corrections->on = on.bits();
}

TEST(Explain, AStaticVlanThatIsNotDeclaredIsNotCalledDone) {
    ExplainFacts f = facts();
    f.vlanIsStatic = true;
    f.port.machine = {5, 3, 0};
    EXPECT_EQ(causeOf(f), Cause::StaticMember);
    EXPECT_TRUE(says(explainVlan(f).advice, "Nothing is to be done."));
    f.port.machine = {7, 3, 0};
    EXPECT_EQ(causeOf(f), Cause::StaticNotDeclared);
    EXPECT_TRUE(says(explainVlan(f).advice, "enable off"));
    EXPECT_FALSE(says(explainVlan(f).advice, "static-kept"));
    runsWith(f, {});
    EXPECT_TRUE(says(explainVlan(f).advice, "would have prevented it: static-kept"));
    runsWith(f, CorrectionSet::all());
    EXPECT_FALSE(says(explainVlan(f).advice, "static-kept"));
    f.port.settings->participant = 3;
    EXPECT_TRUE(says(explainVlan(f).advice, "participant full"));
}

TEST(Explain, AMembershipWithoutARegistrationSaysWhetherItGoes) {
    ExplainFacts f = facts();
    f.port.learntMember = true;
    f.port.history.vlan.leaveMs = 300'000;
    f.global.host.uptimeMs = 3'600'000;
    EXPECT_EQ(causeOf(f), Cause::Kept);
    EXPECT_TRUE(says(explainVlan(f).why, "withdrew it 5 min ago"));
    EXPECT_TRUE(says(explainVlan(f).advice, "It does not go"));
    runsWith(f, {});
    EXPECT_TRUE(says(explainVlan(f).advice, "own-batch, spare-others"));
    f.global.pendingPairs = 2;
    EXPECT_TRUE(says(explainVlan(f).advice, "2 changes wait"));
    f.global.pendingPairs = 0;
    f.port.history.vlan.leaveMs = platform::kNever32;
    f.global.host.uptimeMs = 600;
    EXPECT_TRUE(says(explainVlan(f).advice, "removed in about 10 s"));
}

TEST(Explain, NamesTheCorrectionThatDecided) {
    ExplainFacts f = facts();
    EXPECT_EQ(explainVlan(f).decision, "");
    VlanOnPort other;
    setName(other, "p2");
    other.machine = {9, 0, 2};
    f.others.push_back(other);
    f.port.machine = {5, 2, 1};
    f.port.decided = {static_cast<u32>(Correction::LeaveNeeded), 3000};
    EXPECT_EQ(explainVlan(f).decision,
              "Kept on p1: p2 still registers it (correction leave-needed, 3.0 s ago).");
    for (u32 which = 0; which < kCorrectionCount; ++which) {
        f.port.decided.correction = which;
        EXPECT_TRUE(says(explainVlan(f).decision, std::string(kCorrectionNames.at(which)).c_str()));
    }
    f.port.decided.correction = kCorrectionCount;
    EXPECT_EQ(explainVlan(f).decision, "");
}

/// VLAN 20 was declared a second ago and refused; the port's last failed registration is this.
ExplainFacts refused(u32 vid, platform::FailedRegistration reason) {
    ExplainFacts f = facts();
    declared(f, 1000);
    f.port.decided = {static_cast<u32>(Correction::Admission), 1000};
    f.port.failedVid = vid;
    f.port.failedReason = static_cast<u32>(reason);
    return f;
}

TEST(Explain, ARefusalBecauseOfMaxVlansSaysSo) {
    const ExplainFacts f = refused(20, platform::FailedRegistration::TooMany);
    EXPECT_EQ(causeOf(f), Cause::NotAdmitted);
    EXPECT_EQ(
        explainVlan(f).why,
        "VLAN 20 is not on p1: the neighbour 02:00:00:00:00:09 declared it 1.0 s ago, and the "
        "port has as many VLANs as it may register (max-vlans).");
    EXPECT_TRUE(says(explainVlan(f).advice, "raise max-vlans"));
}

TEST(Explain, ARefusalBecauseOfThePermitListSaysSo) {
    ExplainFacts f = refused(20, platform::FailedRegistration::NotPermitted);
    EXPECT_EQ(causeOf(f), Cause::NotAdmitted);
    EXPECT_TRUE(says(explainVlan(f).why, "the port's permit list left it out then"));
    EXPECT_TRUE(says(explainVlan(f).advice, "It is permitted now"));
    f.port.permitted = false;
    EXPECT_EQ(causeOf(f), Cause::NotPermitted);
    EXPECT_TRUE(says(explainVlan(f).why, "leaves it out, so it is not taken"));
    EXPECT_TRUE(says(explainVlan(f).advice, "switch vlan add-port p1 20"));
}

TEST(Explain, ARefusalWhoseReasonIsNotTheLastOneNamesBoth) {
    for (const ExplainFacts& f : {refused(21, platform::FailedRegistration::TooMany),
                                  refused(20, platform::FailedRegistration::SwitchRefused)}) {
        EXPECT_EQ(causeOf(f), Cause::NotAdmitted);
        EXPECT_TRUE(says(explainVlan(f).why, "as many VLANs as it may register, or its permit"));
        EXPECT_TRUE(says(explainVlan(f).advice, "show statistics p1"));
    }
}

TEST(Explain, ARefusalThatIsOverIsNotTheReason) {
    ExplainFacts f = refused(20, platform::FailedRegistration::TooMany);
    f.port.history.vlan.leaveMs = 500;
    EXPECT_EQ(causeOf(f), Cause::Withdrawn);
    f.port.history.vlan.leaveMs = 1500;
    EXPECT_EQ(causeOf(f), Cause::NotAdmitted);
    f.port.decided.agoMs = 60'000;
    EXPECT_EQ(causeOf(f), Cause::NotRenewed);
}

TEST(Explain, WithoutAdmissionAVlanThatIsNotPermittedIsRegisteredAllTheSame) {
    ExplainFacts f = facts();
    declared(f, 1000);
    f.port.permitted = false;
    f.port.machine = {9, 0, 2};
    runsWith(f, {});
    EXPECT_EQ(causeOf(f), Cause::NotPermitted);
    EXPECT_TRUE(says(explainVlan(f).why, "registered all the same, and declared on the other"));
    EXPECT_TRUE(says(explainVlan(f).why, "would have prevented it: admission"));
}

TEST(Explain, AStaticVlanThatWasNotDeclaredAgainUnderGvrpIsNotCalledDone) {
    ExplainFacts f = facts();
    f.vlanIsStatic = true;
    f.port.machine = {5, 3, 0};
    f.global.compliance = true;
    f.port.history.vlan.sentMs = 9000;
    EXPECT_EQ(causeOf(f), Cause::StaticMember) << "no LeaveAll yet";
    f.port.history.port.leaveAllOutMs = 5000;
    EXPECT_EQ(causeOf(f), Cause::StaticNotDeclared);
    EXPECT_TRUE(says(explainVlan(f).why, "not declared again when a LeaveAll asked for it, 5.0 s"));
    EXPECT_FALSE(says(explainVlan(f).advice, "Nothing is to be done"));
    runsWith(f, {});
    EXPECT_TRUE(says(explainVlan(f).advice, "would have prevented it: gvrp-static-renewed"));
    f.port.history.vlan.sentMs = 5000;
    EXPECT_EQ(causeOf(f), Cause::StaticMember) << "said with the LeaveAll";
    f.port.history.vlan.sentMs = 9000;
    f.port.history.port.leaveAllOutMs = 399;
    EXPECT_EQ(causeOf(f), Cause::StaticMember) << "within two join times";
}

TEST(Explain, AChangeThatWaitsForLongNamesTheCorrectionThatBoundsIt) {
    ExplainFacts f = facts();
    declared(f, 4000);
    f.port.machine = {9, 0, 2};
    f.global.pendingPairs = 3;
    runsWith(f, {});
    EXPECT_FALSE(says(explainVlan(f).why, "yield-bounded"));
    declared(f, 60'000);
    EXPECT_TRUE(says(explainVlan(f).why, "yield-bounded"));
}

TEST(Explain, TellsSilenceWithdrawalAndLossApart) {
    ExplainFacts f = facts();
    f.port.lastPduMs = platform::kNever;
    EXPECT_EQ(causeOf(f), Cause::NothingHeard);
    f.port.port.heardForm = static_cast<u32>(platform::WireForm::Ieee);
    EXPECT_EQ(causeOf(f), Cause::WrongForm);
    declared(f, 5000);
    EXPECT_EQ(causeOf(f), Cause::NotRenewed);
    f.port.history.vlan.leaveMs = 4000;
    EXPECT_EQ(causeOf(f), Cause::Withdrawn);
    f.port.history.vlan.leaveMs = 6000;
    EXPECT_EQ(causeOf(f), Cause::NotRenewed);
}

TEST(Explain, ARegistrationThatTheSwitchLacksWaitsOrWasRefused) {
    ExplainFacts f = facts();
    declared(f, 100);
    f.port.machine = {9, 0, 2};
    EXPECT_EQ(causeOf(f), Cause::SwitchRefused);
    f.global.pendingPairs = 3;
    EXPECT_EQ(causeOf(f), Cause::Pending);
}

TEST(Explain, SaysWhyADeclarationWasNotSent) {
    ExplainFacts f = facts();
    f.vlanIsStatic = true;
    f.port.machine = {10, 2, 1};  // AP
    EXPECT_TRUE(says(explainVlan(f).declaration, "It is to be declared to the neighbour"));
    EXPECT_TRUE(says(explainVlan(f).declaration, "the neighbours declare it themselves"));
    f.port.machine = {1, 3, 0};  // VP
    EXPECT_TRUE(says(explainVlan(f).declaration, "not sent since this mvrp started"));
    f.port.port.link = 0;
    EXPECT_TRUE(says(explainVlan(f).declaration, "nothing is sent while the link is down"));
    f.port.history.vlan.sentMs = 3000;
    EXPECT_TRUE(says(explainVlan(f).declaration, "It is declared to the neighbour"));
    EXPECT_TRUE(says(explainVlan(f).declaration, "last sent 3.0 s ago"));
}

TEST(Explain, SaysWhichPortMakesItDeclareTheVlan) {
    ExplainFacts f = facts();
    VlanOnPort other;
    setName(other, "p2");
    other.machine = {9, 0, 2};
    f.others.push_back(other);
    f.port.machine = {5, 2, 1};
    EXPECT_NE(explainVlan(f).declaration.find("registered on p2"), std::string::npos);
    f.port.machine = {};
    runsWith(f, {});
    EXPECT_TRUE(says(explainVlan(f).declaration, "not declared to the neighbour at the moment"));
    EXPECT_TRUE(says(explainVlan(f).declaration, "prevented it: leave-needed, on-declares"));
    f.others.clear();
    f.port.machine = {};
    EXPECT_NE(explainVlan(f).declaration.find("no other port"), std::string::npos);
}

}  // namespace
}  // namespace cli
