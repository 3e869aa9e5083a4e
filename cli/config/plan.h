// SPDX-License-Identifier: MIT
//
// What `config apply` would do, as the daemon weighs it: read from its answer, and shown. Functions
// of their arguments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/print/table.h"

namespace cli {

struct PlanEffectLine {
    std::string port;  ///< name; empty: the switch as a whole
    std::string word;  ///< what happens, see platform::planWord(): "forgotten"
    std::string vlans;
};

struct Plan {
    std::vector<std::string> files;    ///< the main file, then its fragments
    std::vector<std::string> refused;  ///< why it would be; empty: it would not
    std::vector<std::string> changes;
    std::vector<std::string> nextStart;
    std::vector<PlanEffectLine> effects;

    bool changesSomething() const {
        return !changes.empty() || !nextStart.empty() || !effects.empty();
    }
};

/// Exit statuses of `config plan`.
enum class PlanExit : int { Nothing = 0, Changes = 1, Refused = 3 };
PlanExit exitOf(const Plan& plan);

/// @param lines  of the reply to Request::ConfigPlan
Plan readPlan(std::vector<std::string> files, const std::vector<std::string>& lines);

std::string planText(const Plan& plan, const Style& style);
std::string planJson(const Plan& plan);

}  // namespace cli
