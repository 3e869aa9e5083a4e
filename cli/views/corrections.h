// SPDX-License-Identifier: MIT
//
// The corrections that a daemon runs with, as text and JSON: which are on, and how often each has
// acted.
#pragma once

#include <string>

#include "cli/client/queries.h"
#include "cli/print/table.h"
#include "platform/contract/corrections.h"

namespace cli {

/// Whether the daemon says that it runs with a correction.
bool isOn(const GlobalView& view, Correction which);
/// What a correction does, in a sentence without its end.
std::string correctionWords(Correction which);

std::string correctionsText(const GlobalView& view, const Style& style);
std::string correctionsJson(const GlobalView& view);

}  // namespace cli
