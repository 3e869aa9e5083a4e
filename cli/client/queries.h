// SPDX-License-Identifier: MIT
//
// The questions of mvrpctl and their answers as records: what the requests of the command channel
// say about a switch, its ports and its VLANs. Each call is one exchange of pipelined requests, or
// two where the first says what to ask.
//
// Errors: ConnectionError when the connection ends or an answer has the wrong size; RefusedError
// when the daemon refused a question that can not be left out.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/client/client.h"
#include "platform/channel/protocol.h"
#include "platform/model/vlan_ranges.h"

namespace cli {

/// A daemon refused a request.
class RefusedError : public std::runtime_error {
  public:
    RefusedError(u32 code, const std::string& text) : std::runtime_error(text), status(code) {}
    u32 status;
};

struct GlobalView {
    platform::HostInfoRecord host{};
    bool enabled = false;
    bool compliance = false;
    u32 debugMask = 0;
    u32 pendingPairs = 0;  ///< {port, VLAN} pairs that wait to be applied to the switch
    std::string version;
    /// Which corrections are on, and how often each has acted; nothing from a daemon without them.
    std::optional<platform::CorrectionsRecord> corrections;
    /// Of a pair; nothing from a daemon that does not tell.
    std::optional<platform::StandbyInfoRecord> standby;
};

/// Settings of a port that runs the protocol. Times in ms.
struct PortSettings {
    bool enabled = false;
    u32 registration = 0;
    u32 participant = 0;
    u32 periodicTime = 0;
    u32 joinTime = 0;
    u32 leaveTime = 0;
    u32 leaveAllTime = 0;
};

/// What a view needs to know of ports; what nobody looks at is not asked for. The state of the
/// machines is the dearest by far: the daemon is asked for each VLAN, between two frames.
struct PortParts {
    bool settings = true;  ///< modes and times; without them PortSettings says `enabled` alone
    bool machines = true;  ///< and with them registered, declared, propagated
    bool lists = true;     ///< permitted, permittedTagged, dynamic
    bool counters = true;
};
inline constexpr PortParts kAllParts = {};
inline constexpr PortParts kRunningParts = {.settings = false, .counters = false};
inline constexpr PortParts kConfigParts = {.machines = false, .counters = false};
inline constexpr PortParts kMemberParts = {.settings = false, .machines = false, .counters = false};
inline constexpr PortParts kCounterParts = {.settings = false, .machines = false, .lists = false};
inline constexpr PortParts kExplainParts = {.counters = false};
inline constexpr PortParts kNameParts = {
    .settings = false, .machines = false, .lists = false, .counters = false};

struct PortView {
    platform::SwitchPortRecord port{};
    std::optional<PortSettings> settings;           ///< none: MVRP is not switched on here
    std::vector<platform::MachineRecord> machines;  ///< by VLAN ID - 1; empty without settings
    platform::VlanBitmap registered{};              ///< REG-BIT
    platform::VlanBitmap declared{};                ///< applicant in a declaring state
    platform::VlanBitmap propagated{};              ///< PROPAGATE-BIT
    platform::VlanBitmap permittedTagged{};
    platform::VlanBitmap permitted{};  ///< tagged and untagged
    platform::VlanBitmap dynamic{};    ///< learnt memberships in the switch now
    platform::PortCountersRecord counters{};
};

struct VlansView {
    platform::VlanBitmap staticVlans{};
    platform::VlanBitmap dynamicVlans{};
    std::vector<PortView> ports;
};

/// True for the applicant states in which a participant declares an attribute: VP, VN, AN, AA, QA,
/// AP, QP and, for GVRP, VA.
bool isDeclaring(u32 applicant);

GlobalView queryGlobal(Client& client);

/// Ports of the switch in ascending order of units.
std::vector<platform::SwitchPortRecord> queryPortList(Client& client);

/// These parts of each of these ports; what was not asked for stays empty.
std::vector<PortView> queryPorts(Client& client,
                                 const std::vector<platform::SwitchPortRecord>& ports,
                                 const PortParts& parts = kAllParts);

/// Kinds of all VLANs, and the ports.
VlansView queryVlans(Client& client, const PortParts& parts = kAllParts);
/// The same with these ports only.
VlansView queryVlans(Client& client, const std::vector<platform::SwitchPortRecord>& ports,
                     const PortParts& parts = kAllParts);

/// The switch's port of this unit or name. Throws RefusedError, with the ports that there are.
platform::SwitchPortRecord findPort(Client& client, const std::string& unitOrName);

/// The setting of an attribute; null when it is none of a port's settings, or its enabling.
u32* settingOf(PortSettings& settings, u32 attribute);

/// Fills in what the machines of a view say: registered, declared, propagated.
void setsOfMachines(PortView& view);

/// A set request with a number as its value. @return the status
u32 setNumber(Client& client, platform::Request request, u32 unit, u32 attribute, u32 value);

}  // namespace cli
