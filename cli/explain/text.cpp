// SPDX-License-Identifier: MIT
#include "cli/client/names.h"
#include "cli/explain/explain.h"
#include "cli/print/words.h"

namespace cli {

namespace {

std::string machineText(const platform::MachineRecord& machine) {
    return inUse(machine) ? nameOf(kApplicantStates, machine.applicant) + "/" +
                                nameOf(kRegistrarStates, machine.registrar)
                          : "-";
}

std::string declaredText(const VlanOnPort& port) {
    const platform::VlanHistoryRecord& vlan = port.history.vlan;
    return vlan.joinMs == platform::kNever32
               ? "never"
               : agoText32(vlan.joinMs) + " by " + formatMac(vlan.origin);
}

std::string permitText(const VlanOnPort& port) {
    return !port.permitted ? "not permitted" : port.permittedTagged ? "tagged" : "untagged";
}

std::string modesText(const VlanOnPort& port) {
    if (!port.settings)
        return "MVRP is off at the port";
    return "registration " + nameOf(kRegistrationModes, port.settings->registration) +
           ", participant " + nameOf(kParticipantModes, port.settings->participant);
}

std::string switchText(const ExplainFacts& facts) {
    const std::string kind = facts.vlanIsStatic   ? "the VLAN is static"
                             : facts.vlanIsLearnt ? "the VLAN is learnt"
                                                  : "the VLAN does not exist";
    const bool member = facts.port.learntMember || (facts.vlanIsStatic && facts.port.permitted);
    return kind + (member ? "; the port is a member" : "; the port is no member");
}

std::string leaveText(const VlanOnPort& port) {
    if (!isLeaving(port.machine))
        return "";
    const u32 left = leaveTimeLeft(port.history.port, port.settings ? port.settings->leaveTime : 0);
    return left == 0 ? "; the leave timer is due"
                     : "; about " + durationText(left) + " of the leave time are left";
}

}  // namespace

std::string explanationText(const ExplainFacts& facts, const Explanation& explanation,
                            const Style& style) {
    const VlanOnPort& port = facts.port;
    Sheet sheet;
    sheet.add("Link", port.port.link == 1 ? Cell("up", Colour::Good) : Cell("down", Colour::Bad));
    sheet.add("Modes", modesText(port));
    sheet.add("Permit list", permitText(port));
    if (inUse(port.machine)) {
        sheet.add("Applicant", nameOf(kApplicantStates, port.machine.applicant) + ": " +
                                   applicantWords(port.machine.applicant));
        sheet.add("Registrar", nameOf(kRegistrarStates, port.machine.registrar) + ": " +
                                   registrarWords(port.machine) + leaveText(port));
    } else {
        sheet.add("Machines", "not in use");
    }
    sheet.add("Declared to us", declaredText(port));
    sheet.add("Withdrawn", agoText32(port.history.vlan.leaveMs));
    sheet.add("Last LeaveAll", "in " + agoText(port.history.port.leaveAllInMs) + ", out " +
                                   agoText(port.history.port.leaveAllOutMs));
    sheet.add("Switch", switchText(facts));
    sheet.add("Pending", std::to_string(facts.global.pendingPairs) + " changes wait");

    Table table({"Other port", "State", "Registered", "Declared to us", "Permit list"});
    for (const VlanOnPort& other : facts.others) {
        if (inUse(other.machine) || other.history.vlan.joinMs != platform::kNever32)
            table.add({other.port.name.data(), machineText(other.machine),
                       isRegistered(other.machine) ? "yes" : "no", declaredText(other),
                       permitText(other)});
    }
    const Colour colour = explanation.onPort ? Colour::Good : Colour::Warn;
    return style.paint(colour, wrapList(explanation.why, 0, style.width)) + "\n" +
           wrapList(explanation.declaration, 0, style.width) + "\n" +
           (explanation.decision.empty() ? ""
                                         : wrapList(explanation.decision, 0, style.width) + "\n") +
           "\n" + sheet.print(style) + (table.empty() ? "" : "\n" + table.print(style)) + "\n" +
           style.paint(Colour::Strong, wrapList(explanation.advice, 0, style.width)) + "\n";
}

}  // namespace cli
