// SPDX-License-Identifier: MIT
//
// What the frame layer keeps for a port: its cable, the form it speaks, counters and captures.
// Plain records, owned and locked by FrameNet.
#pragma once

#include <memory>
#include <optional>

#include "platform/model/port.h"
#include "platform/net/cable.h"
#include "platform/net/replay.h"
#include "platform/net/sockets/frame_socket.h"
#include "platform/switch/switch_driver.h"
#include "platform/wire/frame.h"

namespace platform {

/// What the driver answered about a port, and when: see SwitchFacts::changes.
struct PortAnswers {
    u32 asOf = 0;  ///< 0: not asked yet
    FramePolicy policy;
    bool leads = false;  ///< frames for `policy.unit` go out of this port
};

struct CabledPort {
    PortAnswers answers;

    // Of the unit that the daemon knows: a port, or an aggregation for its members.
    WireForm form = WireForm::Native;
    u32 heard = 0;           ///< WireForm of the last MVRP frame received, 0 none
    bool heardIeee = false;  ///< a standard frame came since the cable was plugged in
    MacAddress peer{};
    PortCountersRecord counters{};

    // Of the port itself.
    CableConfig cableConfig;
    std::shared_ptr<Cable> cable;
    std::string recordFile;
    std::optional<PcapWriter> recorder;
    std::shared_ptr<Replay> replay;

    bool speaksIeee() const {
        return form == WireForm::Ieee || (form == WireForm::Auto && heardIeee);
    }
};

void countDrop(PortCountersRecord& counters, DropReason reason);
void countDelivery(PortCountersRecord& counters, Delivery outcome, std::size_t bytes);

}  // namespace platform
