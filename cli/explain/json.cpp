// SPDX-License-Identifier: MIT
#include "cli/client/names.h"
#include "cli/explain/explain.h"
#include "cli/print/json_document.h"
#include "cli/print/words.h"
#include "platform/wire/events.h"

namespace cli {

namespace {

Json agoOrNull(u64 ms) {
    return ms == platform::kNever ? Json(nullptr) : Json(ms);
}

Json agoOrNull32(u32 ms) {
    return ms == platform::kNever32 ? Json(nullptr) : Json(ms);
}

Json eventOrNull(u32 ms, u8 event) {
    const bool known = ms != platform::kNever32 && event < platform::kPduEventCount;
    return known ? Json(platform::pduEventName(static_cast<platform::PduEvent>(event)))
                 : Json(nullptr);
}

Json correctionOrNull(const platform::CorrectionLastRecord& decided) {
    const bool known = decided.correction < kCorrectionCount;
    return known ? Json(std::string(kCorrectionNames[decided.correction])) : Json(nullptr);
}

Json portOf(const VlanOnPort& port) {
    const platform::VlanHistoryRecord& vlan = port.history.vlan;
    const u32 left = port.settings && isLeaving(port.machine)
                         ? leaveTimeLeft(port.history.port, port.settings->leaveTime)
                         : 0;
    return {
        {"port", port.port.unit},
        {"name", port.port.name.data()},
        {"linkUp", port.port.link == 1},
        {"portMvrpEnabledStatus", port.settings && port.settings->enabled},
        {"registration", port.settings
                             ? Json(nameOf(kRegistrationModes, port.settings->registration))
                             : Json(nullptr)},
        {"participant", port.settings ? Json(nameOf(kParticipantModes, port.settings->participant))
                                      : Json(nullptr)},
        {"applicant", nameOf(kApplicantStates, port.machine.applicant)},
        {"registrar", nameOf(kRegistrarStates, port.machine.registrar)},
        {"registered", isRegistered(port.machine)},
        {"declared", isDeclaring(port.machine.applicant)},
        {"propagated", isPropagated(port.machine)},
        {"leaveTimeLeft", left == 0 ? Json(nullptr) : Json(left)},
        {"permitted", port.permitted},
        {"permittedTagged", port.permittedTagged},
        {"learntMember", port.learntMember},
        {"declaredAge", agoOrNull32(vlan.joinMs)},
        {"declaredEvent", eventOrNull(vlan.joinMs, vlan.joinEvent)},
        {"declaredBy", vlan.joinMs == platform::kNever32 ? Json(nullptr) : macOrNull(vlan.origin)},
        {"withdrawnAge", agoOrNull32(vlan.leaveMs)},
        {"sentAge", agoOrNull32(vlan.sentMs)},
        {"sentEvent", eventOrNull(vlan.sentMs, vlan.sentEvent)},
        {"leaveAllInAge", agoOrNull(port.history.port.leaveAllInMs)},
        {"leaveAllOutAge", agoOrNull(port.history.port.leaveAllOutMs)},
        {"lastPduAge", agoOrNull(port.lastPduMs)},
        {"correction", correctionOrNull(port.decided)},
        {"correctionAge",
         port.decided.correction < kCorrectionCount ? Json(port.decided.agoMs) : Json(nullptr)},
    };
}

}  // namespace

std::string explanationJson(const ExplainFacts& facts, const Explanation& explanation) {
    Json others = Json::array();
    for (const VlanOnPort& other : facts.others)
        others.push_back(portOf(other));
    return finished({
        {"vlan", facts.vid},
        {"onPort", explanation.onPort},
        {"cause", causeName(explanation.cause)},
        {"why", explanation.why},
        {"declaration", explanation.declaration},
        {"decision", explanation.decision.empty() ? Json(nullptr) : Json(explanation.decision)},
        {"advice", explanation.advice},
        {"vlanStatus", facts.vlanIsStatic   ? Json("permanent")
                       : facts.vlanIsLearnt ? Json("dynamicMvrp")
                                            : Json(nullptr)},
        {"pendingChanges", facts.global.pendingPairs},
        {"port", portOf(facts.port)},
        {"otherPorts", others},
    });
}

}  // namespace cli
