// SPDX-License-Identifier: MIT
#include "cli/log/log_lines.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "cli/client/observed.h"
#include "cli/client/safe_text.h"
#include "cli/print/json_document.h"

namespace cli {

namespace {

constexpr std::array kPriorities = {"emergency", "alert",  "critical", "error",
                                    "warning",   "notice", "info",     "debug"};
constexpr u32 kError = 3;
constexpr u32 kWarning = 4;

/// Takes an answer apart from its beginning.
class Reader {
  public:
    explicit Reader(const std::vector<std::byte>& bytes) : rest_(bytes) {}

    template <typename Record>
    Record record() {
        Record taken;
        std::memcpy(&taken, bytes(sizeof taken).data(), sizeof taken);
        return taken;
    }
    std::string text(std::size_t length) {
        const auto taken = bytes(length);
        return safeText({reinterpret_cast<const char*>(taken.data()), taken.size()});
    }

  private:
    std::span<const std::byte> bytes(std::size_t count) {
        if (count > rest_.size())
            throw ConnectionError(
                "the daemon's answer is too short; mvrpctl and mvrp are of different versions");
        const auto taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }

    std::span<const std::byte> rest_;
};

std::string rangesText(Reader& reader, u32 count) {
    std::string text;
    for (; count > 0; count--) {
        const auto first = reader.record<u16>();
        const auto last = reader.record<u16>();
        text += (text.empty() ? "" : ",") + std::to_string(first);
        if (last != first)
            text += "-" + std::to_string(last);
    }
    return text;
}

LogLine takeLine(Reader& reader) {
    const auto record = reader.record<platform::LogRecord>();
    LogLine line;
    line.sequence = record.sequence;
    line.timeMs = record.timeMs;
    line.priority = record.priority;
    line.unit = record.unit;
    line.port = reader.text(record.portBytes);
    line.event = reader.text(record.eventBytes);
    line.text = reader.text(record.textBytes);
    line.vlans = rangesText(reader, record.vlanRanges);
    return line;
}

const char* priorityName(u32 priority) {
    return kPriorities.at(std::min<std::size_t>(priority, kPriorities.size() - 1));
}

/// "90s" as milliseconds.
std::optional<u64> parseAgo(const std::string& text) {
    constexpr std::string_view kUnits = "smhd";
    constexpr std::array<u64, 4> kUnitMs = {1000, 60'000, u64{60} * 60'000, u64{24} * 60 * 60'000};
    constexpr u64 kMost = 100'000;
    u64 number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || number > kMost || end - stop != 1)
        return std::nullopt;
    const auto unit = kUnits.find(*stop);
    return unit == std::string_view::npos ? std::nullopt : std::optional(number * kUnitMs.at(unit));
}

/// Reads the whole text by a format of strptime(). @return whether it is of that form
bool readTime(const std::string& text, const char* format, std::tm& time) {
    std::tm read = time;
    const char* const end = strptime(text.c_str(), format, &read);
    if (end == nullptr || *end != '\0')
        return false;
    time = read;
    return true;
}

u64 toMs(std::tm time) {
    time.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&time);
    return seconds < 0 ? 0 : static_cast<u64>(seconds) * 1000;
}

}  // namespace

LogLines queryLog(Client& client, platform::LogQuery query) {
    LogLines log;
    log.next = query.since;
    for (bool first = true;; first = false) {
        query.since = log.next;
        const Reply reply =
            client.exchange({platform::Request::LogRead, 0, 0, valueOfRecord(query)});
        throwIfRefused(reply);
        Reader reader(reply.value);
        const auto header = reader.record<platform::LogHeader>();
        log.lost |= first && header.lost != 0;
        for (u32 i = 0; i < header.count; i++)
            log.lines.push_back(takeLine(reader));
        if (header.next >= header.newest || header.next == query.since) {
            log.next = std::max(header.next, query.since);
            return log;
        }
        log.next = header.next;
    }
}

std::optional<u64> parseTime(const std::string& text, u64 nowMs) {
    constexpr u64 kDayMs = u64{24} * 60 * 60'000;
    if (const auto ago = parseAgo(text))
        return nowMs - std::min(nowMs, *ago);
    const auto now = static_cast<std::time_t>(nowMs / 1000);
    std::tm today{};
    localtime_r(&now, &today);
    today.tm_sec = 0;
    std::tm time = today;
    if (readTime(text, "%H:%M:%S", time) || readTime(text, "%H:%M", time))
        return toMs(time) > nowMs ? toMs(time) - kDayMs : toMs(time);
    time.tm_hour = time.tm_min = 0;
    for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d"})
        if (readTime(text, format, time))
            return toMs(time);
    return std::nullopt;
}

std::string logLineText(const LogLine& line, const Style& style) {
    const auto seconds = static_cast<std::time_t>(line.timeMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 64> time{};
    const std::size_t used = std::strftime(time.data(), time.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(time.data() + used, time.size() - used, ".%03u",
                  static_cast<unsigned>(line.timeMs % 1000));
    std::string priority = priorityName(line.priority);
    priority.resize(std::max<std::size_t>(priority.size(), 7), ' ');
    const Colour colour = line.priority <= kError     ? Colour::Bad
                          : line.priority == kWarning ? Colour::Warn
                                                      : Colour::Plain;
    return style.paint(Colour::Dim, time.data()) + "  " + style.paint(colour, priority) + "  " +
           line.text + "\n";
}

std::string logJson(const LogLines& log, std::size_t last) {
    Json lines = Json::array();
    const auto orNull = [](const std::string& text) {
        return text.empty() ? Json(nullptr) : Json(text);
    };
    const std::size_t skipped = log.lines.size() - std::min(last, log.lines.size());
    for (std::size_t i = skipped; i < log.lines.size(); i++) {
        const LogLine& line = log.lines[i];
        lines.push_back({
            {"sequence", line.sequence},
            {"time", line.timeMs},
            {"priority", priorityName(line.priority)},
            {"event", orNull(line.event)},
            {"port", line.unit == 0 ? Json(nullptr) : Json(line.unit)},
            {"name", orNull(line.port)},
            {"vlans", orNull(line.vlans)},
            {"text", line.text},
        });
    }
    return finished({{"source", "daemon"}, {"lost", log.lost}, {"lines", lines}});
}

}  // namespace cli
