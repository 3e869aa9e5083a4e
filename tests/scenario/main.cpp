// SPDX-License-Identifier: MIT
//
// mvrp-scenario [FILE]: runs a scenario, from the file or from standard input, and prints its
// trace. Exit status 0; 2 for a scenario that can not be read or understood.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

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
    if (argc > 2)
        return report("at most one argument is allowed: mvrp-scenario [FILE]");
    std::ifstream file;
    if (argc == 2) {
        file.open(argv[1]);
        if (!file)
            return report("'" + std::string(argv[1]) + "' can not be opened");
    }
    const std::string problem = scenario::runScenario(argc == 2 ? file : std::cin, writeOut);
    return problem.empty() ? 0 : report(problem);
}
