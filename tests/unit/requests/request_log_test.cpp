// SPDX-License-Identifier: MIT
#include "platform/requests/request_log.h"

#include <gtest/gtest.h>

#include "platform/contract/management.h"
#include "platform/requests/switch_requests.h"
#include "tests/unit/channel/fake_daemon.h"
#include "tests/unit/runtime/taken_lines.h"
#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

constexpr u32 kPort = 3;
const std::string kWho = "user 1000, process 77";

class NoCables final : public PortCables {
  public:
    CableState cableState(u32 /*unit*/) const override {
        CableState state;
        state.form = form;
        return state;
    }
    PortCountersRecord counters(u32 /*unit*/) const override { return {}; }
    HostStatus setCable(u32 /*unit*/, const std::string& /*text*/, std::string& /*e*/) override {
        return HostStatus::Ok;
    }
    void renew(u32 /*unit*/, u32 /*afterMs*/) override {}
    HostStatus setWireForm(u32 /*unit*/, WireForm next) override {
        form = next;
        return HostStatus::Ok;
    }
    HostStatus setRecording(u32 /*unit*/, NamedFile /*file*/, std::string& /*e*/) override {
        return HostStatus::Ok;
    }
    HostStatus replay(u32 /*unit*/, NamedFile /*f*/, u32 /*s*/, std::string& /*e*/) override {
        return HostStatus::Ok;
    }
    void forget(u32 /*unit*/) override {}

    WireForm form = WireForm::Native;
};

class Audit : public ::testing::Test {
  protected:
    using Texts = std::vector<std::string>;

    Audit() {
        fake::reset();
        dispatcher_.setTable(fake::table());
        registerSwitchRequests(dispatcher_, {soft_, &cables_});
    }

    u32 ask(Request request, u32 unit, u32 attribute, std::span<const u8> value,
            const std::string& who = kWho) {
        std::vector<u8> reply;
        return log_.serve(
            who, {static_cast<u32>(request), unit, attribute, static_cast<u32>(value.size())},
            value, reply);
    }
    u32 set(Request request, u32 unit, u32 attribute, u32 value, const std::string& who = kWho) {
        return ask(request, unit, attribute, {reinterpret_cast<const u8*>(&value), sizeof value},
                   who);
    }
    u32 change(const SwitchChangeRecord& record) {
        return ask(Request::SwitchChange, 0, 0,
                   {reinterpret_cast<const u8*>(&record), sizeof record});
    }

    SoftSwitch soft_{smallSwitch()};
    NoCables cables_;
    Dispatcher dispatcher_;
    RequestLog log_{dispatcher_, soft_, cables_};
    TakenLines lines_;
};

TEST_F(Audit, ASettingOfAPortIsSaidWithTheValueBeforeAndAfter) {
    set(Request::PortSet, kPort, MVRP_PORT_REGISTRATION_MODE, MVRP_REGISTRATION_NORMAL, "");
    EXPECT_EQ(
        set(Request::PortSet, kPort, MVRP_PORT_REGISTRATION_MODE, MVRP_REGISTRATION_FORBIDDEN), 0U);
    EXPECT_EQ(lines_.take(),
              Texts{"port3: registration normal -> forbidden, by user 1000, process 77"});
    EXPECT_EQ(lines_.last().event, LogEvent::Setting);
    EXPECT_EQ(lines_.last().port, "port3");
}

TEST_F(Audit, ASettingOfTheDaemonIsSaidInWords) {
    set(Request::ScalarSet, 0, MVRP_SCALAR_ENABLE, MVRP_OFF, "");
    set(Request::ScalarSet, 0, MVRP_SCALAR_ENABLE, MVRP_ON);
    set(Request::ScalarSet, 0, MVRP_SCALAR_DEBUG, MVRP_DEBUG_TIMER | MVRP_DEBUG_STATE);
    EXPECT_EQ(lines_.take(), (Texts{"global enable off -> on, by user 1000, process 77",
                                    "debug none -> state,timer, by user 1000, process 77"}));
}

TEST_F(Audit, WhatChangesNothingOrIsRefusedIsNotSaid) {
    set(Request::PortSet, kPort, MVRP_PORT_JOIN_TIMEOUT, 400, "");
    set(Request::PortSet, kPort, MVRP_PORT_JOIN_TIMEOUT, 400);
    EXPECT_NE(set(Request::PortSet, 77, MVRP_PORT_JOIN_TIMEOUT, 300), 0U);
    EXPECT_NE(change(changeOf(SwitchChangeKind::PortDelete, 77)), 0U);
    ask(Request::PortGet, kPort, MVRP_PORT_JOIN_TIMEOUT, {});
    EXPECT_EQ(lines_.take(), Texts{});
}

TEST_F(Audit, TheOtherProcessOfAPairIsNobody) {
    set(Request::PortSet, kPort, MVRP_PORT_JOIN_TIMEOUT, 300, "");
    EXPECT_EQ(lines_.take(), Texts{});
}

TEST_F(Audit, ChangesOfTheSwitchAreSaidToo) {
    change(changeOf(SwitchChangeKind::PortLink, kPort, 0));
    change(changeOf(SwitchChangeKind::PortPvid, kPort, 12));
    change(changeOf(SwitchChangeKind::PortWireForm, kPort, static_cast<u32>(WireForm::Ieee)));
    change(changeOf(SwitchChangeKind::PortPermit, kPort, 0, vlanRange(10, 12)));
    change(changeOf(SwitchChangeKind::PortJoinAgg, kPort, 100));
    change(changeOf(SwitchChangeKind::VlanCreate, 0, 0, vlanRange(30, 31)));
    EXPECT_EQ(lines_.last().vlans, "30-31");
    change(changeOf(SwitchChangeKind::PortDelete, 5));
    const std::string by = ", by " + kWho;
    EXPECT_EQ(
        lines_.take(),
        (Texts{"port3: link up -> down" + by, "port3: pvid 1 -> 12" + by,
               "port3: wire-format native -> ieee" + by, "port3: permit 1-11,13-4094 -> 10-11" + by,
               "port3: aggregation none -> 100" + by, "VLANs 30-31 created" + by,
               "port5: the port is deleted" + by}));
    EXPECT_EQ(lines_.last().port, "port5");
}

TEST_F(Audit, ARecordOfAWrongSizeIsNotRead) {
    EXPECT_NE(ask(Request::SwitchChange, 0, 0, std::vector<u8>(7)), 0U);
    EXPECT_EQ(lines_.take(), Texts{});
}

}  // namespace
}  // namespace platform::testing
