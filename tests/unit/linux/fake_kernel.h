// SPDX-License-Identifier: MIT
//
// A kernel in memory: a bridge with ports that behave as those of the real one do, as far as the
// driver is concerned. What others do is done by the calls that say so; requests can be made to
// fail, and notifications to be lost or to wait.
#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/kernel.h"
#include "platform/runtime/files/descriptor.h"

namespace platform::testing {

/// Thrown in place of a kill -9: the driver gets no further, and its kernel keeps what was done.
struct Killed {};

class FakeKernel final : public Kernel {
  public:
    FakeKernel();

    // The driver's side.
    KernelResult readLinks(std::vector<KernelLink>& links) override;
    KernelResult readVlans(std::vector<KernelVlans>& vlans) override;
    KernelResult changeVlans(u32 port, VlanChange change, const VlanBitmap& vlans) override;
    KernelResult setGuard(u32 port, bool on) override;
    KernelResult readGuards(std::span<const u32> ports, std::vector<u32>& guarded) override;
    int waitDescriptor() const override { return ready_.get(); }
    void readEvents(std::vector<KernelEvent>& events) override;

    // Others.
    void addBridge(u32 index, const std::string& name, bool filtering = true);
    void addLink(u32 index, const std::string& name, LinkKind kind = LinkKind::Other);
    void deleteLink(u32 index);
    /// Into a bridge, with its default PVID, or into a bond.
    void enslave(u32 index, u32 master);
    void release(u32 index);
    void rename(u32 index, const std::string& name);
    void setFiltering(u32 bridge, bool on);
    void setMultipleTrees(u32 bridge, bool on);
    void setUp(u32 index, bool up);
    void setMtu(u32 index, u32 bytes);
    void setStp(u32 index, StpState state);
    void addVlans(u32 index, const VlanBitmap& vlans);
    void addUntagged(u32 index, u32 vid, bool pvid);
    void removeVlans(u32 index, const VlanBitmap& vlans);
    /// Of a port or the bridge itself.
    const KernelVlans& vlansOf(u32 index) const { return vlans_.at(index); }
    /// As deleting the qdisc that it hangs at.
    void removeGuard(u32 index);
    bool guarded(u32 index) const { return guards_.contains(index); }

    // Faults.
    /// A new process has a new socket: what waited is not told to it.
    void dropEvents() { events_.clear(); }
    /// All waiting notifications are thrown away, and the loss is told.
    void loseEvents();
    /// The next so many changes do half of what they were asked for and fail.
    void failChanges(u32 count, int error) {
        failures_ = count;
        failure_ = error;
    }
    void failGuards(bool fail) { guardsFail_ = fail; }
    /// Something changed among the filters of a port.
    void tellGuard(u32 index);
    /// As before the first bridge of a system: nothing answers questions about VLANs until one is
    /// made.
    void unloadBridges() { bridgesLoaded_ = false; }
    void failReads(u32 count) { readFailures_ = count; }
    /// From now on requests sleep in it, as they do while somebody has the kernel's lock, until it
    /// is let go. They are made by another thread then.
    void holdLock() { gate_.lock(); }
    void letGo() { gate_.unlock(); }
    /// Throws Killed at the n-th call from now, counted from 1, before or after it has done its
    /// work; 0: never.
    void killAt(u32 call, bool after) {
        killCall_ = call;
        killAfter_ = after;
    }

    struct Request {
        u32 port;
        VlanChange change;
        VlanBitmap vlans;
    };
    std::vector<Request> requests;
    u32 reads = 0;         ///< of all VLANs
    u32 guardChanges = 0;  ///< asked for by the driver

  private:
    void tell(const KernelEvent& event);
    void tellLink(u32 index) { tell({KernelEventKind::Link, links_.at(index), {}}); }
    void tellVlans(u32 index) { tell({KernelEventKind::Vlans, {}, vlans_.at(index)}); }
    /// @return whether anything is different
    bool apply(KernelVlans& entries, VlanChange change, const VlanBitmap& vlans);
    bool dies(bool after);

    std::map<u32, KernelLink> links_;
    std::map<u32, KernelVlans> vlans_;
    std::set<u32> guards_;
    std::mutex gate_;
    std::mutex eventsMutex_;  ///< the monitor reads them without the driver's lock
    std::vector<KernelEvent> events_;
    Descriptor ready_;
    bool bridgesLoaded_ = true;
    u32 failures_ = 0;
    int failure_ = 0;
    bool guardsFail_ = false;
    u32 readFailures_ = 0;
    u32 killCall_ = 0;
    bool killAfter_ = false;
};

}  // namespace platform::testing
