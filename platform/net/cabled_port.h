// SPDX-License-Identifier: MIT
//
// What the frame layer keeps for a port: its cable, the form it speaks, counters and captures.
// Plain records, owned and locked by FrameNet.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>

#include "platform/model/cable.h"
#include "platform/model/port.h"
#include "platform/net/cables/cable.h"
#include "platform/net/recording.h"
#include "platform/net/replay.h"
#include "platform/net/sockets/frame_socket.h"
#include "platform/switch/switch_driver.h"
#include "platform/wire/frame.h"

namespace platform {

/// What the driver answered about a port, and when: see SwitchFacts::changes.
struct PortAnswers {
    u32 asOf = 0;  ///< 0: not asked yet
    FramePolicy policy;
    u32 egress = 0;      ///< the port that frames for this unit go out of, 0 none
    bool leads = false;  ///< frames for `policy.unit` go out of this port
};

/// How many PDUs a port takes: so many a second, and as many at once after a second of silence.
/// What is beyond that is dropped unread, so that one neighbour can not keep the daemon from the
/// others.
struct PduBudget {
    static constexpr u64 kSecondUs = 1'000'000;

    u32 perSecond = 0;  ///< 0: no limit
    u64 countedUs = 0;  ///< when `saved` was counted last
    u64 saved = 0;      ///< millionths of a PDU; a second's at most

    /// Pays for a PDU that comes now. @return false when it is beyond the budget
    bool take(u64 nowUs) {
        if (perSecond == 0)
            return true;
        const u64 passedUs = std::min(nowUs - countedUs, kSecondUs);
        saved = std::min(saved + passedUs * perSecond, kSecondUs * perSecond);
        countedUs = nowUs;
        if (saved < kSecondUs)
            return false;
        saved -= kSecondUs;
        return true;
    }
};

/// Frames of this switch come in.
struct CableLoop {
    u32 with = 0;  ///< unit that sent them
    u64 untilUs = 0;
    bool held = false;  ///< the switch knows
};

struct CabledPort {
    PortAnswers answers;

    /// Source of the frames that the unit sent last, see FrameNet::noteOwnAddress().
    u64 ownAddress = 0;

    // Of the unit that the daemon knows: a port, or an aggregation for its members.
    WireForm form = WireForm::Native;
    u32 heard = 0;           ///< WireForm of the last MVRP frame received, 0 none
    bool heardIeee = false;  ///< a standard frame came since the cable was plugged in
    MacAddress peer{};
    PortCountersRecord counters{};
    PduBudget budget;
    u64 budgetSaidUs = 0;     ///< when it was said last that PDUs are dropped; 0: never
    bool saysBudget = false;  ///< to be said now
    /// The neighbours are asked to declare again then.
    struct Ask {
        u64 atUs = 0;
        bool renew = false;  ///< the daemon hears it, too
    };
    std::optional<Ask> ask;

    // Of the port itself.
    CableConfig cableConfig;
    std::shared_ptr<Cable> cable;
    /// errno value of what keeps the cable from being opened, or from being sent into; 0: nothing.
    int cableError = 0;
    bool saidParts = false;  ///< that frames are sent in parts, since the cable was plugged in
    bool awaited = false;    ///< `cable` is null and is opened as soon as that is possible
    std::optional<CableLoop> loop;
    std::unique_ptr<Recording> recorder;
    std::shared_ptr<Replay> replay;

    bool speaksIeee() const {
        return form == WireForm::Ieee || (form == WireForm::Auto && heardIeee);
    }
};

void countDrop(PortCountersRecord& counters, DropReason reason);
void countDelivery(PortCountersRecord& counters, Delivery outcome, std::size_t bytes);

}  // namespace platform
