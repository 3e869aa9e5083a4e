// SPDX-License-Identifier: MIT
#include <algorithm>
#include <map>

#include "network/show/forecast.h"
#include "network/show/show.h"

namespace network {

namespace {

using platform::formatVlanRanges;

constexpr std::size_t kTextSlots = 12;
constexpr u64 kBarColumns = 40;

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::string rangeText(const Range& range, std::string (*format)(u64)) {
    return range.least == range.most ? "" : format(range.least) + " to " + format(range.most);
}

std::string numberText(u64 number) {
    return std::to_string(number);
}

std::string figuresText(const Forecast& forecast, const cli::Style& style) {
    cli::Table table(
        {"What", ">Forecast", "Over " + std::to_string(forecast.runs) + " runs", "Of"});
    table.add({"seconds until quiet",
               forecast.ended ? cli::Cell(secondsText(forecast.quietMs.middle))
                              : cli::Cell("never quiet", cli::Colour::Bad),
               rangeText(forecast.quietMs, secondsText), ""});
    table.add({"frames of the busiest port", numberText(forecast.mostFrames.middle),
               rangeText(forecast.mostFrames, numberText), forecast.busiest});
    table.add({"frames a minute at rest, before", numberText(forecast.restBefore), "",
               "the busiest port"});
    table.add(
        {"frames a minute at rest, after", numberText(forecast.restAfter), "", "the busiest port"});
    return table.print(style);
}

std::string reachesText(const Forecast& forecast, const cli::Style& style) {
    if (forecast.reaches.empty())
        return "No VLAN is interrupted between places that want it.\n";
    cli::Table table({"VLANs", "Between", "What happens"});
    for (const Reach& reach : forecast.reaches)
        table.add(
            {formatVlanRanges(reach.vlans), sidesText(reach),
             cli::Cell(reachText(reach), reach.kind == ReachKind::Connected ? cli::Colour::Good
                                         : reach.kind == ReachKind::Lost    ? cli::Colour::Bad
                                                                            : cli::Colour::Warn)});
    return table.print(style);
}

std::string timeText(const Forecast& forecast) {
    const std::vector<TimeSlot> slots = slotsOf(forecast, kTextSlots);
    u64 most = 0;
    for (const TimeSlot& slot : slots)
        most = std::max(most, slot.changes);
    std::string text;
    for (const TimeSlot& slot : slots) {
        const std::string from = secondsText(slot.fromMs);
        const auto columns =
            static_cast<std::size_t>((slot.changes * kBarColumns + most - 1) / most);
        text += std::string(from.size() < 9 ? 9 - from.size() : 0, ' ') + from + " s" +
                (slot.changes == 0
                     ? ""
                     : "  " + std::string(columns, '#') + " " + std::to_string(slot.changes)) +
                "\n";
    }
    return text.empty() ? "" : "\nMemberships that come or go, from each time on\n" + text;
}

/// A row of a difference, and how it looks at an end: empty where that end has no such row.
using Row = std::pair<std::string, std::string>;

std::map<Row, Difference> rowsOf(const Ending& ending) {
    std::map<Row, Difference> rows;
    for (const Difference& each : ending.differences)
        rows.emplace(Row{each.where, each.what}, each);
    return rows;
}

/// How ends differ from the one that most runs came to, with the number of runs.
std::string otherEndsText(const Forecast& forecast, const cli::Style& style) {
    const auto usual = rowsOf(forecast.endings.front());
    std::map<std::pair<Row, std::string>, u32> others;
    for (const Ending& ending : forecast.endings) {
        const auto rows = rowsOf(ending);
        for (const auto& [row, found] : rows)
            if (const auto known = usual.find(row);
                known == usual.end() || known->second.after != found.after)
                others[{row, found.after}] += ending.runs;
        for (const auto& [row, found] : usual)
            if (!rows.contains(row))
                others[{row, found.before}] += ending.runs;
    }
    cli::Table table({"Where", "What", "Or else", ">Runs"});
    for (const auto& [found, runs] : others)
        table.add({found.first.first, found.first.second, found.second, numberText(runs)});
    return table.print(style);
}

/// Where chance decides, all that came about is said.
std::string endText(const Forecast& forecast, const cli::Style& style) {
    const Ending& usual = forecast.endings.front();
    const bool sure = forecast.endings.size() == 1;
    const std::string often =
        sure ? "" : ", in " + numberText(usual.runs) + " of " + numberText(forecast.runs) + " runs";
    const std::string text =
        usual.differences.empty()
            ? "\nAt the end" + often + (sure ? " " : ", ") + "all is as before.\n"
            : "\nAt the end" + often + "\n" + differencesText(usual.differences, style);
    return sure ? text
                : text + "\nChance decides, within milliseconds. In other runs\n" +
                      otherEndsText(forecast, style);
}

std::string timersText(const Forecast& forecast) {
    if (forecast.portsKnown == 0)
        return "at any moment; the snapshots do not say where LeaveAll timers stand\n";
    return (forecast.afterMs ? secondsText(*forecast.afterMs) + " s after the newest snapshot"
                             : std::string("at any moment of a LeaveAll time")) +
           "; LeaveAll timers are known of " + std::to_string(forecast.portsKnown) + " of " +
           std::to_string(forecast.portsRunning) + " ports\n";
}

}  // namespace

std::string secondsText(u64 ms) {
    constexpr u64 kMsPerSecond = 1000;
    constexpr u64 kMsPerHundredth = 10;
    const u64 rounded = (ms + kMsPerHundredth / 2) / kMsPerHundredth * kMsPerHundredth;
    const std::string part = std::to_string(rounded % kMsPerSecond / kMsPerHundredth);
    return std::to_string(rounded / kMsPerSecond) + "." + (part.size() < 2 ? "0" : "") + part;
}

std::string sidesText(const Reach& reach) {
    return joined(reach.left) + " - " + joined(reach.right);
}

std::string reachText(const Reach& reach) {
    if (reach.kind == ReachKind::Connected)
        return "connected after " + secondsText(reach.fromMs) + " s";
    const std::string from = reach.fromMs == 0 ? "" : ", from " + secondsText(reach.fromMs) + " s";
    if (reach.kind == ReachKind::Lost)
        return "interrupted for good" + from;
    return "interrupted for " + secondsText(reach.forMs) + " s" + from +
           (reach.times > 1 ? ", in " + std::to_string(reach.times) + " parts" : "");
}

std::vector<TimeSlot> slotsOf(const Forecast& forecast, std::size_t count) {
    if (forecast.moments.empty())
        return {};
    std::vector<TimeSlot> slots(count);
    const u64 lengthMs = forecast.moments.back().ms / count + 1;
    for (std::size_t i = 0; i < count; ++i)
        slots[i].fromMs = i * lengthMs;
    for (const Moment& moment : forecast.moments) {
        TimeSlot& slot =
            slots[static_cast<std::size_t>(std::min<u64>(moment.ms / lengthMs, count - 1))];
        slot.changes += moment.changes;
        slot.frames += moment.frames;
    }
    while (!slots.empty() && slots.back().changes == 0 && slots.back().frames == 0)
        slots.pop_back();
    return slots;
}

std::string forecastText(const Forecast& forecast, const cli::Style& style) {
    std::string text;
    for (const std::string& change : forecast.changes)
        text += style.paint(cli::Colour::Strong, change) + "\n";
    text += timersText(forecast) + "\n" + figuresText(forecast, style) + "\n" +
            reachesText(forecast, style) + timeText(forecast);
    return text + endText(forecast, style);
}

}  // namespace network
