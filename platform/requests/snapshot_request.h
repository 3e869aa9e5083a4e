// SPDX-License-Identifier: MIT
//
// Everything that is known of the switch at one moment, in one answer.
#pragma once

#include "platform/channel/dispatcher.h"
#include "platform/observe/change_feed.h"
#include "platform/observe/frame_book.h"

namespace platform {

/// What a snapshot reads beside other requests. All outlive the dispatcher.
struct SnapshotSources {
    const SwitchDriver& driver;
    const FrameBook& frames;
    ChangeFeed& changes;
};

/// Registers Snapshot. It is served by the command task, which holds the daemon's locks meanwhile:
/// nothing of the protocol happens between the first section and the last. What the frame layer
/// counts goes on.
void registerSnapshotRequest(Dispatcher& dispatcher, const SnapshotSources& sources);

}  // namespace platform
