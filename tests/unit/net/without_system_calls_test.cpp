// SPDX-License-Identifier: MIT
//
// What the sockets do without asking the kernel: in a child that may only read, write and end.
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/net/cables/open_cable.h"
#include "tests/scratch_directory.h"
#include "tests/unit/net/sockets_harness.h"

namespace platform {
namespace {

/// Runs what returns whether it was as expected, where any other system call ends it.
template <typename Work>
void runWithoutSystemCalls(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0)
            _exit(2);
        syscall(SYS_exit, work() ? 0 : 3);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// The yield test of the daemon's batches asks between any two frames.
TEST_F(SocketLayerTest, BytesWaitingAndReadyRingsNeedNoSystemCall) {
#if defined(MVRP_SANITIZE_ADDRESS) || defined(MVRP_SANITIZE_THREAD)
    GTEST_SKIP() << "the sanitizers make system calls of their own";
#endif
    layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame);
    layer_.deliver(SocketKind::Mvrp, groupMeta(), kFrame);
    runWithoutSystemCalls([this] {
        fd_set read;
        std::array<u8, 64> buffer;
        return waiting(mvrp_) > 0 && waiting(route_) == 0 && waitForAny(read, 0) == 1 &&
               qor_recv(mvrp_, buffer.data(), buffer.size(), 0) > 0;
    });
}

TEST(CrowdedCable, FrameThatFindsNoRoomNeedsNoSystemCall) {
#if defined(MVRP_SANITIZE_ADDRESS) || defined(MVRP_SANITIZE_THREAD)
    GTEST_SKIP() << "the sanitizers make system calls of their own";
#endif
    const ScratchDirectory directory;
    CableFailure failure;
    const CableConfig there{CableKind::Unix, directory.path("a"), directory.path("b"), ""};
    const CableConfig back{CableKind::Unix, directory.path("b"), directory.path("a"), ""};
    const auto cable = openCable(there, {}, failure);
    const auto neighbour = openCable(back, {}, failure);
    ASSERT_TRUE(cable != nullptr && neighbour != nullptr) << failure.text;
    while (cable->send(kFrame, NoRoom::Keep) == 0) {
    }
    runWithoutSystemCalls([&] {
        return cable->send(kFrame, NoRoom::Keep) == ENOBUFS &&
               cable->send(kFrame, NoRoom::Drop) == ENOBUFS;
    });
}

}  // namespace
}  // namespace platform
