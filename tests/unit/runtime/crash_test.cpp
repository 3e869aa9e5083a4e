// SPDX-License-Identifier: MIT
//
// What a crash leaves behind, tried in a child.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "platform/contract/sil.h"

namespace platform {
namespace {

[[noreturn, maybe_unused]] void crash() {
    silCatchSegFault();
    raise(SIGSEGV);
    for (;;)
        pause();
}

TEST(CrashDeathTest, LeavesAStackTraceAndItsSignal) {
#if defined(MVRP_SANITIZE_ADDRESS) || defined(MVRP_SANITIZE_THREAD)
    GTEST_SKIP() << "the sanitizer reports crashes itself";
#else
    // A new run of this program: what the child inherits can not get in its way.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(crash(), testing::KilledBySignal(SIGSEGV), "ended by signal SEGV; stack");
#endif
}

}  // namespace
}  // namespace platform
