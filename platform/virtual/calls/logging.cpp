// SPDX-License-Identifier: MIT
//
// Logging of the scenario host: every line is an event.
#include "platform/contract/logging.h"

#include <cstdarg>

#include "platform/virtual/state/format.h"
#include "platform/virtual/state/host.h"

namespace {

void traceLog(const char* kind, u32 logId, u32 level, u32 tag, const char* format,
              std::va_list arguments) {
    if (!scenario::tracing())
        return;
    const std::string text = scenario::formatText(format, arguments);
    scenario::traceEvent("%s %08x %u %u %s", kind, logId, level, tag,
                         scenario::quoteText(text).c_str());
}

}  // namespace

void loggingDebugOutput(u32 logId, u32 level, u32 tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    traceLog("log", logId, level, tag, format, arguments);
    va_end(arguments);
}

void loggingLogOutput(u32 logId, u32 level, u32 tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    traceLog("iflog", logId, level, tag, format, arguments);
    va_end(arguments);
}
