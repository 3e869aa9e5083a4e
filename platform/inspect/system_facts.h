// SPDX-License-Identifier: MIT
//
// What there is to know about this system without asking a running daemon: its configuration file,
// the bridge and its ports as the kernel has them, who else speaks for a port, and who else changes
// bridges. For looking only; nothing is changed, and no privilege is needed, though some things are
// seen by root alone.
//
// Plain records, owned by the caller; no lock. What can not be found out is left out and said so in
// a text of its own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/config/host_config.h"
#include "platform/inspect/vlan_device.h"
#include "platform/linux/kernel.h"
#include "platform/linux/ledger.h"

namespace platform {

/// A socket that receives whole frames.
struct PacketListener {
    u32 interface = 0;  ///< 0: all
    u32 protocol = 0;   ///< ethertype, 3 for all of them
    u64 inode = 0;
    int process = 0;      ///< 0: not known, as for other users' processes unless root looks
    std::string program;  ///< name of the process

    bool operator==(const PacketListener&) const = default;
};

/// A program that configures interfaces and may undo what others configured on a bridge.
struct NetworkManager {
    std::string name;
    std::string sign;  ///< the file that says that it is at work

    bool operator==(const NetworkManager&) const = default;
};

/// The guard of an interface (guard.h).
struct GuardFact {
    u32 index = 0;
    bool present = false;  ///< that of the daemon of its bridge
    u16 preference = 0;    ///< of it, among the filters
    u16 strange = 0;       ///< preference of one of another bridge's daemon, 0: none
};

struct SystemFacts {
    std::string configFile;
    bool configThere = false;
    std::vector<std::string> configProblems;
    std::optional<HostConfig> config;

    std::string kernelProblem;  ///< why links, VLANs or guards are not known; empty: they are
    std::vector<KernelLink> links;
    std::vector<KernelVlans> vlans;
    std::vector<GuardFact> guards;  ///< of all members of bridges
    std::vector<VlanDevice> vlanDevices;
    std::vector<PacketListener> listeners;
    std::vector<NetworkManager> managers;
    bool bridgeFirewall = false;  ///< bridged IP packets pass iptables
    bool ledgerThere = false;     ///< of the configured bridge
    /// What it says is the daemon's on each port; empty where it may not be read.
    std::vector<LedgerRecord> ledger;
    bool ledgerForeign = false;  ///< it is of another boot, network namespace or bridge
};

/// Looks at everything.
/// @param configFile  may be missing
/// @param directory   the daemon's runtime directory
SystemFacts collectSystemFacts(const std::string& configFile, const std::string& directory);

/// What two looks at a ledger agree upon: what the daemon was just adding or removing between them
/// is left out.
std::vector<LedgerRecord> steadyRecords(const std::vector<LedgerRecord>& before,
                                        const std::vector<LedgerRecord>& after);

/// The lines of /proc/net/packet. Lines of another form are passed over.
std::vector<PacketListener> parsePacketSockets(const std::string& text);
/// Those that run, and those that have configured one of these interfaces and ended: that one is
/// installed says nothing. @param root  "" for this system
std::vector<NetworkManager> findManagers(const std::string& root,
                                         const std::vector<std::string>& interfaces);
/// Fills in which process each socket belongs to. @param proc  "/proc"
void findOwners(std::vector<PacketListener>& listeners, const std::string& proc);

}  // namespace platform
