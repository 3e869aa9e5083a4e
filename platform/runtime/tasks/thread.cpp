// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/thread.h"

#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <memory>
#include <utility>

#include "platform/runtime/crash.h"

namespace platform {
namespace {

/// Library calls need more stack on this host than the daemon reckons with; untouched pages cost
/// nothing.
constexpr std::size_t kLeastStackBytes = std::size_t{1} << 20;

/// Longest thread name of the kernel, without its end.
constexpr std::size_t kMaxThreadName = 15;

struct ThreadStart {
    std::string name;
    std::function<void()> body;
};

void* runThread(void* argument) {
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
    pthread_setname_np(pthread_self(), start->name.c_str());
    useCrashStack();
    start->body();
    return nullptr;
}

/// All signals but those that a thread brings upon itself, which can not wait.
sigset_t processSignals() {
    sigset_t set;
    sigfillset(&set);
    for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
        sigdelset(&set, own);
    return set;
}

}  // namespace

bool startThread(const std::string& name, u32 stackBytes, std::function<void()> body) {
    auto start =
        std::make_unique<ThreadStart>(ThreadStart{name.substr(0, kMaxThreadName), std::move(body)});
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return false;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, std::max<std::size_t>(stackBytes, kLeastStackBytes));
    const sigset_t held = processSignals();
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, &held, &before);
    pthread_t thread{};
    const int status = pthread_create(&thread, &attributes, runThread, start.get());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (status != 0)
        return false;
    (void)start.release();  // the thread owns it now
    return true;
}

}  // namespace platform
