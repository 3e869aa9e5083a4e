// SPDX-License-Identifier: MIT
//
// Network namespaces by name, as `ip netns` keeps them.
#pragma once

#include <string>
#include <vector>

namespace cli {

/// Names of the network namespaces that there are.
std::vector<std::string> networkNamespaces();

/// Puts this thread, and what it starts, into a network namespace.
/// Errors: UsageError when there is none of this name, or it may not be entered.
void enterNetworkNamespace(const std::string& name);

}  // namespace cli
