// SPDX-License-Identifier: MIT
//
// mvrp-simulate: networks of switches with faults in virtual time, each from a seed. Exit status 0;
// 1 when an invariant did not hold; 2 for wrong arguments.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>

#include "platform/virtual/state/words.h"
#include "tests/simulation/run.h"

namespace {

using simulation::Outcome;
using simulation::Plan;
using simulation::Profile;

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr u32 kMostSwitches = 1000;
constexpr u32 kMostJobs = 256;
constexpr std::string_view kUsage =
    "usage: mvrp-simulate [--seed N] [--seeds COUNT|A-B] [--switches S] [--steps K]\n"
    "                     [--profile calm|wild|both|each] [--corrections all|none|NAME,...]\n"
    "                     [--without NAME,...] [--only I,J,...] [--watch S,P,V] [--no-shrink]\n"
    "                     [--jobs J]\n"
    "  --seed N       first seed (1)\n"
    "  --seeds COUNT  so many seeds, one after the other (1); A-B: those from A to B\n"
    "  --switches S   switches, in a tree, 1 to 1000 (10)\n"
    "  --steps K      events before the network is left to come to rest (200)\n"
    "  --profile P    calm: links, cables and VLANs; wild: everything; both: odd seeds\n"
    "                 wild, even ones calm; each: every seed in both, calm first (both)\n"
    "  --corrections  of all daemons; with all of them the rules are exact, and no port between\n"
    "                 two switches that have a VLAN throughout may leave it (none)\n"
    "  --without      the daemons lack these of all corrections, under the same exact rules\n"
    "  --jobs J       so many seeds at a time, in processes of their own (1)\n"
    "  --only LIST    run only these steps of the plan, as a failure names them\n"
    "  --watch S,P,V  print each change of VLAN V on port P of switch S, and what P sends\n"
    "  --no-shrink    report a failure without looking for the shortest list of steps\n";

struct Options {
    u64 seed = 1;
    u64 seeds = 1;
    u64 switches = 10;
    u64 steps = 200;
    u64 jobs = 1;
    std::optional<Profile> profile;
    CorrectionSet corrections;
    std::string correctionsText = "none";
    CorrectionSet without;
    std::string withoutText;
    bool eachProfile = false;
    std::vector<std::size_t> only;
    bool onlyGiven = false;
    bool shrinks = true;
};

bool parse(std::string_view text, u64& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

bool parseList(std::string_view text, std::vector<std::size_t>& list) {
    while (!text.empty()) {
        const auto comma = std::min(text.find(','), text.size());
        u64 number = 0;
        if (!parse(text.substr(0, comma), number))
            return false;
        list.push_back(number);
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return true;
}

bool parseWatch(std::string_view text) {
    std::vector<std::size_t> list;
    if (!parseList(text, list) || list.size() != 3 || list[2] < 1 || list[2] > 4095)
        return false;
    simulation::setWatch(
        {static_cast<u32>(list[0]), static_cast<u32>(list[1]), static_cast<u32>(list[2])});
    return true;
}

bool parseProfile(std::string_view text, Options& options) {
    options.eachProfile = text == "each";
    if (text == "calm")
        options.profile = Profile::Calm;
    else if (text == "wild")
        options.profile = Profile::Wild;
    else
        return text == "both" || options.eachProfile;
    return true;
}

/// How many seeds, or the first and the last of them.
bool parseSeeds(std::string_view text, Options& options) {
    const auto dash = text.find('-');
    if (dash == std::string_view::npos)
        return parse(text, options.seeds);
    u64 last = 0;
    if (!parse(text.substr(0, dash), options.seed) || !parse(text.substr(dash + 1), last) ||
        last < options.seed)
        return false;
    options.seeds = last - options.seed + 1;
    return true;
}

/// @return whether the option and its value were understood
bool take(std::string_view name, std::string_view value, Options& options) {
    if (name == "--seed")
        return parse(value, options.seed);
    if (name == "--seeds")
        return parseSeeds(value, options);
    if (name == "--switches")
        return parse(value, options.switches) && options.switches >= 1 &&
               options.switches <= kMostSwitches;
    if (name == "--steps")
        return parse(value, options.steps);
    if (name == "--jobs")
        return parse(value, options.jobs) && options.jobs >= 1 && options.jobs <= kMostJobs;
    if (name == "--profile")
        return parseProfile(value, options);
    if (name == "--watch")
        return parseWatch(value);
    if (name == "--corrections") {
        options.corrections = scenario::correctionsOf(value);
        options.correctionsText = value;
        return true;
    }
    if (name == "--without") {
        options.without = scenario::correctionsOf(value);
        options.withoutText = value;
        return true;
    }
    options.onlyGiven = true;
    return name == "--only" && parseList(value, options.only);
}

bool parseArguments(int count, char** values, Options& options) {
    for (int at = 1; at < count; at++) {
        const std::string_view name = values[at];
        if (name == "--no-shrink")
            options.shrinks = false;
        else if (at + 1 >= count || !take(name, values[++at], options))
            return false;
    }
    return true;
}

const char* nameOf(Profile profile) {
    return profile == Profile::Calm ? "calm" : "wild";
}

void printSteps(const Plan& plan, const Options& options, const std::vector<std::size_t>& steps) {
    simulation::Network network(plan.seed, plan.corrections);
    buildNetwork(network, plan);
    const std::string without =
        options.withoutText.empty() ? "" : "--without " + options.withoutText + " ";
    std::string list;
    for (const std::size_t index : steps) {
        std::printf("  %zu: %s\n", index, describe(network, plan.steps[index]).c_str());
        list += (list.empty() ? "" : ",") + std::to_string(index);
    }
    std::printf(
        "again: mvrp-simulate --seed %llu --switches %u --steps %zu --profile %s --corrections %s "
        "%s--only '%s'\n",
        static_cast<unsigned long long>(plan.seed), plan.switches, plan.steps.size(),
        nameOf(plan.profile), options.correctionsText.c_str(), without.c_str(), list.c_str());
}

bool runPlanOf(const Options& options, u64 seed, Profile profile) {
    std::printf("seed %llu, %s\n", static_cast<unsigned long long>(seed), nameOf(profile));
    std::fflush(stdout);
    const Plan plan = simulation::makePlan(seed, static_cast<u32>(options.switches),
                                           static_cast<u32>(options.steps), profile,
                                           options.corrections, options.without);
    std::vector<std::size_t> steps(plan.steps.size());
    std::iota(steps.begin(), steps.end(), 0);
    if (options.onlyGiven)
        std::erase_if(steps, [&options](std::size_t index) {
            return std::find(options.only.begin(), options.only.end(), index) == options.only.end();
        });
    Outcome outcome = runPlan(plan, steps);
    if (outcome.problem.empty())
        return true;
    std::printf("FAILED %s: %s\n", outcome.when.c_str(), outcome.problem.c_str());
    std::fflush(stdout);
    if (options.shrinks) {
        constexpr std::size_t kMostRuns = 2000;
        steps.resize(outcome.stepsDone);
        steps = shrink(plan, steps, kMostRuns);
        outcome = runPlan(plan, steps);
        std::printf("the shortest list of steps that fails, %s: %s\n", outcome.when.c_str(),
                    outcome.problem.c_str());
    }
    printSteps(plan, options, steps);
    return false;
}

bool runSeed(const Options& options, u64 seed) {
    if (options.eachProfile)
        return runPlanOf(options, seed, Profile::Calm) && runPlanOf(options, seed, Profile::Wild);
    return runPlanOf(options, seed,
                     options.profile.value_or(seed % 2 == 0 ? Profile::Calm : Profile::Wild));
}

/// So many of the seeds run in the profile.
u64 seedsIn(const Options& options, Profile profile) {
    if (options.eachProfile || options.profile == profile)
        return options.seeds;
    if (options.profile.has_value())
        return 0;
    const u64 even = (options.seed + options.seeds + 1) / 2 - (options.seed + 1) / 2;
    return profile == Profile::Calm ? even : options.seeds - even;
}

/// Runs every `jobs`th seed from the `job`th on, until one fails. @return the exit status
int runShare(const Options& options, u64 job) {
    for (u64 seed = options.seed + job; seed < options.seed + options.seeds; seed += options.jobs)
        if (!runSeed(options, seed))
            return kExitFailed;
    return 0;
}

/// Each job in a process of its own, as the daemon's record is one of its process.
int runJobs(const Options& options) {
    for (u64 job = 0; job < options.jobs; job++) {
        const pid_t child = ::fork();
        if (child < 0) {
            std::perror("mvrp-simulate: no process for a job");
            return kExitFailed;
        }
        if (child == 0)
            std::exit(runShare(options, job));
    }
    int failed = 0;
    int status = 0;
    while (::wait(&status) > 0)
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            failed = kExitFailed;
    return failed;
}

/// @return whether the arguments were understood; says what of them was not
bool understands(int count, char** values, Options& options) {
    try {
        return parseArguments(count, values, options);
    } catch (const scenario::UsageError& error) {
        std::fprintf(stderr, "mvrp-simulate: --corrections: %s\n", error.what());
        return false;
    }
}

}  // namespace

int main(int count, char** values) {
    Options options;
    if (!understands(count, values, options)) {
        std::fputs(kUsage.data(), stderr);
        return kExitUsage;
    }
    const int status = options.jobs == 1 ? runShare(options, 0) : runJobs(options);
    if (status == 0)
        std::printf("%llu seeds passed: %llu networks calm, %llu wild\n",
                    static_cast<unsigned long long>(options.seeds),
                    static_cast<unsigned long long>(seedsIn(options, Profile::Calm)),
                    static_cast<unsigned long long>(seedsIn(options, Profile::Wild)));
    return status;
}
