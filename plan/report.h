// SPDX-License-Identifier: MIT
//
// What was measured, as text for a person and as JSON.
#pragma once

#include <string>

#include "plan/measure.h"

namespace plan {

/// Counts up when a key of the JSON changes its meaning.
inline constexpr u32 kJsonVersion = 1;

/// The lines that a stage adds; those of all stages are the whole report.
std::string stageText(Stage stage, const Measurement& result);
std::string reportJson(const Measurement& result);

}  // namespace plan
