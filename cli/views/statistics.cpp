// SPDX-License-Identifier: MIT
#include "cli/views/statistics.h"

#include <algorithm>
#include <numeric>

#include "cli/print/words.h"

namespace cli {

constexpr std::array<CounterName, platform::kWireEventCount> kEventNames = {{
    {"new", "New"},
    {"joinIn", "JoinIn"},
    {"in", "In"},
    {"joinMt", "JoinMt"},
    {"mt", "Mt"},
    {"lv", "Lv"},
    {"leaveAll", "LeaveAll"},
    {"gvrpJoinEmpty", "GVRP JoinEmpty"},
    {"gvrpJoinIn", "GVRP JoinIn"},
    {"gvrpLeaveEmpty", "GVRP LeaveEmpty"},
    {"gvrpLeaveIn", "GVRP LeaveIn"},
    {"gvrpEmpty", "GVRP Empty"},
}};

constexpr std::array<CounterName, platform::kWireFormCount> kFormNames = {{
    {"native", "MVRP, native form"},
    {"ieee", "MVRP, IEEE form"},
    {"gvrp", "GVRP"},
}};

constexpr std::array<CounterName, platform::kWireDropCount> kDropNames = {{
    {"none", "none"},
    {"tooShort", "too short for a frame"},
    {"tooLong", "too long for a frame"},
    {"otherDestination", "other destination"},
    {"tagged", "VLAN-tagged"},
    {"otherType", "neither MVRP nor GVRP"},
    {"badLength", "length contradicts the frame"},
    {"badPdu", "PDU breaks off or contradicts itself"},
    {"noVector", "PDU says nothing about VLANs"},
    {"overBudget", "more PDUs than the port takes"},
}};

constexpr std::array<CounterName, platform::kFailedRegistrationCount> kFailureNames = {{
    {"notPermitted", "not on the permit list"},
    {"forbidden", "registration mode forbidden"},
    {"fixed", "registration mode fixed"},
    {"switchRefused", "the switch refused"},
    {"tooMany", "as many as the port may register"},
}};

namespace {

constexpr std::array<bool, platform::kWireDropCount> kMalformed = {false, true, true, false, false,
                                                                   false, true, true, true,  false};

std::string number(u64 count) {
    return std::to_string(count);
}

/// Rows of what was counted in and out; those of zero are left out.
void addRows(Table& table, std::span<const CounterName> names, std::span<const u64> in,
             std::span<const u64> out) {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (in[i] != 0 || out[i] != 0)
            table.add({std::string("  ") + names[i].words, number(in[i]), number(out[i])});
}

/// "3 (2 not on the permit list, 1 registration mode fixed)"
Cell withReasons(std::span<const CounterName> names, std::span<const u64> counts) {
    const u64 total = sumOf(counts);
    std::string reasons;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (counts[i] != 0)
            reasons += (reasons.empty() ? "" : ", ") + number(counts[i]) + " " + names[i].words;
    return total == 0 ? Cell("0") : Cell(number(total) + " (" + reasons + ")", Colour::Bad);
}

const char* failureWords(const platform::PortStatisticsRecord& record) {
    return record.lastFailedReason < kFailureNames.size()
               ? kFailureNames.at(record.lastFailedReason).words
               : "refused";
}

std::string portText(const PortStatistics& port, const Style& style) {
    const platform::PortStatisticsRecord& r = port.record;
    Table table({"", ">In", ">Out"});
    table.add({"PDUs", number(sumOf(r.pdusIn)), number(sumOf(r.pdusOut))});
    addRows(table, kFormNames, r.pdusIn, r.pdusOut);
    table.add({"Bytes", number(r.bytesIn), number(r.bytesOut)});
    table.add({"Events", number(sumOf(r.eventsIn)), number(sumOf(r.eventsOut))});
    addRows(table, kEventNames, r.eventsIn, r.eventsOut);

    std::array<u64, platform::kWireDropCount> malformed{};
    std::array<u64, platform::kWireDropCount> foreign{};
    for (std::size_t i = 0; i < malformed.size(); ++i)
        (isMalformed(i) ? malformed : foreign).at(i) = r.drops.at(i);
    const auto alarming = [](u64 count) {
        return Cell(number(count), count == 0 ? Colour::Plain : Colour::Bad);
    };
    Sheet sheet;
    sheet.add("Malformed", withReasons(kDropNames, malformed));
    Cell others = withReasons(kDropNames, foreign);
    others.colour = Colour::Plain;
    sheet.add("Not for us", others);
    sheet.add("Failed registrations", withReasons(kFailureNames, r.failed));
    if (r.lastFailedVid != 0)
        sheet.add("Last of them", "VLAN " + number(r.lastFailedVid) + " of " +
                                      formatMac(r.lastFailedOrigin) + ", " +
                                      agoText(r.lastFailedMs) + ": " + failureWords(r));
    sheet.add("Lost: daemon too slow", alarming(r.overflow));
    sheet.add("Taken by a tunnel", number(r.tunnelled));
    sheet.add("Other protocol", number(r.notEnabled));
    sheet.add("Not sent", alarming(r.sendFailed));
    sheet.add("Last PDU", r.lastPduMs == platform::kNever ? Cell("none yet", Colour::Dim)
                                                          : Cell(agoText(r.lastPduMs) + ", from " +
                                                                 formatMac(r.lastPduOrigin)));
    return style.paint(Colour::Strong, port.port.name.data()) + ", counted for " +
           durationText(r.sinceMs) + "\n" + table.print(style) + sheet.print(style);
}

}  // namespace

bool isMalformed(std::size_t dropReason) {
    return kMalformed.at(dropReason);
}

u64 sumOf(std::span<const u64> counters) {
    return std::accumulate(counters.begin(), counters.end(), u64{0});
}

std::string statisticsText(const std::vector<PortStatistics>& ports, const Style& style) {
    std::string text;
    for (const PortStatistics& port : ports)
        text += (text.empty() ? "" : "\n") + portText(port, style);
    return text.empty() ? "The switch has no ports.\n" : text;
}

}  // namespace cli
