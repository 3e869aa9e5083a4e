// SPDX-License-Identifier: MIT
//
// Every read of the contract is answered without a system call: a child that the kernel ends at the
// first one makes them all.
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/unit/switch/soft_harness.h"

namespace platform::testing {
namespace {

void makeAllReads() {
    u32 value = 0;
    VlanBitmap vlans{};
    std::array<u8, 6> mac{};
    QorBuffer macBuffer = {mac.data(), 6};
    QorBuffer vlanBuffer = {vlans.data(), kVlanBitmapBytes};
    QorIndexInfo info{};
    for (const u32 unit : {3U, 4U, 5U, 100U, kVlanInterfaceBase + 1}) {
        for (const u32 attribute : {19U, 78U, 156U, 159U, 208U, 3500U}) {
            value = 1;
            qorIfGetApi(unit, attribute, &value);
        }
        qorIfGetApi(unit, 33, &macBuffer);
        for (const u32 attribute : {184U, 196U, 198U})
            qorIfGetApi(unit, attribute, &vlanBuffer);
        qorIndexTrans(unit, kIndexTransEndType, &info);
    }
    for (u32 vid = 0; vid <= 4096; ++vid) {
        qorVlanGetApi(vid, 3501, &value);
        qorVlanGetApi(vid, 37, &value);
    }
}

/// @return true when the child came to its end
bool runsWithoutSystemCalls(void (*body)()) {
    const pid_t child = fork();
    if (child == 0) {
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0)
            _exit(2);
        body();
        syscall(SYS_exit, 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(Reads, MakeNoSystemCall) {
#if defined(MVRP_SANITIZE_THREAD)
    GTEST_SKIP() << "the sanitizer makes system calls of its own";
#endif
    SoftHarness harness;
    harness.createStaticVlans(vlanSet({10, 20}));
    installSwitchDriver(&harness.driver());
    makeAllReads();  // whatever is set up by a first call is not counted
    EXPECT_TRUE(runsWithoutSystemCalls(makeAllReads));
    installSwitchDriver(nullptr);
}

TEST(Reads, SystemCallsAreFound) {
#if defined(MVRP_SANITIZE_THREAD)
    GTEST_SKIP() << "the sanitizer makes system calls of its own";
#endif
    EXPECT_FALSE(runsWithoutSystemCalls([] { getppid(); }));
}

}  // namespace
}  // namespace platform::testing
