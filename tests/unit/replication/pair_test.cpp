// SPDX-License-Identifier: MIT
//
// Both ends of a pair, with a clock of the test's own: who is taken for lost, who takes over, who
// stands back, and which requests of the other end are refused.
#include "platform/replication/pair.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr u64 kClient = 7;
constexpr u64 kOther = 8;
constexpr u32 kActive = static_cast<u32>(HostRole::Active);
constexpr u32 kStandby = static_cast<u32>(HostRole::Standby);

template <typename Record>
std::vector<u8> bytesOf(const Record& record) {
    std::vector<u8> bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

LinkState active(u64 since, u64 forced = 0) {
    return {kLinkVersion, kActive, 4711, 0, forced, since};
}

LinkHello helloOf(const LinkState& state) {
    return {state, 0, 250};
}

class PairEnd : public testing::Test {
  protected:
    static PairConfig config(HostRole role, std::chrono::milliseconds takeOverAfter) {
        PairConfig config;
        config.role = role;
        config.listens = role == HostRole::Standby;
        config.takeOverAfter = takeOverAfter;
        config.process = 12;
        return config;
    }

    /// Lets time pass in steps of 50 ms. @return how much of it, up to the first take-over
    std::chrono::milliseconds pass(Pair& pair, std::chrono::milliseconds time) {
        for (auto passed = 50ms; passed <= time; passed += 50ms) {
            now_ += 50ms;
            if (pair.tick(now_) == PairChange::TookOver)
                return passed;
        }
        return 0ms;
    }

    Pair::Answer hello(Pair& pair, const LinkHello& hello, u64 client = kClient) {
        reply_.clear();
        return pair.hello(client, bytesOf(hello), now_, reply_);
    }
    Pair::Answer beat(Pair& pair, u64 sequence, const LinkState& state, u64 client = kClient) {
        reply_.clear();
        return pair.beat(client, bytesOf(LinkBeat{sequence, state}), now_, reply_);
    }
    std::string text() const { return {reply_.begin(), reply_.end()}; }

    Pair::Time now_{std::chrono::hours(5)};
    std::vector<u8> reply_;
    Pair standby_{config(HostRole::Standby, 4s), now_};
    Pair active_{config(HostRole::Active, 0s), now_};
};

TEST_F(PairEnd, AnActiveThatNeverCameIsTakenOverFromAfterTheConfiguredTime) {
    EXPECT_EQ(pass(standby_, 10s), 4s);
}

TEST_F(PairEnd, HeartbeatsKeepAStandbyAStandbyAndTheirEndDoesNot) {
    ASSERT_EQ(hello(standby_, helloOf(active(1))).status, 0U);
    for (u64 sequence = 1; sequence <= 40; sequence++) {
        EXPECT_EQ(pass(standby_, 250ms), 0ms);
        ASSERT_EQ(beat(standby_, sequence, active(1)).status, 0U) << text();
        LinkBeat answer{};
        ASSERT_EQ(reply_.size(), sizeof answer);
        std::memcpy(&answer, reply_.data(), sizeof answer);
        EXPECT_EQ(answer.sequence, sequence);
        EXPECT_EQ(answer.state.role, kStandby);
    }
    EXPECT_TRUE(standby_.otherIsActive());
    EXPECT_EQ(pass(standby_, 950ms), 0ms);
    EXPECT_TRUE(standby_.otherThere());
    pass(standby_, 50ms);
    EXPECT_FALSE(standby_.otherThere()) << "silent for a second, and connected";
    EXPECT_EQ(pass(standby_, 10s), 3s);
}

TEST_F(PairEnd, AnIdleStrangerDoesNotHinderATakeOver) {
    reply_.clear();
    EXPECT_NE(beat(standby_, 1, active(1), kOther).status, 0U);
    EXPECT_NE(text().find("after a hello"), std::string::npos);
    EXPECT_EQ(pass(standby_, 10s), 4s);
}

TEST_F(PairEnd, WithoutAConfiguredTimeNobodyTakesOverByHimself) {
    Pair standby(config(HostRole::Standby, 0s), now_);
    EXPECT_EQ(pass(standby, 1000s), 0ms);
    EXPECT_EQ(pass(active_, 1000s), 0ms);
}

TEST_F(PairEnd, TimeInWhichItWasStoppedItselfDoesNotCount) {
    ASSERT_EQ(hello(standby_, helloOf(active(1))).status, 0U);
    now_ += std::chrono::hours(1);
    EXPECT_EQ(standby_.tick(now_), PairChange::None);
    EXPECT_TRUE(standby_.otherThere());
    EXPECT_EQ(pass(standby_, 10s), 3500ms) << "half of the second counts";
}

TEST_F(PairEnd, OneAtATimeIsThePeer) {
    ASSERT_EQ(hello(standby_, helloOf(active(1))).status, 0U);
    EXPECT_NE(hello(standby_, helloOf(active(2)), kOther).status, 0U);
    EXPECT_NE(text().find("process 4711 is the peer already; allowed: one at a time"),
              std::string::npos);
    EXPECT_TRUE(standby_.isPeer(kClient));
    standby_.gone(kClient);
    EXPECT_FALSE(standby_.otherThere());
    EXPECT_EQ(hello(standby_, helloOf(active(2)), kOther).status, 0U);
    EXPECT_TRUE(standby_.isPeer(kOther));
}

TEST_F(PairEnd, AnotherTakesTheSeatOfASilentPeer) {
    ASSERT_EQ(hello(standby_, helloOf(active(1))).status, 0U);
    pass(standby_, 1s);
    const Pair::Answer answer = hello(standby_, helloOf(active(2)), kOther);
    EXPECT_EQ(answer.status, 0U);
    EXPECT_EQ(answer.ended, kClient);
    EXPECT_NE(beat(standby_, 1, active(1), kClient).status, 0U);
    EXPECT_EQ(beat(standby_, 1, active(2), kOther).status, 0U);
}

TEST_F(PairEnd, AHeartbeatOutOfTurnEndsItsClient) {
    for (const u64 wrong : {u64{0}, u64{2}, ~u64{0}}) {
        ASSERT_EQ(hello(standby_, helloOf(active(1))).status, 0U);
        const Pair::Answer answer = beat(standby_, wrong, active(1));
        EXPECT_NE(answer.status, 0U) << wrong;
        EXPECT_EQ(answer.ended, kClient);
        EXPECT_FALSE(standby_.isPeer(kClient));
    }
}

TEST_F(PairEnd, AnotherVersionIsRefusedWithBoth) {
    LinkHello other = helloOf(active(1));
    other.state.version = 3;
    EXPECT_NE(hello(standby_, other).status, 0U);
    EXPECT_EQ(text(),
              "the other end speaks version 3 of the standby link; allowed: 2, the same "
              "program at both ends");
    reply_.clear();
    EXPECT_NE(standby_.hello(kClient, bytesOf(u32{1}), now_, reply_).status, 0U);
    EXPECT_NE(text().find("version 1 of the standby link"), std::string::npos);
}

TEST_F(PairEnd, WhatDoesNotFitTogetherIsRefused) {
    LinkHello wrong = helloOf(active(1));
    wrong.corrections = CorrectionSet::all().bits();
    EXPECT_NE(hello(standby_, wrong).status, 0U);
    EXPECT_NE(text().find("the active runs with the corrections all, the standby with none"),
              std::string::npos);
    for (const u32 heartbeatMs : {0U, 501U, ~0U}) {
        wrong = helloOf(active(1));
        wrong.heartbeatMs = heartbeatMs;
        EXPECT_NE(hello(standby_, wrong).status, 0U) << heartbeatMs;
        EXPECT_NE(text().find("at least two heartbeats"), std::string::npos);
    }
    wrong = helloOf(active(1));
    wrong.state.role = 3;
    EXPECT_NE(hello(standby_, wrong).status, 0U);
    EXPECT_NE(text().find("allowed: 1 active, 2 standby"), std::string::npos);
    EXPECT_FALSE(standby_.otherThere());
}

TEST_F(PairEnd, OfTwoActivesTheYoungerStandsBack) {
    standby_.takeOver(now_ + 1s);
    const LinkState elder = active_.state();
    const LinkState younger = standby_.state();
    EXPECT_EQ(hello(standby_, helloOf(elder)).change, PairChange::StoodBack);
    EXPECT_EQ(standby_.role(), HostRole::Standby);
    EXPECT_EQ(reply_, bytesOf(younger)) << "so that the elder says so, too";
    EXPECT_EQ(active_.heard(younger, now_), PairChange::OtherStoodBack);
    EXPECT_EQ(active_.role(), HostRole::Active);
    EXPECT_EQ(standby_.view(now_).lastTwo, PairChange::StoodBack);
    EXPECT_EQ(active_.view(now_ + 3s).lastTwoAgo, 3s);
}

TEST_F(PairEnd, AnActiveThatStartsBesideOneThatTookOverStandsBackAndTakesOverWhenThatIsGone) {
    standby_.takeOver(now_);
    now_ += 1s;
    Pair restarted(config(HostRole::Active, 2s), now_);
    EXPECT_EQ(restarted.heard(standby_.state(), now_), PairChange::StoodBack);
    EXPECT_EQ(restarted.heard(standby_.state(), now_), PairChange::None);
    EXPECT_EQ(pass(restarted, 10s), 2s);
}

TEST_F(PairEnd, WhoAPersonMadeTheActiveGoesOn) {
    ASSERT_EQ(hello(standby_, helloOf(active_.state())).status, 0U);
    now_ += 200ms;
    EXPECT_EQ(standby_.takeOver(now_), kClient);
    EXPECT_EQ(hello(standby_, helloOf(active_.state())).change, PairChange::OtherStoodBack);
    EXPECT_EQ(active_.heard(standby_.state(), now_), PairChange::StoodBack);
    // And back again.
    EXPECT_EQ(active_.heard(standby_.state(), now_), PairChange::None);
    now_ += 1s;
    active_.takeOver(now_);
    EXPECT_EQ(standby_.heard(active_.state(), now_), PairChange::StoodBack);
}

TEST_F(PairEnd, BothEndsComeToTheSame) {
    for (const LinkState& one : {active(1), active(2), active(3, 5), active(1, 6)})
        for (const LinkState& two : {active(1), active(2), active(3, 5), active(1, 6)})
            EXPECT_NE(goesOn(one, two, true), goesOn(two, one, false));
}

}  // namespace
}  // namespace platform
