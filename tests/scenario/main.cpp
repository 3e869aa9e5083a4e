// SPDX-License-Identifier: MIT
//
// mvrp-scenario [FILE]: runs a scenario, from the file or from standard input, and prints its
// trace. Exit status 0; 2 for a scenario that can not be read or understood.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/scenario/lang/lookup_joiner.h"
#include "tests/scenario/lang/runner.h"

namespace {

constexpr int kExitUsage = 2;

void writeOut(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

int report(const std::string& problem) {
    std::fflush(stdout);
    std::cerr << "mvrp-scenario: " << problem << '\n';
    return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool join = !arguments.empty() && arguments.front() == "--join";
    if (join)
        arguments.erase(arguments.begin());
    if (arguments.size() > 1)
        return report("at most one file is allowed: mvrp-scenario [--join] [FILE]");
    std::ifstream file;
    if (!arguments.empty()) {
        file.open(arguments.front());
        if (!file)
            return report("'" + arguments.front() + "' can not be opened");
    }
    std::istream& input = arguments.empty() ? std::cin : file;

    scenario::LookupJoiner joiner(writeOut);
    scenario::Trace::Sink sink = writeOut;
    if (join)
        sink = [&joiner](std::string_view line) { joiner.take(line); };
    const std::string problem = scenario::runScenario(input, sink);
    joiner.flush();
    return problem.empty() ? 0 : report(problem);
}
