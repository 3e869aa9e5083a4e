// SPDX-License-Identifier: MIT
//
// A crash leaves the name of the signal and a stack trace on the console, then ends the process as
// the signal would have. Sanitizers bring their own, better reports: theirs are left in place.
#include "platform/runtime/crash.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <memory>

#include "platform/contract/sil.h"
#include "platform/runtime/signal_name.h"

#if __has_include(<execinfo.h>)
#include <execinfo.h>
#endif

namespace platform {
namespace {

#if defined(MVRP_SANITIZE_ADDRESS) || defined(MVRP_SANITIZE_THREAD)
constexpr bool kSanitizerReports = true;
#else
constexpr bool kSanitizerReports = false;
#endif

constexpr std::size_t kCrashStackBytes = std::size_t{64} * 1024;
constexpr int kLastLinesMs = 50;
constexpr std::array kCrashSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

/// Only what is safe inside a signal handler: no allocation, no buffered output.
void writeText(const char* text) {
    const auto ignored = write(STDERR_FILENO, text, strlen(text));
    (void)ignored;
}

#if __has_include(<execinfo.h>)
/// What writeStack() needs is loaded now, not inside the handler.
void loadWalker() {
    void* frame = nullptr;
    backtrace(&frame, 1);
}
void writeStack() {
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
}
#else
void loadWalker() {}
void writeStack() {
    writeText("(this C library has no way to walk it)\n");
}
#endif

void onCrash(int signalNumber) {
    // What the daemon had to say before it is still being written, by another thread.
    poll(nullptr, 0, kLastLinesMs);
    writeText("mvrp: ended by signal ");
    writeText(signalName(signalNumber));
    writeText("; stack, innermost first:\n");
    writeStack();
    raise(signalNumber);  // the handler was taken away when it was entered
}

struct CrashStack {
    std::unique_ptr<std::byte[]> bytes{new std::byte[kCrashStackBytes]};

    CrashStack() {
        stack_t stack{};
        stack.ss_sp = bytes.get();
        stack.ss_size = kCrashStackBytes;
        sigaltstack(&stack, nullptr);
    }
    ~CrashStack() {
        stack_t stack{};
        stack.ss_flags = SS_DISABLE;
        sigaltstack(&stack, nullptr);
    }
    CrashStack(const CrashStack&) = delete;
    CrashStack& operator=(const CrashStack&) = delete;
    CrashStack(CrashStack&&) = delete;
    CrashStack& operator=(CrashStack&&) = delete;
};

}  // namespace

void useCrashStack() {
    if constexpr (!kSanitizerReports)
        static thread_local const CrashStack stack;
}

}  // namespace platform

void silCatchSegFault() {
    if constexpr (platform::kSanitizerReports)
        return;
    platform::useCrashStack();
    platform::loadWalker();
    struct sigaction action {};
    action.sa_handler = platform::onCrash;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_ONSTACK | SA_NODEFER);
    for (const int signalNumber : platform::kCrashSignals)
        sigaction(signalNumber, &action, nullptr);
}
