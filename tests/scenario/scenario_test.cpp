// SPDX-License-Identifier: MIT
//
// scenario-test FILE.scn: runs a scenario and compares its trace, look-ups of consecutive VLANs
// joined, with the recorded one, FILE.trace.
// Prints the first line that differs, with the command that it belongs to. Exit status 0 when they
// are equal, 1 when they differ, 2 when a file can not be read or the scenario is wrong.
#include <fstream>
#include <iostream>
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

/// Compares two traces line by line. @return the exit status
int compare(const std::string& name, std::istream& recorded, std::istream& actual) {
    std::string command = "(before the first command)";
    for (unsigned number = 1;; number++) {
        const std::string expected = nextLine(recorded);
        const std::string got = nextLine(actual);
        if (expected != got) {
            std::cerr << name << ":" << number << ": the trace differs from the recorded one\n"
                      << "  in      " << command << "\n  recorded" << expected << "\n  got     "
                      << got << '\n';
            return kExitDiffers;
        }
        if (expected == kNoLine)
            return 0;
        if (expected.starts_with("> "))
            command = expected;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !std::string_view(argv[1]).ends_with(kScenarioSuffix))
        return complain("one argument is expected, a file that ends in .scn");
    const std::string path = argv[1];
    const std::string tracePath = path.substr(0, path.size() - kScenarioSuffix.size()) + ".trace";
    std::ifstream input(path);
    std::ifstream recorded(tracePath);
    if (!input)
        return complain("'" + path + "' can not be opened");
    if (!recorded)
        return complain("'" + tracePath +
                        "' can not be opened: record it with mvrp-scenario --join " + path + " > " +
                        tracePath);
    std::stringstream actual;
    scenario::LookupJoiner joiner([&actual](std::string_view line) { actual << line; });
    const std::string problem =
        scenario::runScenario(input, [&joiner](std::string_view line) { joiner.take(line); });
    joiner.flush();
    if (!problem.empty())
        return complain(path + ": " + problem);
    return compare(tracePath, recorded, actual);
}
