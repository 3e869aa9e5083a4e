// SPDX-License-Identifier: MIT
//
// Finds out what has changed on the switch and on the ports, and keeps it in a ring. Memberships
// and learnt VLANs are compared whenever the daemon has asked the switch for a change, which is a
// few hundred nanoseconds a batch; everything else is compared when somebody asks for changes:
// links, ports, static VLANs, and on demand the state of every VLAN.
//
// Locking: one mutex around what was known last and the ring. The driver's lock is taken inside it,
// the daemon's never: states of VLANs are read before it is taken.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "platform/observe/change_ring.h"
#include "platform/observe/vlan_times.h"
#include "platform/runtime/tasks/news.h"
#include "platform/switch/switch_driver.h"
#include "platform/switch/switch_observer.h"

namespace platform {

/// A port as the feed knows it.
struct PortNow {
    u32 unit;
    bool linkUp;
    bool takesPart;
    VlanBitmap members;  ///< learnt VLANs
};

class ChangeFeed {
  public:
    /// Reads the states of all VLANs of a port. @return false when MVRP is off at the port
    using MachineReader = std::function<bool(u32 unit, std::vector<MachineRecord>& machines)>;

    /// `driver` outlives it.
    explicit ChangeFeed(const SwitchDriver& driver);
    /// Before the first changes().
    void setMachineReader(MachineReader reader) { readMachines_ = std::move(reader); }
    /// Told when a port has other members, with mutex_ held. Null: nobody. Set before
    /// switchCalled(); outlives it.
    void setNews(News* news) { news_ = news; }

    /// The daemon asked the switch for a change. Any thread.
    void switchCalled(SwitchCall call, u32 unit, const VlanBitmap& vlans, bool done);
    /// Copies what is known of all ports, by unit, when anything of them may have changed.
    /// @param asOf  what it was called with before; 0 the first time
    /// @return whether there was anything to copy. Any thread
    bool portsNow(u64& asOf, std::vector<PortNow>& ports);
    /// Since when the port has its learnt VLANs, as far as they came while it took part: what was
    /// found at the start is left out. Any thread.
    std::vector<VlanTimeRun> membersSince(u32 unit);
    /// Looks for what has changed, and appends the answer to a ChangesQuery. The command task.
    void changes(const ChangesQuery& query, std::vector<u8>& reply);

  private:
    struct KnownPort {
        bool linkUp = false;
        bool takesPart = false;
        VlanBitmap members{};
        std::vector<MachineRecord> machines;  ///< empty: not read yet, or MVRP is off
    };

    void add(ChangeKind kind, u32 unit, u32 firstVid = 0, u32 lastVid = 0);
    void addRuns(ChangeKind kind, u32 unit, const VlanBitmap& vlans);
    void compareMembers(u32 unit, KnownPort& known);
    void noteSince(u32 unit, const VlanBitmap& vlans);
    u32 secondsNow() const;
    /// Notes a change of the VLAN's kind in vlans_; addVlans() adds what was noted as runs.
    void compareVlan(u32 vid);
    void addVlans();
    void compareVlans();
    void comparePorts();
    void comparePort(const PortSummary& port);
    void addMachines(u32 unit, const std::vector<MachineRecord>& before,
                     const std::vector<MachineRecord>& after);
    void compareMachines();

    const SwitchDriver& driver_;
    const u64 startMs_;
    MachineReader readMachines_;
    News* news_ = nullptr;
    u64 nextMachinesMs_ = 0;              ///< of the command task
    std::vector<MachineRecord> scratch_;  ///< of the command task

    std::mutex mutex_;
    ChangeRing ring_;                 ///< guarded by mutex_, as the following
    std::map<u32, KnownPort> ports_;  ///< by unit
    /// By unit, of ports that took part, and VLAN ID: when the membership came, seconds since the
    /// feed began and one; 0: not known.
    std::map<u32, std::vector<u32>> memberSince_;
    u64 memberChanges_ = 1;  ///< counts changes of members
    std::vector<u8> kinds_;  ///< QorVlanType by VLAN ID, 0: does not exist
    struct {
        VlanBitmap learnt, learntGone, isStatic, staticGone;
    } vlans_{};  ///< changes of kind that were found and not added yet
};

}  // namespace platform
