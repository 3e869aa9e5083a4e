// SPDX-License-Identifier: MIT
//
// Commands from a file, a line each.
#pragma once

#include <string>
#include <vector>

#include "cli/commands/line.h"

namespace cli {

/// A line of a batch failed; the text names it. The status is that of the refusal, or a name.
class BatchError : public std::runtime_error {
  public:
    BatchError(const std::string& text, int exitStatus_, u32 status_, std::string_view name_ = {})
        : std::runtime_error(text), exitStatus(exitStatus_), status(status_), name(name_) {}
    int exitStatus;
    u32 status;
    std::string_view name;  ///< in place of the status's own; empty: that
};

/// Runs the lines of `batch.batch`. All are read before the first is run, so that a mistake in one
/// costs nothing. The first that fails ends it; with `batch.atomic` what was set before is put
/// back.
/// @param options  words that stand before each line: --socket and the like
/// Errors: BatchError; UsageError when the file can not be read.
void runBatch(const std::vector<std::string>& options, const Line& batch, const Program& program);

}  // namespace cli
