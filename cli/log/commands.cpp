// SPDX-License-Identifier: MIT
#include <charconv>
#include <chrono>
#include <cstdio>
#include <limits>
#include <thread>

#include "cli/commands/commands.h"
#include "cli/log/log_lines.h"

namespace cli {

namespace {

constexpr auto kLookEvery = std::chrono::milliseconds(250);
constexpr u64 kMostLines = 1'000'000;

u64 nowMs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<u64>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

/// The port may be gone, so it is looked for by what it was called.
void askForPort(const std::string& port, platform::LogQuery& query) {
    if (port.size() >= query.port.size())
        throw UsageError("'" + port + "' is too long for the name of a port");
    port.copy(query.port.data(), port.size());
    const char* const end = port.data() + port.size();
    u32 unit = 0;
    const auto [stop, error] = std::from_chars(port.data(), end, unit);
    if (error == std::errc() && stop == end)
        query.unit = unit;
}

platform::LogQuery queryOf(const Context& context) {
    platform::LogQuery query{};
    if (context.has("port"))
        askForPort(context.value("port"), query);
    if (context.has("vlan"))
        query.vid =
            static_cast<u32>(context.number("vlan", platform::kFirstVlan, platform::kLastVlan));
    if (context.has("since")) {
        const auto since = parseTime(context.value("since"), nowMs());
        if (!since)
            throw UsageError("'" + context.value("since") + "' is no time; allowed is " +
                             kTimesAllowed);
        query.fromMs = *since;
    }
    return query;
}

void printLines(const Context& context, const LogLines& log, std::size_t last) {
    const std::size_t skipped = log.lines.size() - std::min(last, log.lines.size());
    std::string text;
    for (std::size_t i = skipped; i < log.lines.size(); i++)
        text += logLineText(log.lines[i], context.style);
    context.print(text);
}

/// Prints what is new until it is ended.
[[noreturn]] void follow(const Context& context, platform::LogQuery query) {
    for (;;) {
        if (std::fflush(stdout) != 0)
            throw UsageError("nobody reads the output any more");
        std::this_thread::sleep_for(kLookEvery);
        const LogLines log = queryLog(context.client, query);
        printLines(context, log, log.lines.size());
        query.since = log.next;
    }
}

void logCommand(const Context& context) {
    if (context.json && context.has("follow"))
        throw UsageError("--follow prints lines as they come; `mvrpctl -j watch` does so in JSON");
    platform::LogQuery query = queryOf(context);
    const auto last = context.has("lines")
                          ? static_cast<std::size_t>(context.number("lines", 0, kMostLines))
                          : std::numeric_limits<std::size_t>::max();
    const LogLines log = queryLog(context.client, query);
    if (log.lines.empty() && context.has("port"))
        findPort(context.client, context.value("port"));
    if (context.json)
        return context.print(logJson(log, last));
    context.print(
        context.style.paint(
            Colour::Dim, log.lost
                             ? "# older lines are no longer kept by the daemon; all of them:\n"
                               "# journalctl -u mvrp"
                             : "# kept by the daemon since its start; before: journalctl -u mvrp") +
        "\n");
    printLines(context, log, last);
    query.since = log.next;
    if (context.has("follow"))
        follow(context, query);
}

std::string logDetails() {
    return "The daemon keeps its latest 1024 lines, and these are read, not the journal. A "
           "service's\n"
           "journal has all of them, with fields: journalctl -u mvrp MVRP_PORT=swp3 MVRP_VLAN=20\n"
           "Times: " +
           std::string(kTimesAllowed) + ".\n";
}

constexpr Command kCommands[] = {
    {"log",
     "what the daemon said lately: VLANs, links, neighbours, settings",
     {},
     logCommand,
     logDetails,
     {{{"--port", "PORT", "lines about this port only; it may be gone"},
       {"--vlan", "VLAN", "lines about this VLAN only"},
       {"--since", "TIME", "no earlier lines: 10m, 2h, 14:30, 2026-11-22"},
       {"--lines", "N", "the last N of them"},
       {"--follow", nullptr, "go on with lines as they come"}}}},
};

}  // namespace

constinit const std::span<const Command> kLogCommands = kCommands;

}  // namespace cli
