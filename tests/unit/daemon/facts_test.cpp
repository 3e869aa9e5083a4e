// SPDX-License-Identifier: MIT
//
// Reception on a switch that shows its facts in place: it asks nothing, and reads them right.
#include "daemon/db/facts.h"

#include <random>
#include <sstream>

#include "daemon/mgmt/config.h"
#include "daemon/pdu/receive.h"
#include "platform/contract/machine_states.h"
#include "platform/virtual/calls/facts.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

constexpr u32 kUnit = 3;

class Facts : public StartedDaemon {
  protected:
    Facts() {
        host_.facts = std::make_shared<scenario::ShownFacts>();
        scenario::SwitchPort& port = host_.switchState.addPort(kUnit);
        port.permitted.set();
        port.tagged.set();
        host_.switchState.vlanTypes.set(1, static_cast<u32>(QorVlanType::Static));
        host_.switchState.vlanTypes.set(50, static_cast<u32>(QorVlanType::Static));
        host_.switchState.vlanTypes.set(60, static_cast<u32>(QorVlanType::Dynamic));
        set(MVRP_SCALAR_DEBUG, 0);
        set(MVRP_SCALAR_ENABLE, MVRP_ON);
        u32 on = MVRP_ON;
        EXPECT_EQ(mvrpPortSetApi(kUnit, MVRP_PORT_ENABLE, &on), kStatusOk);
    }
    static void set(u32 attribute, u32 value) {
        EXPECT_EQ(mvrpScalarSetApi(0, attribute, &value), kStatusOk);
    }

    /// @return the look-ups of a reception
    std::string asked(std::vector<u8> pdu) {
        trace_.clear();
        mvrpPktProcess(port(), pdu.data(), static_cast<s32>(pdu.size()));
        std::istringstream lines(trace_);
        std::string found;
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("  vlanget") || line.starts_with("  ifget"))
                found += line + '\n';
        return found;
    }
    static MvrpPortEntry* port() { return mvrpPortEntryGet(kUnit); }

    /// Joins VLANs 40 to 89.
    static std::vector<u8> joins() {
        std::vector<u8> pdu = {0, 1, 1, 0, 50, 0, 40};
        pdu.insert(pdu.end(), 17, 36 + 6 + 1);
        pdu.insert(pdu.end(), {0, 0});
        return pdu;
    }
};

TEST_F(Facts, PduWhoseFactsAreShownAsksNothing) {
    EXPECT_EQ(asked(joins()), "");
    EXPECT_EQ(port()->madMachine[40 - 1] & 2, 2);
    EXPECT_EQ(port()->madMachine[49] & 2, 2) << "a static VLAN is registered as such";
    EXPECT_EQ(port()->vlanFlag[40 - 1], 0x40);
    EXPECT_EQ(port()->vlanFlag[50 - 1], 0) << "and not as a dynamic one";
}

TEST_F(Facts, PduIsAskedAboutWhereNothingIsShown) {
    host_.facts.reset();
    EXPECT_NE(asked(joins()).find("vlanget 40 3501"), std::string::npos);
}

TEST_F(Facts, NothingIsShownOfWhatCanNotBe) {
    EXPECT_NE(qorPortFacts(kUnit), nullptr);
    EXPECT_EQ(qorPortFacts(kUnit + 1), nullptr) << "no such port";
    host_.switchState.vlanTypes.set(70, 5);
    EXPECT_EQ(qorPortFacts(kUnit), nullptr) << "a type that is neither static nor dynamic";
    host_.switchState.vlanTypes.set(70, std::nullopt);
    host_.failures.add({"vlanget", "3501", 1, 0, {}});
    EXPECT_EQ(qorPortFacts(kUnit), nullptr) << "a question that will fail";
    host_.failures.clear();
    EXPECT_NE(qorPortFacts(kUnit), nullptr);
}

TEST_F(Facts, GvrpPduWhoseFactsAreShownAsksNothing) {
    set(MVRP_SCALAR_GVRP_COMPLIANCE, MVRP_ON);
    port()->peerMode = 0;
    EXPECT_EQ(asked({0, 1, 1, 4, 2, 0, 40, 4, 2, 0, 41, 0, 0}), "");
    EXPECT_EQ(port()->vlanFlag[40 - 1], 0x40);
}

TEST_F(Facts, LinesOfAPduAreWrittenFromShownFactsToo) {
    set(MVRP_SCALAR_DEBUG, MVRP_DEBUG_RECEIVE);
    EXPECT_EQ(asked(joins()), "");
    EXPECT_NE(trace_.find("Vector process step 2; vlan 89"), std::string::npos);
}

/// An earlier vector of the PDU changes what a later one of the same VLANs finds.
TEST_F(Facts, LaterVectorFindsWhatAnEarlierOneMade) {
    std::vector<u8> pdu = joins();
    pdu.resize(pdu.size() - 2);
    pdu.insert(pdu.end(), {0, 1, 0, 45, 5 * 36, 0, 0});
    EXPECT_EQ(asked(pdu), "");
    EXPECT_EQ(port()->madMachine[45 - 1] >> 2U & 3U, u32{REG_STATE_LV});
    EXPECT_EQ(port()->madMachine[46 - 1] >> 2U & 3U, u32{REG_STATE_IN});
}

TEST_F(Facts, NextFixedVlanIsFoundFromEverywhere) {
    std::mt19937 random{5};
    auto& types = host_.switchState.vlanTypes;
    for (u32 many = 0; many < 20; ++many) {
        const u32 every = 1U << many % 12;
        for (u32 vid = 1; vid < types.size(); ++vid)
            types.set(vid, random() % every == 0
                               ? std::optional(static_cast<u32>(QorVlanType::Static))
                               : std::nullopt);
        const MvrpFacts facts = mvrpFactsOf(kUnit);
        for (const u32 endVid : {2U, 64U, 65U, 66U, 1000U, 4095U}) {
            u32 expected = endVid;
            for (u32 vid = endVid; vid-- > 1;) {
                if (types[vid].has_value())
                    expected = vid;
                ASSERT_EQ(mvrpNextFixed(facts, vid, endVid), expected) << vid << " to " << endVid;
            }
            ASSERT_EQ(mvrpNextFixed(facts, endVid, endVid), endVid);
        }
    }
}

}  // namespace
