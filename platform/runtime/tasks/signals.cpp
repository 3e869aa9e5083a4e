// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/signals.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "platform/contract/process.h"
#include "platform/runtime/ending.h"
#include "platform/runtime/log.h"
#include "platform/runtime/process_runtime.h"
#include "platform/runtime/signal_name.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kSignalTaskStack = 256 * 1024;

sigset_t takenSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGUSR1);
    sigaddset(&set, SIGHUP);
    return set;
}

/// The daemon's tasks can not be asked to end, so the process goes without running destructors
/// under their feet.
[[noreturn]] void endProcess(int signalNumber) {
    logMessage(LogPriority::Notice, "SIG%s: ending", signalName(signalNumber));
    if (processRuntime().onEnd)
        processRuntime().onEnd(signalNumber == SIGUSR1 ? Ending::Restart : Ending::Stop);
    leaveProcess(0);
}

void signalTask() {
    const sigset_t set = takenSignals();
    for (;;) {
        int signalNumber = 0;
        if (sigwait(&set, &signalNumber) != 0)
            continue;
        if (signalNumber != SIGHUP)
            endProcess(signalNumber);
        if (processRuntime().onReload)
            processRuntime().onReload();
    }
}

}  // namespace

void holdSignals() {
    const sigset_t set = takenSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

}  // namespace platform

void patchSignalHandler() {
    using namespace platform;
    holdSignals();
    if (!startThread("signals", kSignalTaskStack, signalTask))
        logMessage(LogPriority::Error,
                   "no thread for signals: SIGTERM, SIGINT, SIGUSR1 and SIGHUP wait");
}
