// SPDX-License-Identifier: MIT
//
// Reaction of the whole program: from a PDU of 4094 registered VLANs that is sent into its first
// port to the last frame that has come out of the others, with its threads and statistics as in
// service. Limits: the same frames sent bare into the same cables, one by one, and all with one
// system call.
#pragma once

#include <string>

#include "bench/whole_figures.h"
#include "platform/contract/types.h"

namespace bench {

/// Starts `program` with that many ports and adds the pairs reaction/PORTS and
/// reaction-batched/PORTS, in ns of a frame that comes out; the shortest of `turns` counts, of
/// either side. Throws where a frame does not come.
void measureReaction(const std::string& program, u32 ports, int turns, Figures& figures);

}  // namespace bench
