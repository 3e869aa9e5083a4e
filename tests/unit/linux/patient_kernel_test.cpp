// SPDX-License-Identifier: MIT
//
// A kernel whose lock others hold: who asks it goes on, and what was asked for is done in the end.
#include "platform/linux/patient_kernel.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <thread>

#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

constexpr std::chrono::milliseconds kPatience{20};

class PatientKernelTest : public ::testing::Test {
  protected:
    void SetUp() override {
        patient = std::make_unique<PatientKernel>(
            std::shared_ptr<Kernel>(&node.kernel, [](Kernel*) {}), kPatience);
        node.asked = patient.get();
        node.start();
        node.driver->removeUnclaimed();
        node.enable(kEth0);
        node.settle();
        ASSERT_TRUE(comesToRest());
    }
    /// Lets the driver look until it has nothing left to try again, or a deadline.
    bool comesToRest() {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (node.driver->hasUnfinished() && std::chrono::steady_clock::now() < until) {
            node.settle();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return !node.driver->hasUnfinished();
    }
    void hold() { node.kernel.holdLock(); }
    void letGo() { node.kernel.letGo(); }
    /// Until the request that was not waited for is done.
    void awaitAnswer() {
        std::vector<KernelLink> links;
        while (!patient->readLinks(links))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(links.size(), 3U);
    }

    LinuxNode node;
    std::unique_ptr<PatientKernel> patient;
};

TEST_F(PatientKernelTest, ThatAnswersIsAsAnyOther) {
    EXPECT_TRUE(node.learn(kEth0, vlanSet({10})));
    ASSERT_TRUE(comesToRest());
    EXPECT_EQ(node.carried(kEth0), "1,10");
    EXPECT_TRUE(node.kernel.guarded(kEth0));
}

TEST_F(PatientKernelTest, OneRequestIsWaitedForAndTheOthersFailAtOnce) {
    std::vector<KernelLink> links;
    hold();
    EXPECT_EQ(patient->readLinks(links).error, ETIMEDOUT);
    const KernelResult second = patient->setGuard(kEth0, true);
    EXPECT_EQ(second.error, ETIMEDOUT);
    EXPECT_NE(second.what.find("still"), std::string::npos) << second.what;
    letGo();
    awaitAnswer();
}

TEST_F(PatientKernelTest, AMembershipThatGotNoAnswerIsKeptAndIsThereInTheEnd) {
    ::testing::internal::CaptureStderr();
    hold();
    EXPECT_TRUE(node.learn(kEth0, vlanSet({10}))) << "no answer is no refusal";
    EXPECT_TRUE(node.learn(kEth0, vlanSet({11})));
    EXPECT_EQ(node.dynamic(kEth0), "10-11");
    EXPECT_TRUE(node.driver->hasUnfinished());
    for (int look = 0; look < 5; look++)
        node.settle();
    letGo();
    awaitAnswer();
    EXPECT_TRUE(comesToRest());
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(node.carried(kEth0), "1,10-11");
    EXPECT_NE(log.find("the kernel has not answered for 20 ms"), std::string::npos) << log;
    EXPECT_EQ(log.find("tried again"), log.rfind("tried again")) << "once: " << log;
    EXPECT_EQ(log.find("could not be added"), std::string::npos) << log;
    EXPECT_EQ(log.find("others removed"), std::string::npos) << log;
    EXPECT_NE(log.find("the kernel answers again"), std::string::npos) << log;
    // All that is the daemon's is known to be, and goes with it.
    node.driver->stop(Ending::Stop);
    awaitAnswer();
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(PatientKernelTest, AMembershipThatEndsWithoutAnAnswerIsGoneInTheEnd) {
    ASSERT_TRUE(node.learn(kEth0, vlanSet({10})));
    ASSERT_TRUE(comesToRest());
    hold();
    EXPECT_TRUE(node.driver->removeDynamic(kEth0, vlanSet({10})));
    letGo();
    EXPECT_TRUE(comesToRest());
    EXPECT_EQ(node.carried(kEth0), "1");
}

TEST_F(PatientKernelTest, AGuardThatGotNoAnswerIsThereInTheEndAndNobodyTookIt) {
    node.disable(kEth0);
    ASSERT_TRUE(comesToRest());
    ASSERT_FALSE(node.kernel.guarded(kEth0));
    hold();
    node.enable(kEth0);
    letGo();
    EXPECT_TRUE(comesToRest());
    EXPECT_TRUE(node.kernel.guarded(kEth0));
    EXPECT_TRUE(node.kernel.guarded(kEth1));
    hold();
    node.disable(kEth0);
    letGo();
    EXPECT_TRUE(comesToRest());
    EXPECT_FALSE(node.kernel.guarded(kEth0));
    EXPECT_FALSE(node.kernel.guarded(kEth1));
    EXPECT_EQ(node.driver->listPorts(kEth0 - 1, 1).at(0).guardLost, 0U);
}

TEST_F(PatientKernelTest, AStartWaitsForTheKernel) {
    // Its lock goes back from the thread that took it.
    std::atomic<bool> held{false};
    std::thread other([&] {
        hold();
        held = true;
        std::this_thread::sleep_for(3 * kPatience);
        letGo();
    });
    while (!held)
        std::this_thread::yield();
    node.start();
    other.join();
    EXPECT_EQ(node.driver->ports().size(), 2U);
}

TEST_F(PatientKernelTest, TheEndDoesNotWaitForAnAnswer) {
    hold();
    std::vector<KernelLink> links;
    EXPECT_EQ(patient->readLinks(links).error, ETIMEDOUT);
    node.driver->stop(Ending::Stop);
    node.driver.reset();
    letGo();
    awaitAnswer();
}

}  // namespace
}  // namespace platform::testing
