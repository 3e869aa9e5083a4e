// SPDX-License-Identifier: MIT
//
// When a port takes over what became of another that stood as it does.
#include "daemon/map/alike.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class Alike : public testing::Test {
  protected:
    Alike() {
        for (const auto& port : {first_, second_}) {
            port->mtu = 1500;
            port->participant_mode = MVRP_PARTICIPANT_FULL;
            port->madMachine[9] = 0x51;
        }
    }

    /// The first port is asked for something, which makes its machine `after`, and sends.
    void refer(u8 after, bool sends = true) {
        alike_.begin(first_.get());
        first_->madMachine[9] = after;
        if (sends) {
            gMvrpSentBefore.begin(first_.get());
            gMvrpSentBefore.finish(first_.get());
        }
        alike_.finish(first_.get(), sends);
    }

    MvrpAlike alike_;
    std::shared_ptr<MvrpPortEntry> first_ = std::make_shared<MvrpPortEntry>();
    std::shared_ptr<MvrpPortEntry> second_ = std::make_shared<MvrpPortEntry>();
};

TEST_F(Alike, NothingIsCoveredWithoutAReference) {
    EXPECT_FALSE(alike_.covers(second_.get()));
    alike_.begin(first_.get());
    EXPECT_FALSE(alike_.covers(second_.get()));
}

TEST_F(Alike, PortThatStoodTheSameStandsAsTheReferenceDoes) {
    refer(0x52);
    ASSERT_TRUE(alike_.covers(second_.get()));
    EXPECT_TRUE(alike_.sent());
    alike_.follow(second_.get());
    EXPECT_EQ(second_->madMachine[9], 0x52);
    EXPECT_FALSE(alike_.covers(second_.get())) << "it stands differently now";
}

TEST_F(Alike, PortStaysAsItIsWhereTheReferenceDid) {
    refer(0x51);
    ASSERT_TRUE(alike_.covers(second_.get()));
    alike_.follow(second_.get());
    EXPECT_EQ(second_->madMachine[9], 0x51);
}

TEST_F(Alike, PortInAnotherStateOrThatWouldSendOtherwiseIsNotCovered) {
    refer(0x52);
    second_->madMachine[kMvrpVlanCount - 1] = 1;
    EXPECT_FALSE(alike_.covers(second_.get()));
    second_->madMachine[kMvrpVlanCount - 1] = 0;
    second_->mtu = 1400;
    EXPECT_FALSE(alike_.covers(second_.get()));
    second_->mtu = 1500;
    second_->participant_mode = MVRP_PARTICIPANT_QUIET;
    EXPECT_FALSE(alike_.covers(second_.get()));
}

TEST_F(Alike, ReferenceWhosePdusAreNotKeptIsNone) {
    gMvrpSentBefore.begin(first_.get());
    gMvrpSentBefore.spoil();
    gMvrpSentBefore.finish(first_.get());
    alike_.begin(first_.get());
    alike_.finish(first_.get(), true);
    EXPECT_FALSE(alike_.covers(second_.get()));
}

TEST_F(Alike, ReferenceThatSaidNothingCoversWhoeverStandsTheSame) {
    refer(0x52, false);
    second_->mtu = 1400;
    ASSERT_TRUE(alike_.covers(second_.get()));
    EXPECT_FALSE(alike_.sent());
}

}  // namespace
