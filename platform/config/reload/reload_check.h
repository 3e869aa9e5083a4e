// SPDX-License-Identifier: MIT
//
// What speaks against taking a configuration over from one that runs, though it is right by itself.
// A file that is empty, half written or cut off is often a right one, with fewer ports. It is told
// from one that is meant by what a person leaves in it: a port that is to stop says so, and who
// takes a port out leaves the end of the file as it was.
#pragma once

#include <string>

#include "platform/config/host_config.h"

namespace platform {

/// What of it takes the word of a person.
inline constexpr const char* kForceAdvice = "; use `mvrpctl config apply --force` if that is meant";

/// @return why `next` is not to follow on `running` unless a person insists; empty: nothing
std::string reloadRefusal(const HostConfig& running, const HostConfig& next);

}  // namespace platform
