// SPDX-License-Identifier: MIT
//
// What one configuration file says, checked and with its defaults filled in: plain records without
// behaviour. Owned by whoever loaded the file; read-only from then on, so it needs no lock.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/contract/corrections.h"
#include "platform/contract/management.h"
#include "platform/contract/types.h"
#include "platform/model/cable.h"
#include "platform/model/host.h"
#include "platform/model/mac_address.h"
#include "platform/model/port.h"
#include "platform/model/vlan_ranges.h"

namespace platform {

/// The daemon's option for how many ports may run the protocol, 0 for its own number.
inline constexpr const char* kPortNumberOption = "mvrp.maxifnum";
/// Its value on a Linux bridge whose file does not say: ports come and go there, so there are none
/// to count. Room that is not used costs no memory.
inline constexpr u32 kLinuxPortNumber = 512;

/// One port or aggregation.
struct PortConfig {
    u32 unit = 0;
    bool isAggregation = false;
    std::string name;
    MacAddress mac{};
    u32 mtu = 1500;  ///< bytes
    u32 pvid = 1;
    VlanBitmap permitTagged{};  ///< carried tagged, without those of `permitUntagged`
    VlanBitmap permitUntagged{};
    bool linkUp = true;
    bool eligible = true;  ///< may run the protocol
    CableConfig cable;
    WireForm wireForm = WireForm::Native;
    u32 aggregation = 0;     ///< unit of the aggregation it is a member of; 0: none
    u32 maxVlans = 0;        ///< VLANs that may be registered on it at a time; 0: no limit
    u32 maxPdus = 0;         ///< PDUs that it takes a second, and at once; 0: no limit
    std::string recordFile;  ///< pcap file that its frames are written to; empty: none
    std::string replayFile;  ///< pcap file whose frames are fed into it; empty: none

    bool operator==(const PortConfig&) const = default;
};

/// Management settings of a port. What is absent is left as the daemon has it. Times in ms.
struct PortManagement {
    std::optional<u32> enable;        ///< 1 on, 2 off
    std::optional<u32> registration;  ///< 1 normal, 2 fixed, 3 forbidden
    std::optional<u32> participant;   ///< 1 full, 2 no-observe, 3 quiet
    std::optional<u32> periodicTime;
    std::optional<u32> joinTime;
    std::optional<u32> leaveTime;
    std::optional<u32> leaveAllTime;

    bool operator==(const PortManagement&) const = default;
};

/// The times that most switches use (IEEE 802.1Q 10.7.11), in ms.
inline constexpr u32 kStandardJoinMs = 200;
inline constexpr u32 kStandardLeaveMs = 600;
inline constexpr u32 kStandardLeaveAllMs = 10000;

/// Fills in the standard times where nothing else is said.
inline PortManagement withStandardTimes(PortManagement port) {
    port.joinTime = port.joinTime.value_or(kStandardJoinMs);
    port.leaveTime = port.leaveTime.value_or(kStandardLeaveMs);
    port.leaveAllTime = port.leaveAllTime.value_or(kStandardLeaveAllMs);
    return port;
}

/// PDUs a second that a port of a Linux bridge may be sent, unless a [[port]] says otherwise.
inline constexpr u32 kLinuxMostPdus = 100;

/// What a port of a Linux bridge is set to where no [[port]] says otherwise.
inline PortManagement linuxPortDefaults() {
    PortManagement port;
    port.participant = MVRP_PARTICIPANT_NO_OBSERVE;  // a link of a bridge is point to point
    return withStandardTimes(port);
}

/// What becomes of static VLANs on the ports of a Linux bridge that take part.
enum class StaticVlans {
    Carried,       ///< a port carries every static VLAN of its permit list
    AsConfigured,  ///< a port carries those that were configured on it
};

/// What becomes of the daemon's own VLAN entries on a Linux bridge when it ends.
enum class OnStop { Remove, Keep };

/// The ports of a Linux bridge that forward no protocol frames while MVRP is on.
enum class GuardedPorts {
    All,         ///< a bridge that speaks MVRP relays none
    TakingPart,  ///< those that do not take part relay as if there were no daemon
};

/// Whether VLAN 1 of a Linux bridge is static.
enum class VlanOne {
    AsFound,  ///< where others configured it, as any VLAN
    Always,   ///< without any entry, too
};

/// A [[port]] of the Linux driver: what holds for the bridge's ports whose names it matches.
struct LinuxPortRule {
    std::string pattern;  ///< of interface names, as fnmatch(3) reads it
    VlanBitmap permit = vlanRange(kFirstVlan, kLastVlan);
    WireForm wireForm = WireForm::Ieee;
    std::string recordFile;        ///< as PortConfig; only with a pattern that is a plain name
    u32 maxVlans = 0;              ///< as PortConfig
    u32 maxPdus = kLinuxMostPdus;  ///< as PortConfig
    PortManagement management = linuxPortDefaults();

    bool operator==(const LinuxPortRule&) const = default;
};

struct LinuxBridgeConfig {
    std::string bridge;  ///< name of the interface
    StaticVlans staticVlans = StaticVlans::Carried;
    OnStop onStop = OnStop::Remove;
    GuardedPorts guard = GuardedPorts::All;
    VlanOne vlanOne = VlanOne::AsFound;
    /// How long an entry for a static VLAN outlives its reason, ms; nothing: by the port's times.
    std::optional<u32> lingerMs;
    std::vector<LinuxPortRule> rules;  ///< in the order of the file
    LinuxPortRule rest;                ///< of ports that no rule matches

    bool operator==(const LinuxBridgeConfig&) const = default;

    /// Takes over all of another's but the bridge.
    void follow(const LinuxBridgeConfig& other) {
        staticVlans = other.staticVlans;
        onStop = other.onStop;
        guard = other.guard;
        vlanOne = other.vlanOne;
        lingerMs = other.lingerMs;
        rules = other.rules;
        rest = other.rest;
    }

    /// The first rule that matches the name, or `rest`.
    const LinuxPortRule& ruleOf(const std::string& interfaceName) const;
};

struct SwitchConfig {
    DriverKind driver = DriverKind::SoftwareSwitch;
    std::string name;               ///< of this switch; the host's name unless given
    std::vector<PortConfig> ports;  ///< ascending by unit
    VlanBitmap staticVlans{};       ///< VLAN 1 always among them
    LinuxBridgeConfig linuxBridge;  ///< of the Linux driver, which has no `ports`
    /// A port that starts forwarding asks its neighbours to declare again (LeaveAll).
    bool askWhenForwarding = false;
    /// A port that hears frames of this switch takes no part for a while.
    bool loopGuard = false;

    bool operator==(const SwitchConfig&) const = default;
};

/// Management settings, applied at start through the handlers of the command channel.
struct ManagementConfig {
    std::optional<u32> enable;            ///< 1 on, 2 off
    std::optional<u32> compliance;        ///< 1 on, 2 off
    std::map<u32, PortManagement> ports;  ///< by unit

    bool operator==(const ManagementConfig&) const = default;
};

inline constexpr u32 kStandardLostAfterMs = 1000;
inline constexpr u32 kStandardHeartbeatMs = 250;

struct StandbyConfig {
    bool configured = false;  ///< false: a single card, never a peer
    HostRole role = HostRole::Active;
    std::string listenPath;                  ///< of a standby: the stream socket that it listens on
    std::string peerPath;                    ///< of an active: the standby's socket
    u32 lostAfterMs = kStandardLostAfterMs;  ///< a peer that says nothing for so long is lost
    u32 heartbeatMs = kStandardHeartbeatMs;  ///< that an active sends and has answered
    u32 takeOverAfterS = 0;  ///< a standby without its active for so long takes over; 0: never

    bool operator==(const StandbyConfig&) const = default;
};

/// What the process itself may do.
struct ProcessConfig {
    std::string user;         ///< to change to when it is started as root; empty: see privileges.h
    bool keepRoot = false;    ///< stay root where nothing else is said and root started it
    bool keepNetRaw = false;  ///< keep CAP_NET_RAW: interfaces may be plugged in while it runs

    bool operator==(const ProcessConfig&) const = default;
};

/// One of the files that a configuration was read from.
struct ConfigPart {
    std::string fragment;  ///< name in the directory of fragments; empty: the main file
    std::vector<std::string> settings;  ///< what it sets, see settingNames()

    bool operator==(const ConfigPart&) const = default;
};

struct HostConfig {
    std::vector<ConfigPart> parts;  ///< the main file, then the fragments in their order
    std::map<std::string, std::string> options;  ///< start-up options by name, as text
    CorrectionSet corrections;                   ///< that the daemon runs with
    SwitchConfig network;
    ManagementConfig management;
    PortManagement otherPorts;  ///< of ports that `management` does not name
    ProcessConfig process;
    std::string commandGroup;  ///< group whose members may use the command channel; empty: none
    std::string readGroup;     ///< group whose members may read over it; empty: none
    /// Where requests may name files and sockets; nothing: in the runtime and state directories.
    std::optional<std::vector<std::string>> requestDirectories;
    bool debugSocket = false;  ///< run the daemon's debug socket server
    StandbyConfig standby;
    std::string storeFile;      ///< configuration store; empty: none
    std::string metricsListen;  ///< address that metrics are served at, see TcpAddress; empty: none

    bool operator==(const HostConfig&) const = default;
};

}  // namespace platform
