// SPDX-License-Identifier: MIT
//
// What the host observes of its own work, and the requests that tell of it: statistics, the history
// of each VLAN on each port, the change feed, and captured frames. One object, owned by the host
// for the life of the process.
#pragma once

#include "platform/channel/dispatcher.h"
#include "platform/net/frame_net.h"
#include "platform/observe/change_feed.h"
#include "platform/observe/event_log.h"
#include "platform/observe/frame_book.h"

namespace platform {

class Observation final : public SwitchObserver {
  public:
    /// Both outlive it.
    Observation(const SwitchDriver& driver, FrameNet& frames);

    /// Begins to look on, and registers the requests 320 to 324 and 328. Before frames and requests
    /// run.
    void install(Dispatcher& dispatcher);

    /// Begins to say in the log what happens on the ports. When the switch is as it was found.
    void startLog();
    /// Is to be told of what changes on the switch.
    News& news() { return events_.news(); }

    void switchCalled(SwitchCall call, u32 unit, const VlanBitmap& vlans, bool done) override;
    void registrationRefused(u32 unit, u32 vid, Admission why) override;

  private:
    void registerRequests(Dispatcher& dispatcher);
    u32 portHistory(const RequestHeader& header, std::vector<u8>& reply) const;

    const SwitchDriver& driver_;
    FrameNet& net_;
    FrameBook frames_;
    ChangeFeed changes_;
    EventLog events_;
};

}  // namespace platform
