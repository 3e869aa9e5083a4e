// SPDX-License-Identifier: MIT
//
// What takes a command back: requests that set again what it is about to change. For batches that
// are done as a whole or not at all.
#pragma once

#include <string>
#include <vector>

#include "cli/commands/commands.h"

namespace cli {

enum class Reach {
    Looks,    ///< changes nothing at the daemon
    PutBack,  ///< what it changes can be set again
    Stays,    ///< any other, also one that is not known here
};

Reach reachOf(const Command& command);

/// Requests that put back what the command changes, to be sent in this order after it was run. What
/// was learnt meanwhile is not put back: it is learnt anew.
/// Errors: those of the command where it would fail, and RefusedError where a part of what there is
/// could not be set again.
std::vector<Request> undoOf(const Command& command, const Context& context);

/// Sends them. Those that are refused are tried again after the others, as times of a port are
/// bound to each other, and for two seconds, until the daemon knows of what the switch changed.
/// @return what was refused at last, for a person; empty: nothing
std::string putBack(Client& client, const std::vector<Request>& requests);

/// What may stand in an atomic batch: "show, explain, ...".
std::string atomicCommands();

}  // namespace cli
