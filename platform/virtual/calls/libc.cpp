// SPDX-License-Identifier: MIT
//
// The calls of libc through which the daemon reaches the outside, put in place of libc's own by the
// linker: what it prints, the signal it ignores, the socket path it removes.
#include <csignal>
#include <cstdarg>
#include <cstdio>

#include "platform/virtual/state/format.h"
#include "platform/virtual/state/host.h"

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's.
extern "C" {

int __wrap_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
int __wrap_puts(const char* text);
void __wrap_perror(const char* text);
sighandler_t __wrap_signal(int number, sighandler_t handler);
int __wrap_unlink(const char* path);
int __real_unlink(const char* path);

int __wrap_printf(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = scenario::formatText(format, arguments);
    va_end(arguments);
    if (!scenario::scenarioHostBound())  // a test program's own words
        return std::fputs(text.c_str(), stdout);
    scenario::traceEvent("out %s", scenario::quoteText(text).c_str());
    return static_cast<int>(text.size());
}

int __wrap_puts(const char* text) {
    return __wrap_printf("%s\n", text);
}

void __wrap_perror(const char* text) {
    scenario::traceEvent("perror %s", scenario::quoteText(text).c_str());
}

sighandler_t __wrap_signal(int number, sighandler_t handler) {
    scenario::traceEvent("sys signal %d %s", number, handler == SIG_IGN ? "SIG_IGN" : "?");
    return SIG_DFL;
}

int __wrap_unlink(const char* path) {
    if (!scenario::scenarioHostBound())  // of a test program's own
        return __real_unlink(path);
    scenario::traceEvent("sys unlink %s", path);
    return 0;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
