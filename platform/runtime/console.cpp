// SPDX-License-Identifier: MIT
#include "platform/runtime/console.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "platform/runtime/log.h"

namespace platform {
namespace {

thread_local ConsoleCapture* callerCapture = nullptr;

int printed(ConsoleStream console, std::string_view text) {
    if (callerCapture != nullptr)
        callerCapture->append(text);
    return writeConsole(console, text) ? static_cast<int>(text.size()) : EOF;
}

}  // namespace

ConsoleCapture::ConsoleCapture(std::size_t limit)
    : limit_(std::max(limit, kCaptureCut.size()) - kCaptureCut.size()) {
    callerCapture = this;
}

ConsoleCapture::~ConsoleCapture() {
    callerCapture = nullptr;
    std::fflush(stdout);
}

ConsoleCapture* ConsoleCapture::ofCaller() {
    return callerCapture;
}

void ConsoleCapture::append(std::string_view printedText) {
    if (cut_)
        return;
    text_ += printedText.substr(0, limit_ - text_.size());
    cut_ = text_.size() == limit_;
    if (cut_)
        text_ += kCaptureCut;
}

}  // namespace platform

using platform::printed;

extern "C" {

// Named by the linker: every call of NAME in the program arrives at __wrap_NAME.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

int __wrap_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
void __wrap_perror(const char* text);

int __wrap_printf(const char* format, ...) {
    std::array<char, 4096> text;
    va_list arguments;
    va_start(arguments, format);
    const int wanted = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (wanted < 0)
        return wanted;
    return printed(platform::ConsoleStream::Output,
                   {text.data(), std::min(static_cast<std::size_t>(wanted), text.size() - 1)});
}

void __wrap_perror(const char* text) {
    const std::string reason = platform::errorText(errno);
    printed(platform::ConsoleStream::Error, std::string(text) + ": " + reason + "\n");
}

// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

}  // extern "C"
