// SPDX-License-Identifier: MIT
//
// Findings as JSON, for answers and for the page. Only for files that make JSON, since the library
// is slow to compile.
#pragma once

#include <vector>

#include "cli/print/json_document.h"
#include "network/check/finding.h"

namespace network {

/// A list of objects, in the order of the findings.
cli::Json findingsList(const std::vector<Finding>& findings);

}  // namespace network
