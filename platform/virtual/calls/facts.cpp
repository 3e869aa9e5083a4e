// SPDX-License-Identifier: MIT
//
// What the scenario host shows in place. Looking there is no part of the trace.
#include "platform/virtual/calls/facts.h"

#include "platform/virtual/state/host.h"

namespace scenario {
namespace {

/// @return whether all VLANs are of types that can be shown
bool showTypes(const SwitchState& state, QorVlanTypeFacts& types) {
    QorVlanBytes dynamic{};
    QorVlanBytes fixed{};
    for (u32 vid = 1; vid < state.vlanTypes.size(); vid++) {
        const std::optional<u32>& type = state.vlanTypes[vid];
        if (!type)
            continue;
        if (*type != static_cast<u32>(QorVlanType::Dynamic) &&
            *type != static_cast<u32>(QorVlanType::Static))
            return false;
        QorVlanBytes& set = *type == static_cast<u32>(QorVlanType::Dynamic) ? dynamic : fixed;
        set[(vid - 1) / 8] |= static_cast<u8>(0x80U >> (vid - 1) % 8);
    }
    types.dynamic.assign(dynamic);
    types.fixed.assign(fixed);
    return true;
}

}  // namespace

const QorPortFacts* ShownFacts::show(const SwitchState& state, u32 unit) {
    const auto found = state.ports.find(unit);
    if (found == state.ports.end())
        return nullptr;
    const SwitchPort& port = found->second;
    if (port.pvid > QorPortFacts::kPvidMask || !showTypes(state, types_))
        return nullptr;
    QorVlanBytes permitted{};
    storeBitmap(port.permitted, permitted);
    port_.permitted.assign(permitted);
    port_.types = &types_;
    port_.port.store(QorPortFacts::wordOf(unit, port.pvid, port.admitted.all()),
                     std::memory_order_relaxed);
    return &port_;
}

}  // namespace scenario

const QorPortFacts* qorPortFacts(u32 unit) {
    const scenario::ScenarioHost& host = scenario::scenarioHost();
    // What a reader in place would not be told of: that a question fails.
    if (host.facts == nullptr || host.failures.concerns("ifget") ||
        host.failures.concerns("vlanget"))
        return nullptr;
    return host.facts->show(host.switchState, unit);
}
