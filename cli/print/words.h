// SPDX-License-Identifier: MIT
//
// The states of the machines, addresses and times, in plain words.
#pragma once

#include <array>
#include <string>

#include "platform/channel/observations.h"
#include "platform/channel/protocol.h"
#include "platform/model/mac_address.h"

namespace cli {

/// What an applicant state of IEEE 802.1Q 10.7 means: "declared, and quiet until a LeaveAll".
std::string applicantWords(u32 applicant);
/// What the registrar of a VLAN means, together with its flags: "registered".
std::string registrarWords(const platform::MachineRecord& machine);

/// Whether anything is known of the VLAN on the port.
bool inUse(const platform::MachineRecord& machine);
bool isRegistered(const platform::MachineRecord& machine);
bool isPropagated(const platform::MachineRecord& machine);
/// Registered, but withdrawn unless somebody declares it again before the leave timer ends.
bool isLeaving(const platform::MachineRecord& machine);

using platform::formatMac;

/// What keeps the cable of a port from working: "Too many open files"; nothing when it works.
std::string cableErrorText(const platform::SwitchPortRecord& port);

/// "0.3 s", "12 s", "5 min", "3 h", "2 d".
std::string durationText(u64 ms);
/// "12 s ago", or "never".
std::string agoText(u64 ms);
std::string agoText32(u32 ms);

/// Milliseconds until the leave timer of a port ends, as far as the frames tell: counted from the
/// last Lv or LeaveAll. 0: due, or not known.
u32 leaveTimeLeft(const platform::PortHistoryRecord& history, u32 leaveTimeMs);

}  // namespace cli
