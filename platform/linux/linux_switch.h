// SPDX-License-Identifier: MIT
//
// The Linux driver: a VLAN-aware bridge of this machine's kernel. Units are interface indexes,
// ports are the members of the bridge, a bond among them is an aggregation. What the daemon reads
// comes from memory; what it changes goes to the kernel in the task that asks.
//
// A port carries in the kernel what others configured on it, and of ours: its dynamic memberships,
// and while it takes part every static VLAN of its permit list. One procedure makes the difference
// between that and what the kernel has, at every occasion. What is ours is in the ledger, and
// nothing else is ever removed. An entry for a VLAN that is static no more lingers: a neighbour
// that still needs the VLAN is to have declared it before it would be taken off. A kernel that does
// not answer in time (PatientKernel) refuses nothing: what was asked for stays wanted, and the next
// look finds what became of it.
//
// Locking: as StateSwitch; changeMutex_ is also held for every call of the kernel but readEvents(),
// so a look at the kernel sees all that was changed before. handleEvents() belongs to the monitor
// thread. The listeners are called with changeMutex_ held: they hand over to another thread.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/config/host_config.h"
#include "platform/linux/bridge_book.h"
#include "platform/linux/churn.h"
#include "platform/linux/kernel.h"
#include "platform/linux/ledger.h"
#include "platform/runtime/ending.h"
#include "platform/switch/state_switch.h"

namespace platform {

/// A port as the host has to know it.
struct LinuxPortFacts {
    u32 unit = 0;
    std::string name;
    u32 generation = 0;  ///< differs when the port came anew under an old index

    bool operator==(const LinuxPortFacts&) const = default;
};

struct LinuxListeners {
    /// Ports came, went or were renamed.
    std::function<void()> portsChanged;
    /// Something could not be done and is to be tried again: call handleEvents() in a while.
    std::function<void()> tryAgain;
};

class LinuxSwitch final : public StateSwitch {
  public:
    /// @param kernel      outlives it
    /// @param ledgerPath  of the file that start() opens
    LinuxSwitch(Kernel& kernel, LinuxBridgeConfig config, std::string ledgerPath);

    /// Set before other threads run.
    void setListeners(LinuxListeners listeners) { listeners_ = std::move(listeners); }
    /// @param nowMs  milliseconds that never go back; the machine's unless given. Before start().
    void setClock(std::function<u64()> nowMs) { nowMs_ = std::move(nowMs); }
    /// Looks at the bridge for the first time, and finds in the ledger what an earlier daemon left
    /// there: dynamic memberships, that adoptMemberships() marks. A bridge that is not there yet,
    /// or is not usable yet, is taken when it is: see awaited().
    /// @param error  receives what was wrong and what to do
    bool start(std::string& error);
    /// Reads the kernel's notifications and acts on them. Also tries again what failed, and takes
    /// out what has lingered long enough.
    void handleEvents();
    /// Whether something is to be tried again.
    bool hasUnfinished() const { return unfinished_; }
    /// What has to come before any port can take part: "br0", "br0 to be VLAN-aware"; empty:
    /// nothing. Any thread, from start() on.
    std::string awaited() const;
    /// How long handleEvents() may wait for notifications, ms; nothing: for ever. Any thread.
    std::optional<u32> lingerMs() const;
    /// Whether MVRP is on, on whichever ports: decides which of them have a guard.
    void setMvrpOn(bool on);
    /// The times of a port as the daemon has them now, ms: how long its entries linger.
    void setTimes(u32 unit, u32 joinMs, u32 leaveMs);
    /// How many changes of VLANs the kernel was asked for; wraps around. Any thread.
    u32 changesAsked() const { return changesAsked_; }
    /// Takes over other settings; that of the bridge's name stays.
    void reconfigure(const LinuxBridgeConfig& config);
    std::vector<LinuxPortFacts> ports() const;
    /// The clean end: takes out what is the daemon's, or leaves it for the next start, as
    /// configured; for a restart, always leaves it. From then on nothing reaches the kernel.
    void stop(Ending ending);

    /// The MTU that the daemon plans its PDUs for, once for each port, is at least Ethernet's own:
    /// an interface may get a smaller one at any time, and what is too long for it then the frame
    /// layer sends in parts (FrameCutter).
    bool portState(u32 unit, PortState& state) const override;
    bool setProtocol(u32 unit, u32 protocol, bool enabled) override;
    bool addDynamic(u32 unit, const VlanBitmap& vlans) override;
    bool removeDynamic(u32 unit, const VlanBitmap& vlans) override;
    u32 removeUnclaimed() override;
    DriverKind kind() const override { return DriverKind::LinuxBridge; }
    HostStatus change(const SwitchChangeRecord& record, std::string& error) override;

  protected:
    void stateChanged() override;

  private:
    enum class BridgeState : u8 { Missing, NotVlanAware, MultipleTrees, Usable };
    static BridgeState bridgeStateOf(const KernelLink& bridge);

    /// What a port's memberships are, to be put back when the kernel refuses.
    struct Memberships {
        VlanBitmap dynamic{};
        VlanBitmap adopted{};
    };

    // All below: changeMutex_ is held, mutex_ only where it is said.
    bool readKernel(BridgeBook& book, std::vector<KernelLink>& links, KernelResult& result);
    KernelResult readBridge(BridgeBook& book, std::vector<KernelLink>& links);
    /// Says, once, that the kernel does not answer, and that it does again.
    /// @return whether there was no answer: what was asked for may still be done
    bool isUnanswered(const KernelResult& result);
    void adoptLedger();
    SwitchState adoptedState();
    void look(const Churn& told);
    void carryOver(BridgeBook& next, const Churn& churn);
    void carryOverPort(BridgePort& next, const BridgePort& old, bool wasRemoved);
    void welcomePort(BridgePort& port);
    void leavePorts(const BridgeBook& next, const std::vector<KernelLink>& links,
                    RouteBatch& batch);
    /// What the daemon is to see of the bridge. @pre mutex_ is held
    SwitchState stateOf(const BridgeBook& book, const Churn& churn);
    void reportBridge(const BridgeBook& next);
    void setUnfinished();

    /// Entries for VLANs that are static no more stay until the neighbours have declared them.
    /// @param gone  VLANs that were static until now
    void beginLinger(const VlanBitmap& gone);
    /// What lingers on the port now.
    static VlanBitmap lingeringOn(const BridgePort& port);
    /// Forgets what has lingered long enough. @return whether there was any
    bool endLinger();
    void noteNextLinger();
    /// Others removed entries of the daemon's from a port: says so, and holds them back for a while
    /// where that has happened too often.
    void noteWiped(BridgePort& port, const VlanBitmap& wiped);
    /// Others took away the guard of a port: says so, and holds it back for a while likewise.
    void noteGuardLost(BridgePort& port);
    /// What was held back for long enough is wanted again.
    void endDisputes();
    u32 lingerTimeOf(const BridgePort& port) const;

    /// The static VLANs that the port carries while it takes part.
    VlanBitmap carriedStatics(const BridgePort& port) const;
    /// What the port is to carry, whoever configured it.
    VlanBitmap wantedOf(const BridgePort& port) const;
    /// Brings the kernel to what is wanted. @return whether it is
    bool settle(BridgePort& port);
    bool writeDifference(BridgePort& port);
    bool addEntries(BridgePort& port, const VlanBitmap& vlans);
    bool removeEntries(BridgePort& port, const VlanBitmap& vlans);
    bool request(BridgePort& port, VlanChange change, const VlanBitmap& vlans);
    void readAgain(BridgePort& port);
    /// SwitchChangeKind::PortRepair. Takes changeMutex_ itself.
    HostStatus repair(const SwitchChangeRecord& record, std::string& error);
    bool wantsGuard(const BridgePort& port) const;
    void settleGuard(BridgePort& port);
    void settleGuards();
    void settleAll();
    template <typename Change, typename IsDone>
    bool changeMemberships(u32 unit, Change change, IsDone isDone);
    Memberships membershipsOf(u32 unit) const;

    Kernel& kernel_;
    const std::string ledgerPath_;
    LinuxListeners listeners_;
    std::atomic<bool> unfinished_{false};
    std::atomic<BridgeState> bridgeState_{BridgeState::Missing};
    std::atomic<u32> changesAsked_{0};
    std::atomic<u64> nextLingerMs_{
        0};  ///< when the first entry has lingered, or was held back, enough; 0: none
    std::function<u64()> nowMs_;
    std::vector<KernelEvent> events_;  ///< the monitor thread's

    // Guarded by changeMutex_.
    LinuxBridgeConfig config_;  ///< its `bridge` never changes, and is read without the lock
    BridgeBook book_;
    VlanBitmap staticVlans_{};
    Ledger ledger_;
    struct Times {
        u32 joinMs = kStandardJoinMs;
        u32 leaveMs = kStandardLeaveMs;
    };
    std::map<u32, Times> times_;  ///< of ports that were told, by unit
    bool mvrpOn_ = false;
    bool unanswered_ = false;  ///< the kernel did not answer the last request in time
    bool unreadable_ = false;  ///< the last look could not read the bridge, and that was said
    bool adopting_ = true;     ///< guards of an earlier daemon stay
    bool stopped_ = false;
    u32 generations_ = 0;
};

}  // namespace platform
