// SPDX-License-Identifier: MIT
#include "daemon/base/packet_dump.h"

#include <cstdio>

#include "daemon/base/trace.h"

namespace {

constexpr u32 kDumpTagStart = 30;
constexpr u32 kDumpTagData = 31;
constexpr u32 kDumpTagEnd = 29;

constexpr s32 kBytesPerLine = 16;
constexpr char kLineEnd[] = "\r\n";
/// "%02x " of each byte, the line end and the terminator.
constexpr size_t kLineBytes = size_t{kBytesPerLine} * 3 + sizeof(kLineEnd);

constexpr u32 kDumpLogId = kMvrpLogBase + MVRP_LOG_TRACE;

/// Logs `count` bytes as one line. Only a line with another behind it is ended.
void mvrpDumpLine(const u8* bytes, s32 count, const char* lineEnd) {
    char line[kLineBytes] = "";
    size_t used = 0;
    for (s32 i = 0; i < count; ++i)
        used += static_cast<size_t>(snprintf(line + used, sizeof(line) - used, "%02x ", bytes[i]));
    snprintf(line + used, sizeof(line) - used, "%s", lineEnd);
    loggingDebugOutput(kDumpLogId, gMvrpInfo.logLevel[MVRP_LOG_TRACE], kDumpTagData, "%s", line);
}

}  // namespace

void mvrpPrintPacket(const u8* frame, s32 length) {
    if ((gMvrpInfo.debug & MVRP_DEBUG_PACKET) == 0)
        return;
    const u8 level = gMvrpInfo.logLevel[MVRP_LOG_TRACE];
    loggingDebugOutput(kDumpLogId, level, kDumpTagStart, "pkt print start(len %u):\r\n", length);
    s32 at = 0;
    for (; at + kBytesPerLine < length; at += kBytesPerLine)
        mvrpDumpLine(frame + at, kBytesPerLine, kLineEnd);
    mvrpDumpLine(frame + at, length - at, "");
    loggingDebugOutput(kDumpLogId, level, kDumpTagEnd, "\r\n===pkt print end===\r\n");
}
