// SPDX-License-Identifier: MIT
#include "platform/replication/adoption.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

#include "platform/contract/management.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kWaitStack = 64 * 1024;

/// The number that a request of the daemon's table answers, or nothing when it is refused.
std::optional<u32> read(Dispatcher& dispatcher, Request request, u32 unit, u32 attribute = 0) {
    std::vector<u8> reply;
    u32 value = 0;
    const RequestHeader header{static_cast<u32>(request), unit, attribute, 0};
    if (dispatcher.dispatch(header, {}, reply) != kStatusOk || reply.size() != sizeof value)
        return std::nullopt;
    std::memcpy(&value, reply.data(), sizeof value);
    return value;
}

}  // namespace

std::chrono::milliseconds timeToClaim(Dispatcher& dispatcher) {
    u32 longest = 0;
    for (auto port = read(dispatcher, Request::PortFirst, 0); port;
         port = read(dispatcher, Request::PortNext, *port)) {
        const u32 leave =
            read(dispatcher, Request::PortGet, *port, MVRP_PORT_LEAVE_TIMEOUT).value_or(0);
        const u32 leaveAll =
            read(dispatcher, Request::PortGet, *port, MVRP_PORT_LEAVE_ALL_TIMEOUT).value_or(0);
        longest = std::max(longest, leave + leaveAll);
    }
    return std::chrono::milliseconds(longest);
}

void clearUnclaimedAfter(std::chrono::milliseconds time, SwitchDriver& driver,
                         CommandServer& server) {
    const auto clear = [&driver] {
        const u32 removed = driver.removeUnclaimed();
        logMessage(LogPriority::Notice, "%u adopted memberships that nobody declared were removed",
                   removed);
    };
    const bool started = startThread("mvrpadopt", kWaitStack, [time, clear, &server] {
        std::this_thread::sleep_for(time);
        server.post(clear);
    });
    if (!started)
        logMessage(LogPriority::Error,
                   "no thread to wait for it: the adopted memberships stay until they are removed "
                   "by the protocol");
}

}  // namespace platform
