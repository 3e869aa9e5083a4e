// SPDX-License-Identifier: MIT
//
// What the switch shows in place (platform/contract/qor_facts.h): the types of its VLANs, and PVID
// and permit list of its ports.
//
// Owned and written by StateSwitch, with its mutex_ held, in the same step as the state itself;
// read by anybody, without a lock.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <span>
#include <vector>

#include "platform/contract/qor_facts.h"
#include "platform/switch/switch_state.h"

namespace platform {

class FactPage {
  public:
    FactPage() = default;
    FactPage(const FactPage&) = delete;
    FactPage& operator=(const FactPage&) = delete;
    FactPage(FactPage&&) = delete;
    FactPage& operator=(FactPage&&) = delete;
    ~FactPage() = default;

    /// @return the facts of a unit; null when there is no such port, or another has its place
    const QorPortFacts* port(u32 unit) const {
        const QorPortFacts* facts = places_[unit % places_.size()].load(std::memory_order_acquire);
        return facts != nullptr && facts->of(unit) != 0 ? facts : nullptr;
    }
    /// @return the lower half of QorPortFacts::port of a unit, or 0 as port()
    u32 portWord(u32 unit) const {
        const QorPortFacts* facts = places_[unit % places_.size()].load(std::memory_order_acquire);
        return facts == nullptr ? 0 : facts->of(unit);
    }
    /// @return the type of a VLAN, 0 for none
    u32 typeOf(u32 vid) const {
        return vid >= kFirstVlan && vid <= kLastVlan ? types_.type(vid - 1) : 0;
    }

    /// The VLANs of the switch are those of a state from now on.
    void noteVlans(const SwitchState& state);
    /// These were created as dynamic ones; they were none before.
    void noteCreated(const VlanBitmap& vlans) { types_.dynamic.add(vlans); }
    /// These are gone.
    void noteErased(const VlanBitmap& vlans);
    /// The ports of the switch are these from now on. Allocates for one that has no place yet.
    void notePorts(std::span<const SwitchPort> ports);
    /// One of them became this.
    void notePort(const SwitchPort& port);

  private:
    /// Of ports whose units differ by a multiple of this, one has the place. The others are asked
    /// about, which takes longer.
    static constexpr u32 kPlaces = 1024;

    QorPortFacts& placeMade(u32 place);

    QorVlanTypeFacts types_;
    std::array<std::atomic<QorPortFacts*>, kPlaces> places_{};
    std::vector<std::unique_ptr<QorPortFacts>> owned_;  ///< what `places_` points to
};

}  // namespace platform
