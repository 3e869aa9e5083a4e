// SPDX-License-Identifier: MIT
//
// Which correction decided for the VLAN on the port, in words.
#include <algorithm>

#include "cli/client/port_ranges.h"
#include "cli/explain/explain.h"
#include "cli/print/words.h"
#include "cli/views/corrections.h"

namespace cli {

namespace {

/// Who needs a VLAN whose withdrawal was not passed on.
std::string needText(const ExplainFacts& facts) {
    const std::string from = registeredOn(facts);
    const bool isOne = std::ranges::count_if(facts.others, [](const VlanOnPort& other) {
                           return isRegistered(other.machine);
                       }) == 1;
    if (!from.empty())
        return from + (isOne ? " still registers it" : " still register it");
    return facts.vlanIsStatic ? "it is static here" : "another port still registered it then";
}

std::string whatWasDone(const ExplainFacts& facts, Correction which) {
    const std::string name = facts.port.port.name.data();
    switch (which) {
        case Correction::LeaveNeeded:
            return "Kept on " + name + ": " + needText(facts);
        case Correction::StaticKept:
            return "Kept on " + name + ": it is static here";
        case Correction::StaticHeard:
            return "The neighbour of " + name + " is heard about it although it is static here";
        case Correction::SpareOthers:
            return "Spared on " + name + " when other VLANs went: it is still needed";
        case Correction::ApplySoon:
            return "Put on " + name + " without waiting for the next second";
        case Correction::Admission:
            return "Refused on " + name + ": it is not admitted there";
        default:
            return "On " + name + ", " + correctionWords(which);
    }
}

}  // namespace

std::string registeredOn(const ExplainFacts& facts) {
    std::vector<std::string> names;
    for (const VlanOnPort& other : facts.others)
        if (isRegistered(other.machine))
            names.emplace_back(other.port.name.data());
    return portRangesText(names, ", ", "");
}

std::string decisionText(const ExplainFacts& facts) {
    const platform::CorrectionLastRecord& decided = facts.port.decided;
    if (decided.correction >= kCorrectionCount)
        return {};
    const auto which = static_cast<Correction>(decided.correction);
    return whatWasDone(facts, which) + " (correction " + std::string(correctionName(which)) + ", " +
           agoText32(decided.agoMs) + ").";
}

}  // namespace cli
