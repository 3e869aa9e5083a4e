// SPDX-License-Identifier: MIT
#include "platform/requests/switch_requests.h"

#include <gtest/gtest.h>

#include "platform/net/port_cables.h"
#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

void setText(SwitchChangeRecord& record, const std::string& text) {
    record.text = {};
    text.copy(record.text.data(), record.text.size() - 1);
}

/// Remembers what it was asked.
class FakeCables final : public PortCables {
  public:
    CableState cableState(u32 /*unit*/) const override {
        return {WireForm::Auto, 2, {2, 0, 0, 0, 0, 9}, "unix:/a,/b"};
    }
    PortCountersRecord counters(u32 unit) const override {
        PortCountersRecord record{};
        record.framesIn = unit;
        return record;
    }
    HostStatus setCable(u32 unit, const std::string& text, std::string& error) override {
        asked = "cable " + std::to_string(unit) + " " + text;
        error = "no such cable";
        return text == "bad" ? HostStatus::BadArgument : HostStatus::Ok;
    }
    void renew(u32 unit, u32 afterMs) override {
        asked = "renew " + std::to_string(unit) + " " + std::to_string(afterMs);
    }
    HostStatus setWireForm(u32 unit, WireForm form) override {
        asked = "form " + std::to_string(unit) + " " + std::to_string(static_cast<u32>(form));
        return HostStatus::Ok;
    }
    HostStatus setRecording(u32 unit, NamedFile file, std::string& /*error*/) override {
        asked = "record " + std::to_string(unit) + " " + file.path +
                (file.passed.isOpen() ? " passed" : "");
        return HostStatus::Ok;
    }
    HostStatus replay(u32 unit, NamedFile file, u32 speed, std::string& /*error*/) override {
        asked = "replay " + std::to_string(unit) + " " + file.path + " " + std::to_string(speed);
        return HostStatus::Ok;
    }
    void forget(u32 unit) override { asked = "forget " + std::to_string(unit); }

    std::string asked;
};

class Requests : public ::testing::Test {
  protected:
    using Handler = u32 (*)(const ServedSwitch&, const RequestHeader&, std::span<const u8>,
                            std::vector<u8>&);
    u32 ask(Handler handler, u32 unit, u32 attribute, std::span<const u8> value = {}) {
        reply_.clear();
        return handler({harness_.driver(), &cables_},
                       {0, unit, attribute, static_cast<u32>(value.size())}, value, reply_);
    }
    u32 change(const SwitchChangeRecord& record) {
        const auto* bytes = reinterpret_cast<const u8*>(&record);
        return ask(handleSwitchChange, 0, 0, {bytes, sizeof record});
    }
    std::string text() const { return {reply_.begin(), reply_.end()}; }
    template <typename Record>
    Record record(std::size_t index = 0) const {
        Record result{};
        EXPECT_GE(reply_.size(), (index + 1) * sizeof result);
        std::memcpy(&result, reply_.data() + index * sizeof result, sizeof result);
        return result;
    }

    static constexpr u32 kOk = 0;
    static constexpr u32 kBadArgument = static_cast<u32>(HostStatus::BadArgument);
    static constexpr u32 kNoSuchPort = static_cast<u32>(HostStatus::NoSuchPort);
    SoftHarness harness_;
    FakeCables cables_;
    std::vector<u8> reply_;
};

TEST_F(Requests, PortListHoldsThePortsAboveTheUnit) {
    ASSERT_EQ(ask(handlePortList, 3, 0), kOk);
    ASSERT_EQ(reply_.size(), 3 * sizeof(SwitchPortRecord));
    const auto port = record<SwitchPortRecord>();
    EXPECT_EQ(port.unit, 5U);
    EXPECT_EQ(port.endType, 1U);
    EXPECT_EQ(port.link, 1U);
    EXPECT_EQ(port.eligible, 1U);
    EXPECT_EQ(port.mtu, 1500U);
    EXPECT_EQ(port.pvid, 1U);
    EXPECT_EQ(port.protocols, 0U);
    EXPECT_EQ(port.wireForm, 3U);
    EXPECT_EQ(port.heardForm, 2U);
    EXPECT_STREQ(port.name.data(), "port5");
    EXPECT_STREQ(port.cable.data(), "unix:/a,/b");
    EXPECT_EQ(record<SwitchPortRecord>(1).endType, 2U);
    ASSERT_EQ(ask(handlePortList, 101, 0), kOk);
    EXPECT_TRUE(reply_.empty());
}

TEST_F(Requests, PortListShowsProtocols) {
    harness_.driver().setProtocol(3, kProtocolMvrp, true);
    harness_.driver().setProtocol(5, kProtocolGvrp, true);
    ask(handlePortList, 0, 0);
    EXPECT_EQ(record<SwitchPortRecord>(0).protocols, 1U);
    EXPECT_EQ(record<SwitchPortRecord>(1).protocols, 2U);
}

TEST_F(Requests, PortListFitsAReply) {
    SwitchConfig config = smallSwitch();
    for (u32 unit = 1000; unit < 1600; ++unit)
        config.ports.push_back(trunk(unit));
    SoftSwitch many(config);
    ASSERT_EQ(handlePortList({many, &cables_}, {}, {}, reply_), kOk);
    EXPECT_LE(reply_.size(), kMaxValueBytes);
    EXPECT_GT(reply_.size() + sizeof(SwitchPortRecord), kMaxValueBytes);
    EXPECT_EQ(reply_.size() % sizeof(SwitchPortRecord), 0U);
}

TEST_F(Requests, PortVlansAnswersEachSet) {
    harness_.createStaticVlans(vlanSet({10}));
    harness_.driver().addDynamic(3, vlanSet({10}));
    ASSERT_EQ(ask(handlePortVlans, 3, 184), kOk);
    EXPECT_EQ(record<VlanBitmap>(), vlanRange(2, 4094));
    ASSERT_EQ(ask(handlePortVlans, 3, 196), kOk);
    EXPECT_EQ(record<VlanBitmap>(), vlanRange(1, 4094));
    ASSERT_EQ(ask(handlePortVlans, 3, 197), kOk);
    EXPECT_EQ(record<VlanBitmap>(), vlanSet({1}));
    ASSERT_EQ(ask(handlePortVlans, 3, 198), kOk);
    EXPECT_EQ(record<VlanBitmap>(), vlanSet({10}));
}

TEST_F(Requests, PortVlansRefusesOtherSetsAndPorts) {
    EXPECT_EQ(ask(handlePortVlans, 3, 195), kBadArgument);
    EXPECT_NE(text().find("allowed is"), std::string::npos);
    EXPECT_EQ(ask(handlePortVlans, 4, 196), kNoSuchPort);
}

TEST_F(Requests, SwitchVlansAreAskedForByType) {
    harness_.createStaticVlans(vlanSet({10}));
    harness_.driver().createDynamic(vlanSet({20}));
    ASSERT_EQ(ask(handleSwitchVlans, 0, 2), kOk);
    EXPECT_EQ(record<VlanBitmap>(), vlanSet({1, 10}));
    ASSERT_EQ(ask(handleSwitchVlans, 0, 6), kOk);
    EXPECT_EQ(record<VlanBitmap>(), vlanSet({20}));
    EXPECT_EQ(ask(handleSwitchVlans, 0, 3), kBadArgument);
}

TEST_F(Requests, PortCountersOfAPort) {
    ASSERT_EQ(ask(handlePortCounters, 5, 0), kOk);
    EXPECT_EQ(record<PortCountersRecord>().framesIn, 5U);
    EXPECT_EQ(ask(handlePortCounters, 4, 0), kNoSuchPort);
}

TEST_F(Requests, ValuesAreRefusedWhereNoneIsTaken) {
    const std::array<u8, 4> value{};
    for (const auto handler :
         {handlePortList, handlePortVlans, handleSwitchVlans, handlePortCounters}) {
        EXPECT_EQ(ask(handler, 3, 196, value), kBadArgument);
        EXPECT_NE(text().find("no value"), std::string::npos);
    }
}

TEST_F(Requests, ChangeOfEveryWrongLengthIsRefused) {
    const std::vector<u8> bytes(2 * sizeof(SwitchChangeRecord));
    for (std::size_t size = 0; size < bytes.size(); ++size)
        if (size != sizeof(SwitchChangeRecord)) {
            ASSERT_EQ(ask(handleSwitchChange, 0, 0, std::span(bytes).first(size)), kBadArgument);
        }
}

TEST_F(Requests, ChangesReachTheSwitch) {
    ASSERT_EQ(change(changeOf(SwitchChangeKind::PortLink, 3, 0)), kOk);
    PortState state{};
    ASSERT_TRUE(harness_.driver().portState(3, state));
    EXPECT_FALSE(state.linkUp);
    EXPECT_EQ(change(changeOf(SwitchChangeKind::PortLink, 4, 0)), kNoSuchPort);
    EXPECT_EQ(text(), "there is no port 4");
}

TEST_F(Requests, WireChangesReachTheFrameLayer) {
    SwitchChangeRecord cable = changeOf(SwitchChangeKind::PortCable, 3);
    setText(cable, "none");
    ASSERT_EQ(change(cable), kOk);
    EXPECT_EQ(cables_.asked, "cable 3 none");
    setText(cable, "bad");
    EXPECT_EQ(change(cable), kBadArgument);
    EXPECT_EQ(text(), "no such cable");
    SwitchChangeRecord replay = changeOf(SwitchChangeKind::PortReplay, 3, 7);
    setText(replay, "x.pcap");
    ASSERT_EQ(change(replay), kOk);
    EXPECT_EQ(cables_.asked, "replay 3 x.pcap 7");
    replay.kind = static_cast<u32>(SwitchChangeKind::PortRecord);
    ASSERT_EQ(change(replay), kOk);
    EXPECT_EQ(cables_.asked, "record 3 x.pcap");
    ASSERT_EQ(change(changeOf(SwitchChangeKind::PortWireForm, 3, 2)), kOk);
    EXPECT_EQ(cables_.asked, "form 3 2");
}

TEST_F(Requests, WireChangesOfMissingPortsOrFormsAreRefused) {
    EXPECT_EQ(change(changeOf(SwitchChangeKind::PortCable, 4)), kNoSuchPort);
    EXPECT_EQ(change(changeOf(SwitchChangeKind::PortWireForm, 3, 0)), kBadArgument);
    EXPECT_EQ(change(changeOf(SwitchChangeKind::PortWireForm, 3, 4)), kBadArgument);
    EXPECT_EQ(cables_.asked, "");
}

TEST_F(Requests, DeletedPortLosesItsCable) {
    ASSERT_EQ(change(changeOf(SwitchChangeKind::PortDelete, 3)), kOk);
    EXPECT_EQ(cables_.asked, "forget 3");
}

TEST_F(Requests, ARepairAsksTheNeighboursLaterWhereSomethingIsTakenOutFirst) {
    harness_.driver().setProtocol(3, kProtocolMvrp, true);
    ASSERT_EQ(change(changeOf(SwitchChangeKind::PortRepair, 3)), kOk);
    EXPECT_EQ(cables_.asked, "renew 3 0");
    ASSERT_EQ(change(changeOf(SwitchChangeKind::PortRepair, 3, 0, vlanSet({10}))), kOk);
    EXPECT_EQ(cables_.asked, "renew 3 1200");
}

TEST_F(Requests, ARepairWhereNobodyCanBeAskedIsRefused) {
    EXPECT_EQ(change(changeOf(SwitchChangeKind::PortRepair, 4)), kNoSuchPort);
    EXPECT_EQ(change(changeOf(SwitchChangeKind::PortRepair, 3)), kBadArgument) << "MVRP is off";
    EXPECT_NE(text().find("MVRP is off there"), std::string::npos) << text();
    harness_.driver().setProtocol(3, kProtocolMvrp, true);
    ASSERT_EQ(change(changeOf(SwitchChangeKind::PortLink, 3, 0)), kOk);
    EXPECT_EQ(change(changeOf(SwitchChangeKind::PortRepair, 3)), kBadArgument);
    EXPECT_EQ(cables_.asked, "");
}

TEST_F(Requests, TextWithoutAnEndIsCut) {
    SwitchChangeRecord record = changeOf(SwitchChangeKind::PortCable, 3);
    record.text.fill('x');
    ASSERT_EQ(change(record), kOk);
    EXPECT_EQ(cables_.asked.size(), std::string("cable 3 ").size() + record.text.size() - 1);
}

}  // namespace
}  // namespace platform::testing
