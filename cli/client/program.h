// SPDX-License-Identifier: MIT
//
// What another program prints: of the system's tools, which know what a daemon does not.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace cli {

struct ProgramRun {
    std::vector<std::string> words;  ///< looked for where tools of root's are, too
    bool mistakesToo = false;        ///< what it says on its standard error
    std::chrono::seconds patience{10};
    std::size_t mostBytes = std::size_t{16} << 20;
};

/// Runs a program in the plain locale and without input, and waits for its end.
/// @param problem  receives why it failed: it is not there, it ended badly, it took too long or
///                 printed too much, and was ended for that; stays as it is else
/// @return what it printed until then
std::string outputOfProgram(const ProgramRun& run, std::string& problem);

}  // namespace cli
