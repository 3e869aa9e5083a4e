// SPDX-License-Identifier: MIT
#include "platform/host/debug_socket.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "platform/contract/process.h"
#include "platform/runtime/close_hook.h"
#include "platform/runtime/files/paths.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/sem.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kStackBytes = 256 * 1024;
constexpr unsigned kPauseAfterErrorUs = 10'000;

const ShellFunc* functionOf(std::string_view name) {
    const auto found = std::ranges::find_if(
        gMvrpShellMap, [name](const ShellFunc& function) { return name == function.name; });
    return found == gMvrpShellMap.end() ? nullptr : &*found;
}

void serve(const ShellFunc& server) {
    // The request runs between the closing of its connection and the return of the call.
    setCloseHook(semTakeAll);
    for (;;) {
        const bool failed = server.call(0, 0, 0) == kStatusFailed;
        semReleaseHeldByCaller();
        std::fflush(stdout);
        // A request that was cut short, or no descriptor for a connection: do not spin on it.
        if (failed)
            usleep(kPauseAfterErrorUs);
    }
}

/// The socket is for the daemon's own user, as the command channel is.
bool openSocket(const ShellFunc& function) {
    const mode_t before = umask(S_IRWXG | S_IRWXO);
    const bool opened = function.call(0, 0, 0) == kStatusOk;
    umask(before);
    return opened;
}

}  // namespace

void startDebugSocket() {
    const ShellFunc* open = functionOf("mvrpDbgSockInit");
    const ShellFunc* server = functionOf("mvrpDbgServer");
    if (open == nullptr || server == nullptr || !openSocket(*open)) {
        logMessage(LogPriority::Error, "the debug socket could not be opened");
        return;
    }
    if (!startThread("mvrpdbg", kStackBytes, [server] { serve(*server); }))
        logMessage(LogPriority::Error, "no thread for the debug socket");
}

void removeDebugSocket() {
    unlink(runtimePath("/tmp/mvrpdbg.socket").c_str());
}

}  // namespace platform
