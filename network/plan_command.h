// SPDX-License-Identifier: MIT
//
// `mvrp-net plan`: its options, and what they lead to.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "network/plan/change.h"
#include "network/plan/forecast.h"

namespace network {

struct PlanOptions {
    ChangeWords words;
    ForecastSettings settings;
};

/// Adds the options of the command but its snapshots.
void addPlanOptions(CLI::App& command, PlanOptions& options);

/// Forecasts, and prints. Throws ChangeError. @return a picture of the time, SVG
std::string plan(const Network& network, const PlanOptions& options, bool json);

}  // namespace network
