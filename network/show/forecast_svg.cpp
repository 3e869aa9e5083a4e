// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>

#include "network/show/forecast.h"

namespace network {

namespace {

// Lengths in pixels of the picture.
constexpr u64 kWidth = 900;
constexpr u64 kLeft = 300;  ///< room for the names
constexpr u64 kRight = 20;
constexpr u64 kTop = 60;
constexpr u64 kRow = 22;
constexpr u64 kBar = 12;
constexpr u64 kCurve = 120;
constexpr std::size_t kMostRows = 30;
constexpr std::size_t kSlots = 120;
constexpr std::size_t kMostName = 44;  ///< characters

constexpr const char* kStyle =
    "<style>text{font:12px sans-serif;fill:#222}.h{font-size:15px;font-weight:bold}"
    ".n{text-anchor:end}.a{stroke:#999;stroke-width:1}.i{fill:#c2491d}.l{fill:#8d1d1d}"
    ".c{fill:#2b7d4f}.m{fill:#1f6fb2}.p{fill:#fff}"
    "@media(prefers-color-scheme:dark){text{fill:#ddd}.a{stroke:#666}.p{fill:#16181c}"
    ".i{fill:#e27a51}.l{fill:#d65555}.c{fill:#58b582}.m{fill:#62a8e0}}</style>";

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text)
        result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '"' ? "&quot;" : std::string(1, c);
    return result;
}

std::string shortened(const std::string& text) {
    return text.size() <= kMostName ? text : text.substr(0, kMostName - 3) + "...";
}

std::string textAt(u64 x, u64 y, const char* kind, const std::string& text) {
    return "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" class=\"" + kind +
           "\">" + escaped(text) + "</text>\n";
}

std::string boxAt(u64 x, u64 y, u64 width, u64 height, const char* kind, const std::string& title) {
    return "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
           std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" class=\"" + kind +
           "\"><title>" + escaped(title) + "</title></rect>\n";
}

/// From milliseconds to pixels.
struct Scale {
    u64 mostMs = 1;

    u64 at(u64 ms) const {
        return kLeft + (kWidth - kLeft - kRight) * std::min(ms, mostMs) / mostMs;
    }
};

Scale scaleOf(const Forecast& forecast) {
    u64 mostMs = std::max<u64>(forecast.quietMs.middle, 1);
    for (const Reach& reach : forecast.reaches)
        mostMs = std::max(mostMs, reach.fromMs + reach.forMs);
    return {mostMs + mostMs / 10};
}

std::string rowOf(const Reach& reach, const Scale& scale, u64 y) {
    const std::string vlans = platform::formatVlanRanges(reach.vlans);
    const std::string title = vlans + ": " + sidesText(reach) + ", " + reachText(reach);
    const bool lasts = reach.kind != ReachKind::Interrupted;
    const u64 from = scale.at(reach.fromMs);
    const u64 until = lasts ? scale.at(scale.mostMs) : scale.at(reach.fromMs + reach.forMs);
    const char* kind = reach.kind == ReachKind::Lost          ? "l"
                       : reach.kind == ReachKind::Interrupted ? "i"
                                                              : "c";
    return textAt(kLeft - 10, y + kBar - 2, "n", shortened(vlans + ": " + sidesText(reach))) +
           boxAt(from, y, std::max<u64>(until - from, 2), kBar, kind, title);
}

std::string axisOf(const Scale& scale, u64 y) {
    constexpr u64 kMarks = 5;
    std::string svg = "<path class=\"a\" d=\"M" + std::to_string(kLeft) + " " + std::to_string(y) +
                      "H" + std::to_string(kWidth - kRight) + "\"/>\n";
    for (u64 mark = 0; mark <= kMarks; ++mark) {
        const u64 ms = scale.mostMs * mark / kMarks;
        svg += textAt(scale.at(ms) - (mark == kMarks ? 40 : 0), y + 16, "", secondsText(ms) + " s");
    }
    return svg;
}

std::string changesOf(const Forecast& forecast, const Scale& scale, u64 y) {
    const std::vector<TimeSlot> slots = slotsOf(forecast, kSlots);
    u64 most = 1;
    for (const TimeSlot& slot : slots)
        most = std::max(most, slot.changes);
    std::string svg = textAt(kLeft - 10, y + kCurve / 2, "n", "memberships that come or go");
    const u64 lengthMs = slots.size() > 1 ? slots[1].fromMs : scale.mostMs / kSlots;
    for (const TimeSlot& slot : slots) {
        if (slot.changes == 0)
            continue;
        const u64 height = std::max<u64>(kCurve * slot.changes / most, 1);
        const u64 x = scale.at(slot.fromMs);
        svg += boxAt(x, y + kCurve - height, std::max<u64>(scale.at(slot.fromMs + lengthMs) - x, 2),
                     height, "m",
                     secondsText(slot.fromMs) + " s: " + std::to_string(slot.changes) +
                         " memberships, " + std::to_string(slot.frames) + " frames");
    }
    return svg;
}

}  // namespace

std::string forecastSvg(const Forecast& forecast) {
    const Scale scale = scaleOf(forecast);
    std::string changes;
    for (const std::string& change : forecast.changes)
        changes += (changes.empty() ? "" : "; ") + change;
    std::string body =
        textAt(20, 26, "h", changes) +
        textAt(20, 46, "",
               (forecast.ended ? "quiet after " + secondsText(forecast.quietMs.middle) + " s"
                               : "never quiet") +
                   ", " + std::to_string(forecast.mostFrames.middle) +
                   " frames on the busiest port");
    u64 y = kTop;
    const std::size_t rows = std::min(forecast.reaches.size(), kMostRows);
    for (std::size_t i = 0; i < rows; ++i, y += kRow)
        body += rowOf(forecast.reaches[i], scale, y);
    if (rows < forecast.reaches.size()) {
        body += textAt(kLeft, y + kBar, "",
                       "and " + std::to_string(forecast.reaches.size() - rows) + " more");
        y += kRow;
    }
    body += changesOf(forecast, scale, y);
    y += kCurve;
    body += axisOf(scale, y);
    const std::string size = std::to_string(kWidth) + " " + std::to_string(y + 30);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size + "\">\n" + kStyle +
           "\n<rect class=\"p\" width=\"100%\" height=\"100%\"/>\n" + body + "</svg>\n";
}

}  // namespace network
