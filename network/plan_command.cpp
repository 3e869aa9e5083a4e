// SPDX-License-Identifier: MIT
#include "network/plan_command.h"

#include <iostream>

#include "cli/client/safe_text.h"
#include "network/show/forecast.h"

namespace network {

namespace {

constexpr u32 kMostDelayMs = 1000;
constexpr u64 kMostOutageMs = 3'600'000;
/// Beyond, timers have drifted.
constexpr u64 kMostAfterMs = 3'600'000;

/// What the snapshots say and the simulation does not come to; a line each.
void sayUnlike(const Forecast& forecast) {
    for (const std::string& problem : forecast.problems)
        std::cerr << "mvrp-net: " << problem << "\n";
    for (const Difference& found : forecast.unlike)
        std::cerr << "mvrp-net: " << found.where << ": " << found.what << " is " << found.before
                  << " in the snapshot, and " << found.after
                  << " in the simulation that the forecast begins with\n";
}

}  // namespace

void addPlanOptions(CLI::App& command, PlanOptions& options) {
    const auto add = [&command](const char* name, std::vector<std::string>& words, const char* form,
                                const char* help) {
        command.add_option(name, words, help)
            ->type_name(form)
            ->expected(1)
            ->take_all()
            ->allow_extra_args(false);
    };
    add("--cut", options.words.cut, "A:B",
        "the cable between switch A and its port, or switch, B goes down");
    add("--mend", options.words.mend, "A:B", "the cable comes up");
    add("--restart", options.words.restart, "S", "switch S goes away and comes back");
    add("--delete", options.words.remove, "S:VLANS", "VLANs are static on S no longer");
    add("--add", options.words.add, "S:VLANS", "VLANs become static on S");
    add("--times", options.words.times, "[S[:PORT]:]join=MS,leave=MS,leave-all=MS",
        "times of all ports, those of S, or one; in force before the other changes");
    command
        .add_option("--outage", options.settings.outageMs,
                    "milliseconds that --restart takes; default: 500")
        ->check(CLI::Range(u64{0}, kMostOutageMs))
        ->type_name("MS");
    command
        .add_option("--after", options.settings.afterMs,
                    "milliseconds from the newest snapshot to the change; default: any moment of "
                    "a LeaveAll time")
        ->check(CLI::Range(u64{0}, kMostAfterMs))
        ->type_name("MS");
    command
        .add_option("--delay", options.settings.delayMs, "milliseconds of each cable; default: 1")
        ->check(CLI::Range(0U, kMostDelayMs))
        ->type_name("MS");
    command
        .add_option("--runs", options.settings.runs,
                    "how often, as chance has a part in it; default: 5")
        ->check(CLI::Range(1U, kMostRuns))
        ->type_name("N");
}

std::string plan(const Network& network, const PlanOptions& options, bool json) {
    if (options.words.empty())
        throw ChangeError(
            "what is to be changed? allowed are --cut, --mend, --restart, --delete, --add and "
            "--times, together as well");
    const std::vector<Change> changes = readChanges(network, options.words);
    const Forecast forecast = forecastOf(network, changes, options.settings);
    sayUnlike(forecast);
    std::cout << (json ? forecastJson(network, forecast)
                       : forecastText(forecast, cli::styleOfOutput()));
    return forecastSvg(forecast);
}

}  // namespace network
