// SPDX-License-Identifier: MIT
//
// A place to stand between two steps of the daemon, for the thread that serves its debug socket:
// the daemon closes the connection right before it runs the request that came over it, and takes no
// lock for that itself.
#pragma once

namespace platform {

/// Has `hook` run in the calling thread after each qor_close() of it.
void setCloseHook(void (*hook)());
/// For qor_close().
void runCloseHook();

}  // namespace platform
