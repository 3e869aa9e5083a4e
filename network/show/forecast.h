// SPDX-License-Identifier: MIT
//
// A forecast as text, JSON, and a picture of its time.
#pragma once

#include <string>

#include "cli/print/table.h"
#include "network/plan/forecast.h"

namespace network {

std::string forecastText(const Forecast& forecast, const cli::Style& style);
std::string forecastJson(const Network& network, const Forecast& forecast);
/// What is interrupted as bars over time, and below them when memberships changed.
std::string forecastSvg(const Forecast& forecast);

/// Memberships that changed and frames that were sent in a part of the time until the network was
/// quiet.
struct TimeSlot {
    u64 fromMs = 0;
    u64 changes = 0;
    u64 frames = 0;
};
/// The time until the last change in `count` parts of one length; none where nothing changed.
std::vector<TimeSlot> slotsOf(const Forecast& forecast, std::size_t count);

/// "2.35".
std::string secondsText(u64 ms);
/// "s1, s2 - s3".
std::string sidesText(const Reach& reach);
/// "interrupted for 0.52 s", "for good", "connected after 0.02 s".
std::string reachText(const Reach& reach);

}  // namespace network
