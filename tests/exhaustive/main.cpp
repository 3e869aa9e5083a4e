// SPDX-License-Identifier: MIT
//
// mvrp-exhaustive: explores small systems of the daemon whole, with all corrections on, and holds
// two rules against every joint state that can be reached.
//
//   kept    While no frame is lost, no registration with a living declaration is ever withdrawn.
//   healed  Once losses and duplicates end, every end comes to registered = declared, and stays so,
//           within two leave-all times.
//
// What a station does is asked of the daemon itself (station.h): PDUs are received, built and sent,
// timers expire and memberships are applied by its own code, with the standard times 200, 600 and
// 10000 ms, leave clock included.
//
// What is covered. Time goes on by 50 ms, of which all durations are multiples. Between two ticks
// everything that can happen does so in every order, but that a station runs what is due before it
// reads. A frame is on its way for up to two ticks, wherever the table says "on the way", and
// arrives before the next tick elsewhere; how many wait on a cable is not bounded. At any moment
// somebody may begin or cease to declare, a frame may be lost or arrive twice, and an end may send
// a LeaveAll. Between two rests each end sends one LeaveAll at most, none after it has heard one
// (the leave-all time is longer than an episode), and the other disturbances are bounded by the
// table: that many may overlap. On the switch a LeaveAll counts as a change. At rest nothing but
// the leave-all timers run, so a rest may last any time, and the bound begins anew.
//
// What is left out of it because nothing would be seen by it. Neighbours of a switch that are alike
// may change places, and so may the ends of a pair; of such states one is visited. That the daemon
// knows no difference between the ports is looked at in every step (station.h). What stations of
// one port do between two ticks is had in one order (system.h).
//
// What is not covered. More disturbances at once; frames that overtake each other; delays of more
// than 100 ms; other times; several VLANs in a PDU; ports that are switched off, or change their
// mode. Participant mode 3 ("quiet") declares only what it has registered itself: its LeaveAll has
// no vector to say it with, so its neighbour does not hear it, and declares nothing anew. What
// holds of it is held for a quiet end whose leave-all time is the longer one; that it does not hold
// otherwise is among the controls.
#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string_view>

#include "tests/exhaustive/explore.h"

namespace exhaustive {
namespace {

struct Shape {
    const char* name;
    std::vector<Kind> kinds;
    std::vector<Cable> cables;
};

constexpr MvrpParticipantMode kFull = MVRP_PARTICIPANT_FULL;
constexpr MvrpParticipantMode kNoObserve = MVRP_PARTICIPANT_NO_OBSERVE;
constexpr MvrpParticipantMode kQuiet = MVRP_PARTICIPANT_QUIET;

/// Two stations on a cable; the first may be static.
Shape pairOf(const char* name, bool isStatic, MvrpParticipantMode mode) {
    return {name, {{1, isStatic, mode}, {1, false, mode}}, {{{{{0, 0}, {1, 0}}}}}};
}

/// The second of two declares only what it has registered itself.
Shape quietOf(const char* name, bool isStatic, bool sendsLeaveAlls) {
    return {
        name, {{1, isStatic, kFull}, {1, false, kQuiet, sendsLeaveAlls}}, {{{{{0, 0}, {1, 0}}}}}};
}

Shape switchOf(MvrpParticipantMode mode) {
    const Kind neighbour = {1, false, mode};
    return {"switch of three ports",
            {{3, false, mode}, neighbour, neighbour, neighbour},
            {{{{{0, 0}, {1, 0}}}}, {{{{0, 1}, {2, 0}}}}, {{{{0, 2}, {3, 0}}}}}};
}

enum class Rule : u8 { Kept, Healed };
constexpr std::array<const char*, 2> kRules = {"kept", "healed"};

/// How much is explored.
struct Bounds {
    u32 disturbances = 0;  ///< between two rests
    u32 acts = Freedom::kAnyNumber;
    u32 faults = Freedom::kAnyNumber;
    bool transit = true;
};
constexpr Bounds kOnSwitch = {1, Freedom::kAnyNumber, Freedom::kAnyNumber, false};
constexpr Bounds kActAndFault = {2, 1, 1, false};

/// By Rule.
using Plans = std::array<std::vector<Bounds>, 2>;
const Plans kOne = {{{{1}}, {{1}}}};
const Plans kTwo = {{{{2}}, {{2}}}};
const Plans kThree = {{{{3}}, {{3}}}};
const Plans kSwitchSmall = {{{kOnSwitch}, {kOnSwitch}}};
/// A change, with frames on their way; and, where it is explored to its end, one and a loss of what
/// is sent of it.
const Plans kSwitchMvrp = {{{{1}}, {{1}, kActAndFault}}};
const Plans kSwitchGvrp = {{{{1}}, {{1}}}};

struct Case {
    Shape shape;
    const char* protocol;
    bool gvrp;
    Plans small;
    Plans full;

    bool isSwitch() const { return shape.kinds.size() > 2; }
};
const std::array<Case, 10> kCases = {{
    {pairOf("pair", false, kNoObserve), "MVRP, no-observe", false, kOne, kTwo},
    {pairOf("pair", false, kFull), "MVRP, full", false, kOne, kTwo},
    {pairOf("pair", false, kFull), "GVRP", true, kOne, {{{{2}}, {{3}}}}},
    {pairOf("static and dynamic", true, kNoObserve), "MVRP, no-observe", false, kTwo, kThree},
    {pairOf("static and dynamic", true, kFull), "MVRP, full", false, kOne, kThree},
    {pairOf("static and dynamic", true, kFull), "GVRP", true, kTwo, kThree},
    {quietOf("static and quiet", true, false), "MVRP", false, kOne, kThree},
    {quietOf("pair, one quiet", false, false), "MVRP", false, kOne, kOne},
    {switchOf(kNoObserve), "MVRP, no-observe", false, kSwitchSmall, kSwitchMvrp},
    {switchOf(kFull), "GVRP", true, kSwitchSmall, kSwitchGvrp},
}};
const Case kQuietThatSends = {
    quietOf("static and quiet, which sends LeaveAlls", true, true), "MVRP", false, {}, {}};

/// That the exploration finds what is wrong: a rule that does not hold without one correction, or
/// where none of them reaches.
struct Control {
    const Case& of;
    std::optional<Correction> without;
    Rule rule;
};
const std::array<Control, 3> kControls = {{{kCases[8], Correction::LeaveNeeded, Rule::Kept},
                                           {kCases[0], Correction::StaticHeard, Rule::Healed},
                                           {kQuietThatSends, std::nullopt, Rule::Kept}}};

constexpr std::size_t kMostStates = 100'000'000;
constexpr u32 kMostRounds = 2;

struct Options {
    bool full = false;
    bool explain = false;
    std::string_view only;  ///< a part of the name of what is run
};

Setup setupOf(const Case& of, CorrectionSet corrections) {
    Setup setup;
    setup.corrections = corrections;
    setup.gvrp = of.gvrp;
    return setup;
}

Report explore(System* system, const Case& of, Rule rule, const Bounds& bounds) {
    const Freedom freedom = {.changes = true,
                             .losses = rule == Rule::Healed,
                             .duplicates = true,
                             .leaveAlls = true,
                             .disturbances = bounds.disturbances,
                             .acts = bounds.acts,
                             .faults = bounds.faults,
                             .countsLeaveAlls = of.isSwitch(),
                             .transit = bounds.transit};
    const Limits limits = {kMostStates};
    return rule == Rule::Kept ? exploreKept(system, freedom, limits)
                              : exploreHealed(system, freedom, limits);
}

bool holds(const Report& report) {
    return report.whole && report.problems.empty() && report.mostRounds <= kMostRounds;
}

std::string describe(const Bounds& bounds) {
    std::string text = std::to_string(bounds.disturbances) + " at once";
    if (bounds.acts < bounds.disturbances)
        text += ", " + std::to_string(bounds.acts) + " a change";
    if (bounds.faults < bounds.disturbances)
        text += ", " + std::to_string(bounds.faults) + " a fault";
    return text + (bounds.transit ? ", on the way" : "");
}

void print(Rule rule, const Report& report, std::size_t stationStates, double seconds) {
    std::printf("%zu states (%zu of stations), %zu at rest, %zu moves", report.states,
                stationStates, report.rests, report.transitions);
    if (rule == Rule::Healed)
        std::printf(
            "; %zu states of rounds; rests after %u ms, as declared after %u leave-all time%s",
            report.roundStates, report.longestMs, report.mostRounds,
            report.mostRounds == 1 ? "" : "s");
    else
        std::printf("; asked in vain %zu", report.vainQuestions);
    std::printf("; %.1f s\n", seconds);
    std::fflush(stdout);
}

/// Explores one system. @return whether the rule holds
bool run(const Case& of, Rule rule, const Bounds& bounds, CorrectionSet corrections,
         const std::string& name, bool explain) {
    std::printf("%s; %s; %s: ", name.c_str(), kRules[static_cast<std::size_t>(rule)],
                describe(bounds).c_str());
    std::fflush(stdout);
    const auto begin = std::chrono::steady_clock::now();
    System system(setupOf(of, corrections), of.shape.kinds, of.shape.cables);
    const Report report = explore(&system, of, rule, bounds);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    print(rule, report, system.stationStates(), took.count());
    if (!report.whole)
        std::printf("  cut off: too many states\n");
    if (explain)
        for (const std::string& problem : report.problems)
            std::printf("  %s\n", problem.c_str());
    return holds(report);
}

std::string nameOf(const Case& of) {
    return std::string(of.shape.name) + "; " + of.protocol;
}

CorrectionSet allBut(std::optional<Correction> without) {
    CorrectionSet set;
    for (u32 i = 0; i < kCorrectionCount; ++i)
        if (without != static_cast<Correction>(i))
            set.add(static_cast<Correction>(i));
    return set;
}

bool wanted(const Options& options, const std::string& name) {
    return name.find(options.only) != std::string::npos;
}

int runAll(const Options& options) {
    u32 passed = 0;
    u32 failed = 0;
    const auto count = [&](bool good, const std::string& what) {
        ++(good ? passed : failed);
        if (!good)
            std::printf("FAILED: %s\n", what.c_str());
    };
    for (const Case& of : kCases) {
        const std::string name = nameOf(of);
        for (const Rule rule : {Rule::Kept, Rule::Healed}) {
            const Plans& plans = options.full ? of.full : of.small;
            for (const Bounds& bounds : plans[static_cast<std::size_t>(rule)])
                if (wanted(options, name + "; " + kRules[static_cast<std::size_t>(rule)]))
                    count(run(of, rule, bounds, CorrectionSet::all(), name, true), name);
        }
    }
    for (const Control& control : kControls) {
        std::string name = nameOf(control.of);
        if (control.without.has_value())
            name += "; without " + std::string(correctionName(*control.without));
        name += ", where it must not hold";
        const Bounds bounds = control.of.isSwitch() ? kOnSwitch : Bounds{1};
        if (wanted(options, name))
            count(!run(control.of, control.rule, bounds, allBut(control.without), name,
                       options.explain),
                  name);
    }
    std::printf("%u passed, %u failed\n", passed, failed);
    return failed == 0 && passed != 0 ? 0 : 1;
}

}  // namespace
}  // namespace exhaustive

int main(int argc, char** argv) {
    exhaustive::Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--full") {
            options.full = true;
        } else if (word == "--explain") {
            options.explain = true;
        } else if (word == "--only" && i + 1 < argc) {
            options.only = argv[++i];
        } else {
            std::printf(
                "usage: mvrp-exhaustive [--full] [--only PART] [--explain]\n\n"
                "Explores small systems whole, with all corrections on, and prints their states.\n"
                "  --full       several disturbances may overlap; minutes, and some gigabytes\n"
                "  --only PART  what has PART in its name, for example \"pair; GVRP\"\n"
                "  --explain    the moves that lead to what the controls find\n");
            return word == "--help" ? 0 : 2;
        }
    }
    return exhaustive::runAll(options);
}
