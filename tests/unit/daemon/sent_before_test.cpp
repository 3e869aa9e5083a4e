// SPDX-License-Identifier: MIT
//
// When a port may send what another one sent before it.
#include "daemon/pdu/sent_before.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using Body = std::vector<u8>;

class SentBefore : public testing::Test {
  protected:
    SentBefore() {
        for (const auto& port : {first_, second_}) {
            port->mtu = 1500;
            port->participant_mode = MVRP_PARTICIPANT_FULL;
            port->madMachine[9] = 0x51;
        }
    }
    ~SentBefore() override { gMvrpInfo.debug = 0; }
    SentBefore(const SentBefore&) = delete;
    SentBefore& operator=(const SentBefore&) = delete;
    SentBefore(SentBefore&&) = delete;
    SentBefore& operator=(SentBefore&&) = delete;

    /// The first port sends two PDUs, which change a machine.
    void send() {
        sent_.begin(first_.get());
        for (const Body& body : bodies_)
            sent_.note(body);
        first_->madMachine[9] = 0x52;
        sent_.finish(first_.get());
    }
    bool fits() { return sent_.fits(second_.get()); }

    const std::vector<Body> bodies_ = {{1, 2, 3}, {4, 5}};
    std::shared_ptr<MvrpPortEntry> first_ = std::make_shared<MvrpPortEntry>();
    std::shared_ptr<MvrpPortEntry> second_ = std::make_shared<MvrpPortEntry>();
    MvrpSentBefore sent_;
};

TEST_F(SentBefore, NothingFitsBeforeAnythingWasSent) {
    EXPECT_FALSE(fits());
}

TEST_F(SentBefore, APortInTheSameStateSendsTheSameAndStandsTheSame) {
    send();
    ASSERT_TRUE(fits());
    std::vector<Body> repeated;
    sent_.repeat(second_.get(), [&repeated](std::span<const u8> body) {
        repeated.emplace_back(body.begin(), body.end());
    });
    EXPECT_EQ(repeated, bodies_);
    EXPECT_EQ(second_->madMachine[9], 0x52);
    EXPECT_FALSE(fits()) << "it stands differently now";
}

TEST_F(SentBefore, AnotherStateMtuOrModeDoesNotFit) {
    send();
    second_->madMachine[kMvrpVlanCount - 1] = 1;
    EXPECT_FALSE(fits());
    second_->madMachine[kMvrpVlanCount - 1] = 0;
    second_->mtu = 1400;
    EXPECT_FALSE(fits());
    second_->mtu = 1500;
    second_->participant_mode = MVRP_PARTICIPANT_QUIET;
    EXPECT_FALSE(fits());
    second_->participant_mode = MVRP_PARTICIPANT_NO_OBSERVE;
    EXPECT_TRUE(fits());
    gMvrpInfo.debug = MVRP_DEBUG_TRANSMIT;
    EXPECT_FALSE(fits());
}

TEST_F(SentBefore, WhatWasSpoiledTracedOrQuietIsNotKept) {
    sent_.begin(first_.get());
    sent_.spoil();
    sent_.note(bodies_[0]);
    sent_.finish(first_.get());
    EXPECT_FALSE(fits());
    gMvrpInfo.debug = MVRP_DEBUG_TRANSMIT;
    send();
    gMvrpInfo.debug = 0;
    first_->madMachine[9] = second_->madMachine[9];
    EXPECT_FALSE(fits());
    first_->participant_mode = MVRP_PARTICIPANT_QUIET;
    send();
    EXPECT_FALSE(fits());
}

TEST_F(SentBefore, MorePdusThanThereIsRoomForAreNotKept) {
    sent_.begin(first_.get());
    for (int i = 0; i < 9; ++i)
        sent_.note(bodies_[0]);
    sent_.finish(first_.get());
    EXPECT_FALSE(fits());
    sent_.begin(first_.get());
    for (int i = 0; i < 8; ++i)
        sent_.note(Body(kMvrpPduBytes + 2));
    sent_.finish(first_.get());
    EXPECT_FALSE(fits());
}

}  // namespace
