// SPDX-License-Identifier: MIT
//
// Many clients against a daemon whose protocol task is busy with the same lock: for the thread
// sanitizer, and for the promise that requests slip in.
#include <atomic>

#include "platform/contract/sil.h"
#include "tests/unit/channel/server_fixture.h"

namespace platform {
namespace {

using ServerThreads = ServerFixture;

TEST_F(ServerThreads, RequestsOfManyClientsSlipInBetweenTheWorkOfABusyTask) {
    constexpr u32 kClients = 4;
    constexpr u32 kRounds = 300;
    u32 counter = 0;  // guarded by the daemon's lock
    dispatcher_.registerRequest(
        Request::PortList, [&counter](const RequestHeader&, std::span<const u8>, std::vector<u8>&) {
            silTakeSem(fake::daemon().sem, -1);
            const u32 value = ++counter;
            silGiveSem(fake::daemon().sem);
            return value == 0 ? 1U : 0U;
        });
    start();
    std::atomic<bool> stop{false};
    std::atomic<u32> frames{0};
    std::thread busy([&] {
        while (!stop) {
            silTakeSem(fake::daemon().sem, -1);
            frames++;
            counter |= 0;
            silGiveSem(fake::daemon().sem);
        }
    });
    while (frames == 0)
        std::this_thread::yield();
    std::vector<std::thread> threads;
    for (u32 index = 0; index < kClients; index++)
        threads.emplace_back([this] {
            ChannelClient client(path_);
            for (u32 round = 0; round < kRounds; round++)
                ASSERT_EQ(client.call(Request::PortList, 0, 0).status, 0U);
        });
    for (auto& thread : threads)
        thread.join();
    stop = true;
    busy.join();
    EXPECT_EQ(counter, kClients * kRounds);
}

}  // namespace
}  // namespace platform
