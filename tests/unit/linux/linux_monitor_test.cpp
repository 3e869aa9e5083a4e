// SPDX-License-Identifier: MIT
//
// The thread between notifications and driver.
#include "platform/linux/linux_monitor.h"

#include <chrono>
#include <mutex>

#include "platform/runtime/tasks/timer.h"
#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

/// Polls with a deadline: nothing here depends on how long anything takes.
template <typename Condition>
bool awaited(Condition condition) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// The kernel in memory is not made for two threads; here it is used by one at a time.
class MonitorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        node.start();
        node.driver->setListeners({[this] { changed++; }, [this] { monitor->wake(); }});
    }
    void run() {
        monitor = std::make_unique<LinuxMonitor>(node.kernel, *node.driver);
        ASSERT_TRUE(monitor->start());
    }

    LinuxNode node;
    std::atomic<u32> changed{0};
    std::unique_ptr<LinuxMonitor> monitor;
};

TEST_F(MonitorTest, HasTheDriverActOnNotifications) {
    node.kernel.addLink(kTap, "tap0");
    node.kernel.enslave(kTap, kBridge);
    run();
    EXPECT_TRUE(awaited([this] { return changed == 1; }));
    monitor->stop();
    EXPECT_EQ(node.driver->ports().size(), 3U);
}

TEST_F(MonitorTest, TriesAgainWhatFailed) {
    node.kernel.addVlans(kEth1, vlanSet({30}));
    node.kernel.failReads(3);
    run();
    EXPECT_TRUE(awaited([this] { return node.type(30) == kStaticType; }));
    EXPECT_TRUE(awaited([this] { return !node.driver->hasUnfinished(); }));
}

TEST_F(MonitorTest, HearsOthersWhileTheDriverKeepsChanging) {
    node.enable(kEth0);
    node.kernel.addVlans(kEth1, vlanSet({30}));
    run();
    EXPECT_TRUE(awaited([this] {
        EXPECT_TRUE(node.learn(kEth0, vlanSet({20})));
        EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanSet({20})));
        return node.type(30) == kStaticType;
    }));
    EXPECT_GT(node.driver->changesAsked(), 0U);
}

TEST_F(MonitorTest, TakesOutWhatHasLingeredThoughNothingHappens) {
    node.driver->setClock(monotonicMs);
    node.config.lingerMs = 50;
    node.driver->reconfigure(node.config);
    node.enable(kEth0);
    node.kernel.addVlans(kEth1, vlanSet({30}));
    run();
    EXPECT_TRUE(awaited([this] { return node.type(30) == kStaticType; }));
    node.kernel.removeVlans(kEth1, vlanSet({30}));
    EXPECT_TRUE(awaited([this] { return node.carried(kEth0) == "1"; }));
}

TEST_F(MonitorTest, EndsWhileItWaits) {
    run();
    monitor->stop();
    monitor->stop();
    EXPECT_EQ(node.driver->ports().size(), 2U);
}

}  // namespace
}  // namespace platform::testing
