// SPDX-License-Identifier: MIT
//
// What the scenario host shows in place. Looking there is no part of the trace.
#include "platform/virtual/calls/facts.h"

#include "platform/virtual/state/host.h"

namespace scenario {

void ShownFacts::showTypes(const VlanTypes& types) {
    QorVlanBytes dynamic{};
    QorVlanBytes fixed{};
    typesFit_ = true;
    for (u32 vid = 1; vid < types.size(); vid++) {
        if (!types[vid])
            continue;
        const auto type = static_cast<QorVlanType>(*types[vid]);
        typesFit_ = typesFit_ && (type == QorVlanType::Dynamic || type == QorVlanType::Static);
        QorVlanBytes& set = type == QorVlanType::Dynamic ? dynamic : fixed;
        set[(vid - 1) / 8] |= static_cast<u8>(0x80U >> (vid - 1) % 8);
    }
    types_.dynamic.assign(dynamic);
    types_.fixed.assign(fixed);
    typesStamp_ = types.stamp();
}

const QorPortFacts* ShownFacts::show(const SwitchState& state, u32 unit) {
    const auto found = state.ports.find(unit);
    if (found == state.ports.end())
        return nullptr;
    if (typesStamp_ != state.vlanTypes.stamp())
        showTypes(state.vlanTypes);
    const SwitchPort& port = found->second;
    if (port.pvid > QorPortFacts::kPvidMask || !typesFit_)
        return nullptr;
    Shown& shown = ports_[unit];
    if (shown.permitted != port.permitted) {
        QorVlanBytes permitted{};
        storeBitmap(port.permitted, permitted);
        shown.facts.permitted.assign(permitted);
        shown.permitted = port.permitted;
    }
    shown.facts.types = &types_;
    shown.facts.port.store(QorPortFacts::wordOf(unit, port.pvid, port.admitted.all()),
                           std::memory_order_relaxed);
    return &shown.facts;
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
