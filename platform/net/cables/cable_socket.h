// SPDX-License-Identifier: MIT
//
// The UNIX datagram sockets of a cable in the file system: our own is made where nothing in use or
// of others is in the way, the peer's is looked for anew each time.
//
// Locking: none. Errors: texts for the operator.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/runtime/files/places.h"

namespace platform {

/// The file system's number of the socket at a place; 0 when there is none.
ino_t socketNumberAt(const Place& place);

/// Binds a new socket at a place. What a daemon that crashed left there is removed; a socket that
/// is in use is not, unless its number is `own`, and with `mine` nor is one of another user.
/// @return not open with the reason in `error`
Descriptor bindSocket(const Place& place, ino_t own, bool mine, std::string& error);

/// A socket that sends to the one at a place, non-blocking; in an open directory that may not be a
/// link. Allocates nothing.
/// @return not open while there is nobody
Descriptor connectSocket(const Place& place);

}  // namespace platform
