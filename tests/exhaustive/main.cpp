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
// reads. A frame is on its way for up to two ticks on the cable of a pair, and none on those of the
// switch; up to two frames are on their way in a direction. At any moment somebody may begin or
// cease to declare, a frame may be lost or arrive twice, and an end may send a LeaveAll. Between
// two rests each end sends one LeaveAll at most, none after it has heard one (the leave-all time is
// longer than an episode), and the other disturbances are bounded: that many may overlap. On the
// switch a LeaveAll counts as one. At rest nothing but the leave-all timers run, so a rest may last
// any time, and the bound begins anew.
//
// What is not covered. More disturbances at once, and for a pair with MVRP `healed` more than one
// (with two, more frames may wait on the cable than there is room for in a state); frames that
// overtake each other; delays of more than 100 ms; other times; several VLANs in a PDU; ports that
// are switched off, or change their mode; participant mode 3, which does not declare what it has
// not registered.
#include <array>
#include <chrono>
#include <cstdio>
#include <string_view>

#include "tests/exhaustive/explore.h"

namespace exhaustive {
namespace {

struct Shape {
    const char* name;
    std::vector<Kind> kinds;
    std::vector<Cable> cables;
    bool isSwitch;
};

const Shape kPair = {"pair", {{1, false}, {1, false}}, {{{{{0, 0}, {1, 0}}}}}, false};
const Shape kStatic = {
    "static and dynamic", {{1, true}, {1, false}}, {{{{{0, 0}, {1, 0}}}}}, false};
const Shape kSwitch = {"switch of three ports",
                       {{3, false}, {1, false}, {1, false}, {1, false}},
                       {{{{{0, 0}, {1, 0}}}}, {{{{0, 1}, {2, 0}}}}, {{{{0, 2}, {3, 0}}}}},
                       true};

enum class Protocol : u8 { Full, NoObserve, Gvrp };
constexpr std::array<const char*, 3> kProtocols = {"MVRP, full", "MVRP, no-observe", "GVRP"};

struct Case {
    const Shape& shape;
    Protocol protocol;
    /// Disturbances between two rests, by Rule; 0: not explored.
    std::array<u32, 2> small;
    std::array<u32, 2> full;
};
const std::array<Case, 8> kCases = {{{kPair, Protocol::NoObserve, {1, 1}, {2, 1}},
                                     {kPair, Protocol::Full, {1, 1}, {2, 1}},
                                     {kPair, Protocol::Gvrp, {1, 1}, {2, 2}},
                                     {kStatic, Protocol::NoObserve, {2, 2}, {3, 3}},
                                     {kStatic, Protocol::Full, {1, 1}, {3, 3}},
                                     {kStatic, Protocol::Gvrp, {2, 2}, {3, 3}},
                                     {kSwitch, Protocol::NoObserve, {1, 0}, {2, 2}},
                                     {kSwitch, Protocol::Gvrp, {1, 0}, {1, 2}}}};

enum class Rule : u8 { Kept, Healed };
constexpr std::array<const char*, 2> kRules = {"kept", "healed"};

/// That the exploration finds what is wrong: without one correction a rule does not hold.
struct Control {
    const Case& of;
    Correction without;
    Rule rule;
};
const std::array<Control, 2> kControls = {{{kCases[6], Correction::LeaveNeeded, Rule::Kept},
                                           {kCases[0], Correction::StaticHeard, Rule::Healed}}};

constexpr std::size_t kMostStates = 20'000'000;
constexpr u32 kMostRounds = 2;

struct Options {
    bool full = false;
    bool explain = false;
    std::string_view only;  ///< a part of the name of what is run
};

Setup setupOf(const Case& of, CorrectionSet corrections) {
    Setup setup;
    setup.corrections = corrections;
    setup.gvrp = of.protocol == Protocol::Gvrp;
    setup.participant =
        of.protocol == Protocol::NoObserve ? MVRP_PARTICIPANT_NO_OBSERVE : MVRP_PARTICIPANT_FULL;
    return setup;
}

Report explore(System* system, const Case& of, Rule rule, u32 disturbances) {
    const Freedom freedom = {.changes = true,
                             .losses = rule == Rule::Healed,
                             .duplicates = true,
                             .leaveAlls = true,
                             .disturbances = disturbances,
                             .countsLeaveAlls = of.shape.isSwitch,
                             .instant = of.shape.isSwitch};
    const Limits limits = {kMostStates};
    return rule == Rule::Kept ? exploreKept(system, freedom, limits)
                              : exploreHealed(system, freedom, limits);
}

bool holds(const Report& report) {
    return report.whole && report.problems.empty() && report.mostRounds <= kMostRounds;
}

void print(const std::string& name, Rule rule, u32 disturbances, const Report& report,
           std::size_t stationStates, double seconds) {
    std::printf("%s; %s; %u disturbance%s: %zu states (%zu of stations), %zu at rest, %zu moves",
                name.c_str(), kRules[static_cast<std::size_t>(rule)], disturbances,
                disturbances == 1 ? "" : "s", report.states, stationStates, report.rests,
                report.transitions);
    if (rule == Rule::Healed)
        std::printf("; rests after %u ms, as declared after %u leave-all time%s", report.longestMs,
                    report.mostRounds, report.mostRounds == 1 ? "" : "s");
    else
        std::printf("; asked in vain %zu", report.vainQuestions);
    std::printf("; %.1f s\n", seconds);
    std::fflush(stdout);
}

/// Explores one system. @return whether the rule holds
bool run(const Case& of, Rule rule, u32 disturbances, CorrectionSet corrections,
         const std::string& name, bool explain) {
    const auto begin = std::chrono::steady_clock::now();
    System system(setupOf(of, corrections), of.shape.kinds, of.shape.cables);
    const Report report = explore(&system, of, rule, disturbances);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    print(name, rule, disturbances, report, system.stationStates(), took.count());
    if (!report.whole)
        std::printf("  cut off: too many states\n");
    if (explain)
        for (const std::string& problem : report.problems)
            std::printf("  %s\n", problem.c_str());
    return holds(report);
}

std::string nameOf(const Case& of) {
    return std::string(of.shape.name) + "; " + kProtocols[static_cast<std::size_t>(of.protocol)];
}

CorrectionSet allBut(Correction without) {
    CorrectionSet set;
    for (u32 i = 0; i < kCorrectionCount; ++i)
        if (static_cast<Correction>(i) != without)
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
            const u32 most = (options.full ? of.full : of.small)[static_cast<std::size_t>(rule)];
            if (most != 0 && wanted(options, name + "; " + kRules[static_cast<std::size_t>(rule)]))
                count(run(of, rule, most, CorrectionSet::all(), name, true), name);
        }
    }
    for (const Control& control : kControls) {
        const std::string name = nameOf(control.of) + "; without " +
                                 std::string(correctionName(control.without)) +
                                 ", where it must not hold";
        if (wanted(options, name))
            count(!run(control.of, control.rule, 1, allBut(control.without), name, options.explain),
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
