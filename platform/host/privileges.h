// SPDX-License-Identifier: MIT
//
// What the process may do: at its start it gives up everything but what its configuration needs,
// for good. Done before there is a second thread, since the kernel keeps privileges by thread; what
// needs more than is kept (reading the configuration) is done before.
//
// Locking: none, the main thread alone. Errors: texts for the person who starts the daemon.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/config/host_config.h"

namespace platform {

/// The user that a daemon which root started changes to when the file names none and the system has
/// it, unless the file says keep-root.
inline constexpr const char* kOwnUser = "mvrp";

/// What a configuration needs.
struct PrivilegeNeeds {
    std::vector<unsigned> required;   ///< capabilities without which it can not run
    std::vector<unsigned> wanted;     ///< kept when they are there
    std::string user;                 ///< to become; empty: none in particular
    bool userOptional = false;        ///< only when the system has it and the process is root's
    std::vector<std::string> groups;  ///< to be a member of, so that a socket can be given to each

    bool operator==(const PrivilegeNeeds&) const = default;
};

/// The Linux driver needs CAP_NET_ADMIN and CAP_NET_RAW. The software switch needs nothing, and
/// keeps CAP_NET_RAW where a cable goes to an interface, or may at run time ([process]
/// keep-net-raw).
PrivilegeNeeds privilegesFor(const HostConfig& config);

/// Changes user, groups and capabilities to no more than `needs`, and forbids to gain any. A
/// process that is not root's keeps its user.
/// @param error  receives what was wrong and what is allowed
/// @return false when something that is needed is missing, or nothing could be given up
bool dropPrivileges(const PrivilegeNeeds& needs, std::string& error);

/// "user mvrp (104), CAP_NET_ADMIN and CAP_NET_RAW", as the kernel has it now.
std::string heldPrivileges();

}  // namespace platform
