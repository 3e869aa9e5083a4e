// SPDX-License-Identifier: MIT
//
// What the command channel asks of the frame layer: cables, wire forms, counters, captures. The
// frame layer (platform/net) implements it; a unit is a port or an aggregation of the switch.
//
// Locking: called by the command thread; implementations guard themselves.
#pragma once

#include <array>
#include <string>

#include "platform/model/host.h"
#include "platform/model/mac_address.h"
#include "platform/model/port.h"
#include "platform/net/recording.h"

namespace platform {

struct CableState {
    WireForm form = WireForm::Native;  ///< as configured
    u32 heard = 0;                     ///< WireForm of the last MVRP frame received, 0 none
    MacAddress peer{};                 ///< source of the last protocol frame received
    std::string cable;                 ///< as the configuration writes it
    int cableError = 0;                ///< errno value of what keeps it from working; 0: nothing
    u32 loopWith = 0;                  ///< unit whose frames come in here; 0: none
};

class PortCables {
  public:
    virtual ~PortCables() = default;
    /// A unit that nothing is connected to yet answers with the defaults.
    virtual CableState cableState(u32 unit) const = 0;
    virtual PortCountersRecord counters(u32 unit) const = 0;

    // The unit exists. On a result other than Ok nothing changed and `error` says what was wrong.
    // Files and sockets lie where requests may name them (RequestPlaces).
    /// @param text  the cable as the configuration writes it
    virtual HostStatus setCable(u32 unit, const std::string& text, std::string& error) = 0;
    /// Has the neighbours of a port that takes part declare again, and the daemon as well, after so
    /// many ms.
    virtual void renew(u32 unit, u32 afterMs) = 0;
    virtual HostStatus setWireForm(u32 unit, WireForm form) = 0;
    /// @param file  pcap file that is created or emptied; with an empty path: stop recording
    virtual HostStatus setRecording(u32 unit, NamedFile file, std::string& error) = 0;
    /// Feeds a pcap file into the port. @param speed  0: as fast as possible; n: n times the speed
    /// of the capture
    virtual HostStatus replay(u32 unit, NamedFile file, u32 speed, std::string& error) = 0;
    /// The unit was deleted from the switch.
    virtual void forget(u32 unit) = 0;
};

}  // namespace platform
