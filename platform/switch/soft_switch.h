// SPDX-License-Identifier: MIT
//
// The software switch: a driver that keeps everything in memory and needs no privileges. It has no
// data plane but for the forwarding of protocol frames (platform/net).
//
// Locking: one mutex around the state, held for flat-array work only. Changes of the administrator
// are serialised by a second one, taken first, which is held while the notifications are delivered,
// so that they leave in the order of the changes.
#pragma once

#include <mutex>

#include "platform/switch/route_message.h"
#include "platform/switch/soft_state.h"
#include "platform/switch/switch_driver.h"

namespace platform {

class SoftSwitch final : public SwitchDriver {
  public:
    explicit SoftSwitch(const SwitchConfig& config);

    /// Where notifications go; null: nowhere. Set before other threads run.
    void setRouteSink(RouteSink* sink) { sink_ = sink; }

    /// Takes over another configuration; what becomes different is reported. Learnt memberships,
    /// dynamic VLANs and enabled protocols of ports that stay are kept.
    void reconfigure(const SwitchConfig& config);

    bool portState(u32 unit, PortState& state) const override;
    bool portName(u32 unit, std::string& name) const override;
    bool portVlans(u32 unit, VlanSet which, VlanBitmap& vlans) const override;
    bool permits(u32 unit, u32 vid) const override;
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
    DriverKind kind() const override { return DriverKind::SoftwareSwitch; }
    std::vector<PortSummary> listPorts(u32 unit, std::size_t limit) const override;
    HostStatus change(const SwitchChangeRecord& record, std::string& error) override;

  private:
    struct Retired {
        u32 unit;
        QorEndType endType;
    };

    /// @pre mutex_ is held
    void adoptLocked();
    /// @pre changeMutex_ is held, mutex_ is not
    void deliver(const RouteBatch& batch);
    /// Puts a new state in place, remembers what disappeared, and notes the differences.
    void replaceState(SoftState next, RouteBatch& batch);

    std::mutex changeMutex_;
    mutable std::mutex mutex_;
    SoftState state_;                   ///< guarded by mutex_
    VlanBitmap everExisted_{};          ///< guarded by mutex_: VLANs whose index can be described
    std::vector<Retired> retired_;      ///< guarded by mutex_: deleted ports, latest last
    HostRole role_ = HostRole::Active;  ///< guarded by mutex_
    RouteSink* sink_ = nullptr;
};

}  // namespace platform
