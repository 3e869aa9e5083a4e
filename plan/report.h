// SPDX-License-Identifier: MIT
//
// What was measured, as text for a person, as JSON, and as a picture.
#pragma once

#include <string>
#include <vector>

#include "plan/measure.h"

namespace plan {

/// Counts up when a key of the JSON changes its meaning.
inline constexpr u32 kJsonVersion = 1;

/// The lines that a stage adds; those of all stages are the whole report.
std::string stageText(Stage stage, const Measurement& result);
std::string reportJson(const Measurement& result);

/// One curve's points: what was varied, and the measurement there.
struct Point {
    u32 x = 0;
    Measurement result;
};

/// Two panels, join and leave against the longest way and against the number of VLANs, as SVG.
/// @param byDiameter, byVlans  in ascending order of x, one at least
std::string plotSvg(const std::vector<Point>& byDiameter, const std::vector<Point>& byVlans);

}  // namespace plan
