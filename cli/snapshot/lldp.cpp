// SPDX-License-Identifier: MIT
#include "cli/client/program.h"
#include "cli/snapshot/snapshot.h"

namespace cli {

std::string askLldp() {
    constexpr std::chrono::seconds kPatience{2};
    constexpr std::size_t kMostBytes = std::size_t{4} << 20;
    std::string problem;
    const std::string text =
        outputOfProgram({.words = {"lldpcli", "-f", "json0", "show", "neighbors"},
                         .patience = kPatience,
                         .mostBytes = kMostBytes},
                        problem);
    return problem.empty() ? text : std::string();
}

}  // namespace cli
