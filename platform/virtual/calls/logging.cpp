// SPDX-License-Identifier: MIT
//
// Logging of the scenario host: every line is an event.
#include "platform/contract/logging.h"

#include <cstdarg>

#include "platform/virtual/state/format.h"
#include "platform/virtual/state/host.h"

namespace {

void traceLog(const char* kind, u32 logId, u32 level, u32 tag, const std::string& text) {
    scenario::traceEvent("%s %08x %u %u %s", kind, logId, level, tag,
                         scenario::quoteText(text).c_str());
}

}  // namespace

void loggingDebugOutput(u32 logId, u32 level, u32 tag, const char* format, ...) {
    if (!scenario::tracing())
        return;
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = scenario::formatText(format, arguments);
    va_end(arguments);
    traceLog("log", logId, level, tag, text);
}

void loggingLogOutput(u32 logId, u32 level, u32 tag, const char* format, ...) {
    if (!scenario::tracing())
        return;
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = scenario::formatText(format, arguments);
    va_end(arguments);
    traceLog("iflog", logId, level, tag, text);
}
