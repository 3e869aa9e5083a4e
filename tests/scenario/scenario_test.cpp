// SPDX-License-Identifier: MIT
//
// scenario-test FILE.scn...: runs scenarios and compares the trace of each, look-ups of consecutive
// VLANs joined, with the recorded one, FILE.trace. Then once more on a switch that shows its facts
// in place, which has to be the same but for the look-ups that nobody makes there. Of several it
// says how many passed.
// Prints the first line that differs, with the command that it belongs to. A scenario with a
// FILE.error beside it must be refused with that text. Exit status 0 when all is as recorded, 1
// when it differs, 2 when a file can not be read or the scenario is wrong.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <span>
#include <sstream>
#include <string>

#include "tests/scenario/lang/lookup_joiner.h"
#include "tests/scenario/lang/runner.h"

namespace {

constexpr int kExitDiffers = 1;
constexpr int kExitUsage = 2;
constexpr std::string_view kScenarioSuffix = ".scn";
constexpr std::string_view kNoLine = "(end of the trace)";

int complain(const std::string& text) {
    std::cerr << "scenario-test: " << text << '\n';
    return kExitUsage;
}

/// The next line, or a text that stands for the end.
std::string nextLine(std::istream& stream) {
    std::string line;
    return std::getline(stream, line) ? line : std::string(kNoLine);
}

/// Compares two traces line by line. `kind`: of the first. @return the exit status
int compare(const std::string& name, std::istream& recorded, std::istream& actual,
            std::string_view kind = "recorded") {
    std::string command = "(before the first command)";
    for (unsigned number = 1;; number++) {
        const std::string expected = nextLine(recorded);
        const std::string got = nextLine(actual);
        if (expected != got) {
            std::cerr << name << ":" << number << ": the trace differs from the " << kind
                      << " one\n  in      " << command << "\n  " << kind << expected
                      << "\n  got     " << got << '\n';
            return kExitDiffers;
        }
        if (expected == kNoLine)
            return 0;
        if (expected.starts_with("> "))
            command = expected;
    }
}

/// Runs a scenario. @return what is wrong with it, empty for nothing
std::string run(std::istream& input, std::ostream& trace) {
    scenario::LookupJoiner joiner([&trace](std::string_view line) { trace << line; });
    std::string problem =
        scenario::runScenario(input, [&joiner](std::string_view line) { joiner.take(line); });
    joiner.flush();
    return problem;
}

/// Compares a run in which all facts are asked for with one in which they are shown. @return the
/// exit status
int compareShown(const std::string& path) {
    std::stringstream traces[2];
    for (const bool shown : {false, true}) {
        std::ifstream input(path);
        std::stringstream& trace = traces[shown ? 1 : 0];
        scenario::runScenario(input, [&trace](std::string_view line) { trace << line; },
                              {.shown = shown, .hidden = true});
    }
    return compare(path + ", with facts", traces[0], traces[1], "asking");
}

/// Compares the refusal of a scenario with the recorded one. @return the exit status
int compareProblem(const std::string& name, std::istream& recorded, const std::string& problem) {
    std::stringstream actual(problem);
    return compare(name, recorded, actual);
}

/// One scenario against what is recorded for it. @return the exit status
int test(const std::string& path) {
    if (!path.ends_with(kScenarioSuffix))
        return complain("'" + path + "': a file that ends in .scn is expected");
    const std::string stem = path.substr(0, path.size() - kScenarioSuffix.size());
    std::ifstream input(path);
    if (!input)
        return complain("'" + path + "' can not be opened");

    std::stringstream trace;
    const std::string problem = run(input, trace);
    const std::string errorPath = stem + ".error";
    if (std::ifstream recorded(errorPath); recorded)
        return compareProblem(errorPath, recorded, problem);
    if (!problem.empty())
        return complain(path + ": " + problem);
    const std::string tracePath = stem + ".trace";
    std::ifstream recorded(tracePath);
    if (!recorded)
        return complain("'" + tracePath +
                        "' can not be opened: record it with mvrp-scenario --join " + path + " > " +
                        tracePath);
    const int status = compare(tracePath, recorded, trace);
    return status != 0 ? status : compareShown(path);
}

}  // namespace

int main(int argc, char** argv) {
    const std::span<char*> paths(argv + 1, argv + argc);
    if (paths.empty())
        return complain("files that end in .scn are expected");
    if (paths.size() == 1)
        return test(paths[0]);
    const auto failed =
        std::ranges::count_if(paths, [](const char* path) { return test(path) != 0; });
    std::cout << std::ssize(paths) - failed << " passed, " << failed << " failed\n";
    return failed == 0 ? 0 : kExitDiffers;
}
