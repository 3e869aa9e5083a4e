// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/contract/logging.h"
#include "platform/runtime/ending.h"
#include "platform/runtime/log.h"
#include "platform/runtime/log_book.h"
#include "platform/runtime/log_line.h"

namespace platform {
namespace {

constexpr std::string_view kLineEnds = "\r\n";
constexpr u32 kNoLogId = 0;
constexpr u32 kLeastPriority = static_cast<u32>(LogPriority::Debug);

/// There until the end of the process, past all destructors.
ConsoleSink* consoleSink = nullptr;
LineSink* lineSink = nullptr;
LogBook* book = nullptr;

const char* priorityName(LogPriority priority) {
    switch (priority) {
        case LogPriority::Error:
            return "error";
        case LogPriority::Warning:
            return "warning";
        case LogPriority::Notice:
            return "notice";
        case LogPriority::Info:
            return "info";
        case LogPriority::Debug:
            return "debug";
    }
    return "critical";  // the more urgent priorities, which only the daemon's levels can name
}

/// systemd names the device and inode of the stream that it connected to its journal; a program
/// started from such a service may have another console all the same.
LogForm detectForm() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat console {};
    if (stream == nullptr || fstat(STDERR_FILENO, &console) != 0)
        return LogForm::Console;
    const std::string own = std::to_string(console.st_dev) + ":" + std::to_string(console.st_ino);
    return own == stream ? LogForm::Journal : LogForm::Console;
}

int formatPrefix(char* line, LogForm form, LogPriority priority) {
    if (form == LogForm::Journal)
        return std::snprintf(line, kMaxLogLine, "<%d>", static_cast<int>(priority));
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    return std::snprintf(line, kMaxLogLine, "%02d:%02d:%02d.%03ld %-7s ", local.tm_hour,
                         local.tm_min, local.tm_sec, now.tv_nsec / 1000000, priorityName(priority));
}

std::string_view strippedText(std::string_view text) {
    const auto first = text.find_first_not_of(kLineEnds);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kLineEnds) - first + 1);
}

void writeFormatted(LogLine line, const char* format, va_list arguments) {
    std::array<char, kMaxLogLine> text;
    // The callers have started the list. NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int wanted = std::vsnprintf(text.data(), text.size(), format, arguments);
    const auto length =
        std::clamp<std::size_t>(static_cast<std::size_t>(std::max(wanted, 0)), 0, text.size() - 1);
    line.text = {text.data(), length};
    writeLog(line);
}

}  // namespace

u32 formatLogLine(char* line, LogForm form, LogPriority priority, u32 logId,
                  std::string_view text) {
    auto used = static_cast<std::size_t>(formatPrefix(line, form, priority));
    if (logId != kNoLogId)
        used += static_cast<std::size_t>(
            std::snprintf(line + used, kMaxLogLine - used, "%08x ", logId));
    used += cleanLogText(text, {line + used, kMaxLogLine - used - 1}).size();
    line[used++] = '\n';
    return static_cast<u32>(used);
}

std::string_view cleanLogText(std::string_view text, std::span<char> room) {
    const std::string_view kept = strippedText(text).substr(0, room.size());
    std::ranges::transform(kept, room.begin(), [](char character) {
        return static_cast<unsigned char>(character) < ' ' ? ' ' : character;
    });
    return {room.data(), kept.size()};
}

void writeLog(const LogLine& line) {
    std::array<char, kMaxLogLine> text;
    std::array<char, 64> port;
    LogLine clean = line;
    clean.text = cleanLogText(line.text, text);
    clean.port = cleanLogText(line.port, port);
    if (book != nullptr && clean.priority != LogPriority::Debug)
        book->add(clean);
    if (clean.event != LogEvent::None && lineSink != nullptr && lineSink->put(clean))
        return;
    std::array<char, kMaxLogLine> written;
    const u32 length =
        formatLogLine(written.data(), logForm(), clean.priority, clean.logId, clean.text);
    writeConsole(ConsoleStream::Error, {written.data(), length});
}

std::unique_ptr<LineSink> setLineSink(std::unique_ptr<LineSink> sink) {
    return std::unique_ptr<LineSink>(std::exchange(lineSink, sink.release()));
}

void keepLog() {
    book = std::make_unique<LogBook>().release();
}

const LogBook* logBook() {
    return book;
}

LogForm logForm() {
    static const LogForm form = detectForm();
    return form;
}

void setConsoleSink(std::unique_ptr<ConsoleSink> sink) {
    consoleSink = sink.release();
}

bool writeConsole(ConsoleStream stream, std::string_view text) {
    if (consoleSink != nullptr)
        return consoleSink->put(stream, text);
    if (stream == ConsoleStream::Error)
        return write(STDERR_FILENO, text.data(), text.size()) >= 0;
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
}

bool flushConsole(std::chrono::milliseconds within) {
    return consoleSink == nullptr || consoleSink->flush(within);
}

void logMessage(LogPriority priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeFormatted({.priority = priority}, format, arguments);
    va_end(arguments);
}

void logEvent(LogPriority priority, LogEvent event, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeFormatted({.priority = priority, .event = event}, format, arguments);
    va_end(arguments);
}

void leaveProcess(int status) {
    constexpr std::chrono::milliseconds kLastLines{200};
    if (consoleSink == nullptr)
        std::fflush(nullptr);
    flushConsole(kLastLines);
    _exit(status);
}

std::string errorText(int error) {
    return std::generic_category().message(error);
}

}  // namespace platform

using namespace platform;

void loggingDebugOutput(u32 logId, u32, u32, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeFormatted({.priority = LogPriority::Debug, .logId = logId}, format, arguments);
    va_end(arguments);
}

void loggingLogOutput(u32 logId, u32 level, u32, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const auto priority = static_cast<LogPriority>(std::min(level, kLeastPriority));
    writeFormatted({.priority = priority, .logId = logId}, format, arguments);
    va_end(arguments);
}
