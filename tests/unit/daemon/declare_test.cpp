// SPDX-License-Identifier: MIT
//
// Declarations that are worked out at once are those of VLANs one by one, which tracing makes it
// do.
#include <algorithm>
#include <random>
#include <sstream>

#include "daemon/mgmt/config.h"
#include "daemon/pdu/send.h"
#include "platform/contract/machine_states.h"
#include "tests/unit/daemon/started_daemon.h"

namespace {

constexpr u32 kUnit = 3;
using Machines = std::vector<u8>;

class Declare : public StartedDaemon {
  protected:
    Declare() {
        scenario::SwitchPort& port = host_.switchState.addPort(kUnit);
        port.permitted.set();
        port.tagged.set();
        set(MVRP_SCALAR_DEBUG, 0);
        set(MVRP_SCALAR_ENABLE, MVRP_ON);
        u32 on = MVRP_ON;
        EXPECT_EQ(mvrpPortSetApi(kUnit, MVRP_PORT_ENABLE, &on), kStatusOk);
    }
    static void set(u32 attribute, u32 value) {
        EXPECT_EQ(mvrpScalarSetApi(0, attribute, &value), kStatusOk);
    }

    struct Outcome {
        std::string frames;  ///< a line each
        Machines machines;
        bool operator==(const Outcome&) const = default;
    };
    /// What comes of a port that stands so.
    Outcome declared(const Machines& machines, u16 mtu, u8 debug) {
        MvrpPortEntry* port = mvrpPortEntryGet(kUnit);
        std::ranges::copy(machines, port->madMachine);
        // Nothing that was sent before fits.
        port->mtu = static_cast<u16>(mtu ^ 1U);
        mvrpPortSendPkt(port);
        std::ranges::copy(machines, port->madMachine);
        port->mtu = mtu;
        trace_.clear();
        gMvrpInfo.debug = debug;
        EXPECT_EQ(mvrpPortSendPkt(port), 0);
        gMvrpInfo.debug = 0;
        Outcome outcome;
        outcome.machines.assign(std::begin(port->madMachine), std::end(port->madMachine));
        std::istringstream lines(trace_);
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("  send "))
                outcome.frames += line + '\n';
        return outcome;
    }
    void expectSame(const Machines& machines, u16 mtu) {
        const Outcome oneByOne = declared(machines, mtu, MVRP_DEBUG_TRANSMIT);
        EXPECT_NE(oneByOne.frames, "");
        EXPECT_EQ(declared(machines, mtu, 0), oneByOne) << "MTU " << mtu;
    }

    std::mt19937 random_{7};
};

/// A machine with a flag, whose applicant is any of those below `applicants`.
u8 activeMachine(std::mt19937& random, u32 applicants) {
    const u32 flags = 1 + random() % 3;
    return static_cast<u8>(random() % applicants << 4U | random() % 4 << 2U | flags);
}
constexpr u32 kOfMvrp = APP_STATE_VA_G;

TEST_F(Declare, RunsOfAnyLengthWithAnyStatesInAnyMtu) {
    constexpr u32 kLongest[] = {1, 2, 3, 5, 13, 70, 4095};
    for (u32 round = 0; round < 60; ++round) {
        Machines machines(kMvrpVlanCount);
        const u32 longest = kLongest[round % std::size(kLongest)];
        // One of GVRP sends nothing of its own, and repeats the event before it.
        const u32 applicants = round % 5 == 4 ? APP_STATE_MAX : kOfMvrp;
        for (u32 index = random_() % 3; index < kMvrpVlanCount; index += 1 + random_() % longest)
            for (u32 run = 1 + random_() % longest; run > 0 && index < kMvrpVlanCount; --run)
                machines[index++] = activeMachine(random_, applicants);
        expectSame(machines, static_cast<u16>(46 + random_() % 1500));
    }
}

TEST_F(Declare, RunsOfOneHaveNothingOfTheNext) {
    constexpr u8 kNew = u8{APP_STATE_VN_M} << 4U | 1U;
    constexpr u8 kLeaving = u8{APP_STATE_LA} << 4U | 1U;
    Machines machines(kMvrpVlanCount);
    for (u32 index = 0; index < kMvrpVlanCount; ++index)
        machines[index] = index % 2 == 0 ? (index % 4 == 0 ? kNew : kLeaving) : u8{0};
    expectSame(machines, 1500);
}

TEST_F(Declare, MachinesWithoutAFlagAreAMatterOfTheirOwn) {
    Machines machines(kMvrpVlanCount);
    for (u32 index = 0; index < 100; ++index)
        machines[index] = static_cast<u8>(activeMachine(random_, kOfMvrp) & ~u8{3});
    expectSame(machines, 1500);
}

TEST_F(Declare, NothingIsOneEmptyPdu) {
    expectSame(Machines(kMvrpVlanCount), 1500);
}

}  // namespace
