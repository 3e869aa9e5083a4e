// SPDX-License-Identifier: MIT
//
// What ends a process, tried in children: signals.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "platform/contract/process.h"
#include "platform/runtime/process_runtime.h"
#include "platform/runtime/tasks/signals.h"

namespace platform {
namespace {

[[noreturn]] void sleepForEver() {
    for (;;)
        pause();
}

[[noreturn]] void endBySignal(int signalNumber) {
    holdSignals();
    processRuntime().onEnd = [](Ending ending) {
        std::fputs(ending == Ending::Stop ? "cleaned up\n" : "left for the next\n", stderr);
    };
    patchSignalHandler();
    kill(getpid(), signalNumber);
    sleepForEver();
}

[[noreturn]] void reloadThenEnd() {
    holdSignals();
    processRuntime().onReload = [] {
        std::fputs("read again, ", stderr);
        kill(getpid(), SIGTERM);
    };
    patchSignalHandler();
    kill(getpid(), SIGHUP);
    sleepForEver();
}

/// Children are new runs of the test program: threads of this one can not get in their way.
class Process : public testing::Test {
  protected:
    Process() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

using ProcessDeathTest = Process;

TEST_F(ProcessDeathTest, SigtermAndSigintEndItCleanlyWithStatus0) {
    EXPECT_EXIT(endBySignal(SIGTERM), testing::ExitedWithCode(0), "SIGTERM: ending\ncleaned up");
    EXPECT_EXIT(endBySignal(SIGINT), testing::ExitedWithCode(0), "SIGINT: ending\ncleaned up");
}

TEST_F(ProcessDeathTest, Sigusr1EndsItForARestart) {
    EXPECT_EXIT(endBySignal(SIGUSR1), testing::ExitedWithCode(0),
                "SIGUSR1: ending\nleft for the next");
}

TEST_F(ProcessDeathTest, SighupHasTheConfigurationReadAgain) {
    EXPECT_EXIT(reloadThenEnd(), testing::ExitedWithCode(0), "read again, .*SIGTERM: ending");
}

}  // namespace
}  // namespace platform
