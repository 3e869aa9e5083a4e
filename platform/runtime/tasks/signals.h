// SPDX-License-Identifier: MIT
//
// The signals that end the process or have it read its configuration again. They are taken by a
// task of its own, so that what follows runs as ordinary code; patchSignalHandler() starts it.
#pragma once

namespace platform {

/// Keeps these signals waiting in the calling thread and in those that it starts. The host calls it
/// before there is a second thread.
void holdSignals();

}  // namespace platform
