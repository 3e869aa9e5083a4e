// SPDX-License-Identifier: MIT
#include "platform/switch/fact_page.h"

#include "platform/model/vlan_algebra.h"
#include "platform/switch/admission.h"

namespace platform {
namespace {

/// No reader may take the list of one port for that of another: while it changes hands the place is
/// nobody's.
void note(const SwitchPort& port, QorPortFacts& facts) {
    if (facts.of(port.unit) == 0)
        facts.port.store(0, std::memory_order_relaxed);
    facts.permitted.assign(vlanUnion(port.tagged, port.untagged));
    facts.port.store(QorPortFacts::wordOf(port.unit, port.pvid, admitsAll(port)),
                     std::memory_order_release);
}

}  // namespace

void FactPage::noteVlans(const SwitchState& state) {
    const VlanBitmap dynamic = state.vlans(QorVlanType::Dynamic);
    const VlanBitmap fixed = state.vlans(QorVlanType::Static);
    types_.dynamic.add(dynamic);
    types_.fixed.assign(fixed);
    types_.dynamic.assign(dynamic);
}

void FactPage::noteErased(const VlanBitmap& vlans) {
    types_.dynamic.remove(vlans);
    types_.fixed.remove(vlans);
}

QorPortFacts& FactPage::placeMade(u32 place) {
    QorPortFacts* facts = places_[place].load(std::memory_order_relaxed);
    if (facts == nullptr) {
        facts = owned_.emplace_back(std::make_unique<QorPortFacts>()).get();
        facts->types = &types_;
        places_[place].store(facts, std::memory_order_release);
    }
    return *facts;
}

void FactPage::notePort(const SwitchPort& port) {
    QorPortFacts* facts = places_[port.unit % kPlaces].load(std::memory_order_relaxed);
    if (facts != nullptr && facts->of(port.unit) != 0)
        note(port, *facts);
}

void FactPage::notePorts(std::span<const SwitchPort> ports) {
    std::array<const SwitchPort*, kPlaces> holders{};
    for (const SwitchPort& port : ports)
        holders[port.unit % kPlaces] = &port;
    for (u32 place = 0; place < kPlaces; ++place) {
        if (holders[place] != nullptr)
            note(*holders[place], placeMade(place));
        else if (QorPortFacts* facts = places_[place].load(std::memory_order_relaxed))
            facts->port.store(0, std::memory_order_relaxed);
    }
}

}  // namespace platform
