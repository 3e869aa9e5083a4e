// SPDX-License-Identifier: MIT
//
// What drivers have in common: the state of the switch in memory, which answers all reads, and the
// dynamic VLANs and memberships that the daemon makes in it. A driver derives from it, carries what
// changes to where it belongs, and puts a new state in place when others change the switch.
//
// Locking: mutex_ around the state, held for flat-array work only. What the daemon reads for each
// VLAN of a received frame is shown in place (FactPage) and read without it. Whatever
// changes the switch as an administrator does is serialised by changeMutex_, taken first, which is
// held while the notifications are delivered, so that they leave in the order of the changes.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "platform/runtime/tasks/news.h"
#include "platform/switch/admission.h"
#include "platform/switch/fact_page.h"
#include "platform/switch/route_message.h"
#include "platform/switch/switch_driver.h"
#include "platform/switch/switch_state.h"

namespace platform {

class StateSwitch : public SwitchDriver {
  public:
    /// Where notifications go; null: nowhere. Set before other threads run.
    void setRouteSink(RouteSink* sink) { sink_ = sink; }
    /// Whether the permit list bars registrations, too: then a registration outlives a list that is
    /// tightened. Set before other threads run.
    void setAdmission(bool on) { admission_ = on; }
    /// Told whenever SwitchFacts::changes counts, with mutex_ held. Null: nobody. Set before other
    /// threads run; outlives it.
    void setNews(News* news) { news_ = news; }
    /// Told of each port whose link came up, or that starts forwarding, after the notification of
    /// it was delivered; with changeMutex_ held. Set before other threads run.
    void setLinkListener(std::function<void(u32 unit)> cameUp) { cameUp_ = std::move(cameUp); }

    /// Has a port count as down, to the daemon and for frames, until it is let go, or deleted.
    void hold(u32 unit, bool held);

    bool portState(u32 unit, PortState& state) const override;
    const SwitchFacts* facts() const override { return &facts_; }
    bool portName(u32 unit, std::string& name) const override;
    bool portVlans(u32 unit, VlanSet which, VlanBitmap& vlans) const override;
    bool permits(u32 unit, u32 vid) const override;
    Admission admit(u32 unit, u32 vid) override;
    bool setProtocol(u32 unit, u32 protocol, bool enabled) override;
    bool addDynamic(u32 unit, const VlanBitmap& vlans) override;
    bool removeDynamic(u32 unit, const VlanBitmap& vlans) override;
    std::optional<QorVlanType> vlanType(u32 vid) const override;
    bool createDynamic(const VlanBitmap& vlans) override;
    bool deleteDynamic(const VlanBitmap& vlans) override;
    bool describeIndex(u32 index, QorIndexInfo& info) const override;
    void setRole(HostRole role) override;
    void adoptMemberships() override;
    u32 removeUnclaimed() override;
    FramePolicy framePolicy(u32 port) const override;
    u32 egressPort(u32 unit) const override;
    std::vector<PortSummary> listPorts(u32 unit, std::size_t limit) const override;

  protected:
    /// @param forwards  FramePolicy::forwarded of all ports
    StateSwitch(SwitchState state, bool forwards);

    /// Called with changeMutex_ held after the role changed or memberships were removed here: a
    /// driver carries that to where it belongs.
    virtual void stateChanged() {}

    /// Has the daemon hear that a port is no member of these VLANs, but for static ones.
    void disown(u32 unit, const VlanBitmap& vlans, RouteBatch& batch) const;
    /// @pre changeMutex_ is held, mutex_ is not
    void deliver(const RouteBatch& batch);
    /// A link came up that replaceState() can not see: it was down in between only. deliver() tells
    /// the listener. @pre changeMutex_ is held
    void noteCameUp(u32 unit) { newlyUp_.push_back(unit); }
    /// Puts a new state in place, remembers what disappeared, and notes the differences.
    /// @pre both mutexes are held
    void replaceState(SwitchState next, RouteBatch& batch);
    /// Of a port of a new state that was there before: what its policy does to what is registered.
    /// @pre mutex_ is held
    void followPolicy(const SwitchPort& before, const VlanBitmap& dynamicVlans, SwitchPort& next) {
        if (admission_)
            keepRegistered(before, dynamicVlans, next);
    }
    /// Whether the permit list bars registrations, too.
    bool barsRegistrations() const { return admission_; }
    /// @pre mutex_ is held
    bool takesPart(const SwitchPort& port) const {
        return role_ == HostRole::Active && (port.mvrp || port.gvrp);
    }

    mutable std::mutex changeMutex_;
    mutable std::mutex mutex_;
    SwitchState state_;                 ///< guarded by mutex_
    HostRole role_ = HostRole::Active;  ///< guarded by mutex_

  private:
    struct Retired {
        u32 unit;
        QorEndType endType;
    };

    /// Has the page show the state, and keeps whether there are aggregations to think of.
    /// @pre mutex_ is held, or nobody else knows the object
    void noteState();
    /// What SwitchFacts::changes counts has changed. @pre mutex_ is held
    void countChange() {
        changes_.fetch_add(1, std::memory_order_release);
        if (news_ != nullptr)
            news_->tell();
    }
    /// @pre mutex_ is held
    void adoptLocked();
    /// @pre mutex_ is held
    bool isRetired(u32 unit) const;

    FactPage page_;
    std::atomic<u32> changes_{1};
    const SwitchFacts facts_{page_, changes_};
    const bool forwards_;
    bool aggregated_ = false;       ///< guarded by mutex_: a port is a member of an aggregation
    VlanBitmap everExisted_{};      ///< guarded by mutex_: VLANs whose index can be described
    std::vector<Retired> retired_;  ///< guarded by mutex_: deleted ports, latest last
    bool admission_ = false;
    RouteSink* sink_ = nullptr;
    News* news_ = nullptr;
    std::function<void(u32)> cameUp_;
    std::vector<u32> newlyUp_;  ///< guarded by changeMutex_: to be told by deliver()
};

}  // namespace platform
