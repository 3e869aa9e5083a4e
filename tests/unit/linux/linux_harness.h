// SPDX-License-Identifier: MIT
//
// The Linux driver on a kernel in memory: bridge br0 (1) with the ports eth0 (3) and eth1 (5).
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "platform/linux/linux_switch.h"
#include "tests/scratch_directory.h"
#include "tests/unit/linux/fake_kernel.h"
#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {

inline constexpr u32 kBridge = 1;
inline constexpr u32 kEth0 = 3;
inline constexpr u32 kEth1 = 5;
inline constexpr u32 kTap = 7;
/// How long entries linger on a port with the standard times: a second and two join times.
inline constexpr u32 kLingerMs = 1400;

/// For no longer are entries held back that others remove again and again.
inline constexpr u32 kLongestDisputeMs = 64'000;

inline LinuxBridgeConfig bridgeConfig() {
    LinuxBridgeConfig config;
    config.bridge = "br0";
    return config;
}

/// The driver with its kernel and ledger, which outlive it: restart() makes a new one.
class LinuxNode {
  public:
    explicit LinuxNode(LinuxBridgeConfig bridge = bridgeConfig()) : config(std::move(bridge)) {
        kernel.addBridge(kBridge, "br0");
        for (const auto& [index, name] : {std::pair(kEth0, "eth0"), std::pair(kEth1, "eth1")}) {
            kernel.addLink(index, name);
            kernel.enslave(index, kBridge);
        }
    }

    /// A new process: what the old one had in memory is gone.
    void start() {
        driver.reset();
        kernel.dropEvents();
        driver = std::make_unique<LinuxSwitch>(*asked, config, ledger());
        driver->setRouteSink(&log);
        driver->setClock([this] { return nowMs; });
        driver->setListeners({[this] { portsChanged++; }, [this] { tryAgain++; }});
        std::string error;
        ASSERT_TRUE(driver->start(error)) << error;
        driver->adoptMemberships();
        log.take();
    }
    std::string refusal() {
        driver = std::make_unique<LinuxSwitch>(kernel, config, ledger());
        std::string error;
        EXPECT_FALSE(driver->start(error));
        return error;
    }
    /// Lets the driver act on what happened. @return what it told the daemon
    std::vector<Message> settle() {
        driver->handleEvents();
        return log.take();
    }
    /// The same after some time.
    std::vector<Message> settleAfter(u32 ms) {
        nowMs += ms;
        return settle();
    }
    void enable(u32 port) { EXPECT_TRUE(driver->setProtocol(port, kProtocolMvrp, true)); }
    void disable(u32 port) { EXPECT_TRUE(driver->setProtocol(port, kProtocolMvrp, false)); }
    bool learn(u32 port, const VlanBitmap& vlans) {
        EXPECT_TRUE(driver->createDynamic(vlans));
        return driver->addDynamic(port, vlans);
    }
    std::string carried(u32 port) const { return formatVlanRanges(kernel.vlansOf(port).carried); }
    std::string dynamic(u32 port) const {
        VlanBitmap vlans{};
        EXPECT_TRUE(driver->portVlans(port, VlanSet::Dynamic, vlans));
        return formatVlanRanges(vlans);
    }
    u32 type(u32 vid) const {
        return static_cast<u32>(driver->vlanType(vid).value_or(QorVlanType{}));
    }
    bool linkUp(u32 port) const {
        PortState state{};
        return driver->portState(port, state) && state.linkUp;
    }
    std::string ledger() const { return scratch.path("ledger"); }

    ScratchDirectory scratch;
    FakeKernel kernel;
    Kernel* asked = &kernel;  ///< by the driver
    MessageLog log;
    LinuxBridgeConfig config;
    std::unique_ptr<LinuxSwitch> driver;
    u32 portsChanged = 0;
    u32 tryAgain = 0;
    u64 nowMs = 1'000'000;  ///< the driver's clock
};

inline constexpr u32 kStaticType = static_cast<u32>(QorVlanType::Static);
inline constexpr u32 kDynamicType = static_cast<u32>(QorVlanType::Dynamic);

inline Message vlanCreated(u32 vid) {
    return {0x20, kVlanInterfaceBase + vid, 0xFFFFFFFF, 0, 0, 0};
}
inline Message vlanDeleted(u32 vid) {
    return {0x21, kVlanInterfaceBase + vid, 0, 0, 0, 0};
}
inline Message linkMessage(u32 port, bool up) {
    return {0x20, port, 1, 0, 16, up ? 1U : 0U};
}

}  // namespace platform::testing
