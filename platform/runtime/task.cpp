// SPDX-License-Identifier: MIT
//
// The contract's tasks: detached threads. They leave the signals of the process to the signal task.
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <new>

#include "platform/contract/sil.h"
#include "platform/runtime/crash.h"

namespace {

/// Library calls need more stack on this host than the daemon reckons with; untouched pages cost
/// nothing.
constexpr std::size_t kLeastStackBytes = std::size_t{1} << 20;

/// Longest thread name of the kernel, with its end.
constexpr std::size_t kThreadNameBytes = 16;

struct TaskStart {
    void (*entry)(void*);
    void* argument;
    std::array<char, kThreadNameBytes> name;
};

void* runTask(void* argument) {
    const std::unique_ptr<TaskStart> start(static_cast<TaskStart*>(argument));
    pthread_setname_np(pthread_self(), start->name.data());
    platform::useCrashStack();
    start->entry(start->argument);
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

int startDetached(std::size_t stackBytes, TaskStart* start) {
    pthread_attr_t attributes;
    int status = pthread_attr_init(&attributes);
    if (status != 0)
        return status;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, stackBytes);
    const sigset_t held = processSignals();
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, &held, &before);
    pthread_t thread{};
    status = pthread_create(&thread, &attributes, runTask, start);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return status;
}

}  // namespace

u32 silCreateTask(const char* name, u32, u32 stackSize, void (*entry)(void*), void* argument, u32,
                  u32* taskId) {
    static std::atomic<u32> lastTaskId{0};
    std::unique_ptr<TaskStart> start(new (std::nothrow) TaskStart{entry, argument, {}});
    if (start == nullptr || entry == nullptr)
        return kStatusFailed;
    for (std::size_t at = 0; at + 1 < kThreadNameBytes && name[at] != '\0'; at++)
        start->name[at] = name[at];
    const u32 id = ++lastTaskId;
    if (startDetached(std::max<std::size_t>(stackSize, kLeastStackBytes), start.get()) != 0)
        return kStatusFailed;
    (void)start.release();  // the task owns it now
    if (taskId != nullptr)
        *taskId = id;
    return kStatusOk;
}
