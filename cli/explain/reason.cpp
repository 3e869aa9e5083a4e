// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <initializer_list>

#include "cli/client/names.h"
#include "cli/explain/explain.h"
#include "cli/print/words.h"
#include "cli/views/corrections.h"
#include "platform/contract/machine_states.h"
#include "platform/contract/management.h"

namespace cli {

namespace {

constexpr u32 kIeee = static_cast<u32>(platform::WireForm::Ieee);
constexpr u32 kNative = static_cast<u32>(platform::WireForm::Native);

constexpr std::array kCauseNames = {
    "staticMember", "learnt",      "leaving",      "kept",          "notPermitted",
    "globallyOff",  "standby",     "notEligible",  "mvrpOff",       "linkDown",
    "forbidden",    "fixed",       "pending",      "switchRefused", "withdrawn",
    "notRenewed",   "notDeclared", "nothingHeard", "wrongForm",     "staticNotDeclared",
    "notAdmitted"};

using platform::FailedRegistration;

bool heard(u32 ms) {
    return ms != platform::kNever32;
}

/// The words of one explanation, with the names that they are about.
class Reasoning {
  public:
    explicit Reasoning(const ExplainFacts& facts)
        : facts_(facts),
          port_(facts.port),
          vlan_("VLAN " + std::to_string(facts.vid)),
          name_(facts.port.port.name.data()),
          linux_(facts.global.host.driver == static_cast<u32>(platform::DriverKind::LinuxBridge)) {}

    Explanation explain() {
        if (!(port_.learntMember ? explainLearnt()
                                 : explainStatic() || explainSetting() || explainRegistered() ||
                                       explainAdmission() || explainWithdrawal()))
            explainSilence();
        result_.declaration = declarationText();
        result_.decision = decisionText(facts_);
        return result_;
    }

  private:
    bool conclude(bool onPort, Cause cause, std::string why, std::string advice) {
        result_ = {onPort, cause, std::move(why), {}, {}, std::move(advice)};
        return true;
    }

    std::string neighbour() const {
        const platform::VlanHistoryRecord& vlan = port_.history.vlan;
        return heard(vlan.joinMs) ? "the neighbour " + formatMac(vlan.origin) : "the neighbour";
    }

    std::string permitAdvice() const {
        return linux_ ? "To carry it here add " + std::to_string(facts_.vid) +
                            " to the port's permit list in the configuration file and send mvrp a "
                            "SIGHUP."
                      : "To carry it here run: mvrpctl switch vlan add-port " + name_ + " " +
                            std::to_string(facts_.vid);
    }

    bool explainLearnt() {
        const std::string declared =
            neighbour() + " declared it " + agoText32(port_.history.vlan.joinMs);
        if (isLeaving(port_.machine)) {
            const u32 left =
                leaveTimeLeft(port_.history.port, port_.settings ? port_.settings->leaveTime : 0);
            return conclude(
                true, Cause::Leaving,
                vlan_ + " is on " + name_ + ", and leaves it " +
                    (left == 0 ? std::string("soon") : "in about " + durationText(left)) +
                    " unless it is declared again: the neighbour withdrew it, or a "
                    "LeaveAll asks who still wants it; " +
                    declared + ".",
                "If it is to stay look at the neighbour in a second: it has to declare "
                "the VLAN again.");
        }
        if (isRegistered(port_.machine))
            return conclude(true, Cause::Learnt,
                            vlan_ + " is on " + name_ + " because " +
                                (heard(port_.history.vlan.joinMs)
                                     ? declared
                                     : std::string("a neighbour declared it before this mvrp "
                                                   "started")) +
                                ".",
                            "Nothing is to be done.");
        return conclude(
            true, Cause::Kept,
            vlan_ + " is on " + name_ + ", and is not registered there: " + lastHeard() + ".",
            keptAdvice());
    }

    /// Since when nobody is known to declare the VLAN.
    std::string lastHeard() const {
        const platform::VlanHistoryRecord& vlan = port_.history.vlan;
        if (wasWithdrawn())
            return "the neighbour withdrew it " + agoText32(vlan.leaveMs);
        if (heard(vlan.joinMs))
            return neighbour() + " declared it " + agoText32(vlan.joinMs) + ", and not since";
        return "nobody has declared it since this mvrp started, " +
               agoText(facts_.global.host.uptimeMs);
    }

    /// A membership without a registration goes only by what waits, or by what clears at a start.
    std::string keptAdvice() const {
        if (facts_.global.pendingPairs != 0)
            return "A removal may be waiting (" + std::to_string(facts_.global.pendingPairs) +
                   " changes wait): run this again in a few seconds.";
        const u64 claimed =
            port_.settings ? u64{port_.settings->leaveAllTime} + port_.settings->leaveTime : 0;
        if (!heard(port_.history.vlan.joinMs) && facts_.global.host.uptimeMs < claimed)
            return "It was kept from before the start, and is removed in about " +
                   durationText(claimed - facts_.global.host.uptimeMs) +
                   " unless it is declared until then.";
        return "It does not go: no change waits and no timer runs for it. Take it off with: "
               "mvrpctl repair " +
               name_ + "." + offText({Correction::OwnBatch, Correction::SpareOthers});
    }

    /// Which of these are off, and would have acted; empty where the daemon knows no corrections.
    std::string offText(std::initializer_list<Correction> corrections) const {
        std::string names;
        for (const Correction which : corrections)
            if (facts_.global.corrections && !isOn(facts_.global, which))
                names += (names.empty() ? "" : ", ") + std::string(correctionName(which));
        return names.empty() ? ""
                             : " Off, and would have prevented it: " + names +
                                   " ([mvrp] corrections in the configuration file).";
    }

    bool explainStatic() {
        if (!facts_.vlanIsStatic)
            return false;
        if (port_.permitted)
            return explainStaticMember();
        return conclude(false, Cause::NotPermitted,
                        vlan_ + " is static on this switch, and the permit list of " + name_ +
                            " leaves it out.",
                        permitAdvice());
    }

    bool explainStaticMember() {
        const std::string why = vlan_ + " is on " + name_ + " (" +
                                (port_.permittedTagged ? "tagged" : "untagged") +
                                ") because it is static on this switch and on the port's permit "
                                "list";
        if (!port_.settings || !port_.settings->enabled)
            return conclude(true, Cause::StaticMember, why + ".",
                            "The neighbour is not told of it. To tell it run: mvrpctl set port " +
                                name_ + " enable on");
        if (port_.port.link != 1)
            return conclude(true, Cause::StaticMember, why + "; the link is down.",
                            "Look at the cable and at the other end of it.");
        if (isDeclaring(port_.machine.applicant) && isForgotten())
            return conclude(true, Cause::StaticNotDeclared,
                            why + ", and it was not declared again when a LeaveAll asked for it, " +
                                agoText(lastLeaveAllMs()) + "; the neighbour forgets it.",
                            againAdvice());
        if (isDeclaring(port_.machine.applicant))
            return conclude(true, Cause::StaticMember, why + ".", "Nothing is to be done.");
        if (port_.settings->participant == MVRP_PARTICIPANT_QUIET)
            return conclude(true, Cause::StaticNotDeclared,
                            why + ", and it is not declared to the neighbour.",
                            "To declare it run: mvrpctl set port " + name_ + " participant full");
        return conclude(true, Cause::StaticNotDeclared,
                        why + ", and it is not declared to the neighbour, which forgets it.",
                        againAdvice());
    }

    std::string againAdvice() const {
        return "Declare it again with `mvrpctl set port " + name_ +
               " enable off` and then `mvrpctl set port " + name_ + " enable on`." +
               offText({facts_.global.compliance ? Correction::GvrpStaticRenewed
                                                 : Correction::StaticKept});
    }

    u64 lastLeaveAllMs() const {
        return std::min(port_.history.port.leaveAllInMs, port_.history.port.leaveAllOutMs);
    }

    bool isForgotten() const {
        return facts_.global.compliance && wasNotRenewed(port_.history, port_.settings->joinTime);
    }

    bool explainSetting() {
        const std::string not_ = vlan_ + " is not on " + name_ + ": ";
        if (!facts_.global.enabled)
            return conclude(false, Cause::GloballyOff, not_ + "MVRP is off on this switch.",
                            "Switch it on with: mvrpctl set global enable on");
        if (facts_.global.host.role == static_cast<u32>(platform::HostRole::Standby))
            return conclude(false, Cause::Standby,
                            not_ + "this is a standby, which neither sends nor receives.",
                            "Ask the active instead: mvrpctl --socket PATH explain " + name_ + " " +
                                std::to_string(facts_.vid));
        if (port_.port.eligible == 0)
            return conclude(false, Cause::NotEligible,
                            not_ +
                                "the port can not run MVRP; it is a member of an aggregation, "
                                "or no switch port.",
                            port_.port.aggregation != 0
                                ? "Ask about the aggregation instead: mvrpctl explain " +
                                      std::to_string(port_.port.aggregation) + " " +
                                      std::to_string(facts_.vid)
                                : "Make it a switch port before you enable MVRP on it.");
        if (!port_.settings || !port_.settings->enabled)
            return conclude(false, Cause::MvrpOff, not_ + "MVRP is off at this port.",
                            "Switch it on with: mvrpctl set port " + name_ + " enable on");
        if (port_.port.link != 1)
            return conclude(false, Cause::LinkDown, not_ + "the link is down.",
                            "Look at the cable and at the other end of it.");
        if (!port_.permitted)
            return explainNotPermitted(not_);
        if (port_.settings->registration == MVRP_REGISTRATION_FORBIDDEN ||
            port_.settings->registration == MVRP_REGISTRATION_FIXED) {
            const bool forbidden = port_.settings->registration == MVRP_REGISTRATION_FORBIDDEN;
            return conclude(
                false, forbidden ? Cause::Forbidden : Cause::Fixed,
                not_ + "the registration mode of the port is " +
                    (forbidden ? "forbidden" : "fixed") + ", which learns nothing.",
                "To let it learn run: mvrpctl set port " + name_ + " registration normal");
        }
        return false;
    }

    /// Without the correction admission the list only keeps the VLAN off the port.
    bool explainNotPermitted(const std::string& not_) {
        if (isRegistered(port_.machine))
            return conclude(false, Cause::NotPermitted,
                            not_ +
                                "the port's permit list leaves it out. It is registered all the "
                                "same, and declared on the other ports." +
                                offText({Correction::Admission}),
                            permitAdvice());
        return conclude(false, Cause::NotPermitted,
                        not_ +
                            "the port's permit list leaves it out, so it is not taken even when "
                            "it is declared.",
                        permitAdvice());
    }

    bool explainRegistered() {
        if (!isRegistered(port_.machine))
            return false;
        const std::string but = vlan_ + " is registered on " + name_ + " (" + neighbour() +
                                " declared it " + agoText32(port_.history.vlan.joinMs) + "), ";
        if (facts_.global.pendingPairs != 0)
            return conclude(false, Cause::Pending,
                            but + "and the switch has not been told yet: " +
                                std::to_string(facts_.global.pendingPairs) + " changes wait." +
                                (isLate() ? offText({Correction::YieldBounded}) : ""),
                            "Wait for it: mvrpctl wait --port " + name_ + " --vlan " +
                                std::to_string(facts_.vid) + " --timeout 10");
        return conclude(false, Cause::SwitchRefused,
                        but + "and the switch has not taken the port into it.",
                        "Run `mvrpctl repair " + name_ +
                            "`; if it does not help look at `mvrpctl show statistics " + name_ +
                            "` (failed registrations) and at the daemon's log.");
    }

    /// Whether a change has waited for longer than a switch at rest needs.
    bool isLate() const {
        constexpr u32 kLateMs = 5000;
        return heard(port_.history.vlan.joinMs) && port_.history.vlan.joinMs > kLateMs;
    }

    /// Whether the last declaration was not let through, and was not withdrawn since.
    bool wasRefused() const {
        // The two ages come in two answers of the daemon.
        constexpr u32 kBetweenAnswersMs = 1000;
        const platform::VlanHistoryRecord& vlan = port_.history.vlan;
        return port_.decided.correction == static_cast<u32>(Correction::Admission) &&
               !wasWithdrawn() &&
               (!heard(vlan.joinMs) || vlan.joinMs + kBetweenAnswersMs >= port_.decided.agoMs);
    }

    /// A declaration that the host did not let through. The reason is known of the port's last.
    bool explainAdmission() {
        if (!wasRefused())
            return false;
        const std::string refused = vlan_ + " is not on " + name_ + ": " + neighbour() +
                                    " declared it " + agoText32(port_.decided.agoMs) + ", and ";
        const bool known = port_.failedVid == facts_.vid;
        if (known && port_.failedReason == static_cast<u32>(FailedRegistration::TooMany))
            return conclude(false, Cause::NotAdmitted,
                            refused + "the port has as many VLANs as it may register (max-vlans).",
                            "To let it in raise max-vlans of the port in the configuration file "
                            "and send mvrp a SIGHUP; `mvrpctl show running " +
                                name_ + "` shows which VLANs it has.");
        if (known && port_.failedReason == static_cast<u32>(FailedRegistration::NotPermitted))
            return conclude(false, Cause::NotAdmitted,
                            refused + "the port's permit list left it out then.",
                            "It is permitted now: it is registered when it is declared again, "
                            "with the next LeaveAll at the latest, or at once with: mvrpctl "
                            "repair " +
                                name_);
        return conclude(false, Cause::NotAdmitted,
                        refused +
                            "the port did not admit it: it had as many VLANs as it may "
                            "register, or its permit list left it out then.",
                        "Look at max-vlans and permit of the port in the configuration file; "
                        "`mvrpctl show statistics " +
                            name_ + "` counts what was refused, by reason.");
    }

    bool wasWithdrawn() const {
        const platform::VlanHistoryRecord& vlan = port_.history.vlan;
        return heard(vlan.leaveMs) && (!heard(vlan.joinMs) || vlan.leaveMs <= vlan.joinMs);
    }

    /// What the neighbour last said of this VLAN, if it said anything.
    bool explainWithdrawal() {
        const platform::VlanHistoryRecord& vlan = port_.history.vlan;
        const std::string not_ = vlan_ + " is not on " + name_ + ": ";
        if (!heard(vlan.joinMs) && !heard(vlan.leaveMs))
            return false;
        if (wasWithdrawn())
            return conclude(false, Cause::Withdrawn,
                            not_ + "the neighbour withdrew it " + agoText32(vlan.leaveMs) + ".",
                            "Look at the neighbour: neither it nor a switch behind it wants the "
                            "VLAN any more.");
        return conclude(false, Cause::NotRenewed,
                        not_ + neighbour() + " declared it " + agoText32(vlan.joinMs) +
                            ", and not again when a LeaveAll asked for it.",
                        "Look at the neighbour: whether it still runs, and still has the VLAN.");
    }

    void explainSilence() {
        const std::string not_ = vlan_ + " is not on " + name_ + ": ";
        const bool otherForm = port_.port.heardForm == kIeee && port_.port.wireForm == kNative;
        if (otherForm) {
            conclude(false, Cause::WrongForm,
                     not_ +
                         "nobody declared it here; the neighbour speaks the IEEE form and is "
                         "answered in the native one, which it may not understand.",
                     "Run: mvrpctl switch port wire-form " + name_ + " ieee");
        } else if (port_.lastPduMs == platform::kNever) {
            conclude(false, Cause::NothingHeard, not_ + "no MVRP frame has been heard here yet.",
                     std::string("Look at the neighbour: whether it runs MVRP on this link") +
                         (facts_.global.compliance ? ", or GVRP, which is what is spoken here."
                                                   : ", and not GVRP, which needs `mvrpctl set "
                                                     "global compliance on`."));
        } else {
            conclude(false, Cause::NotDeclared,
                     not_ + "the neighbour was heard " + agoText(port_.lastPduMs) +
                         ", and never declared it.",
                     "Create the VLAN on the neighbour or on a switch behind it; to have it here "
                     "anyway create it on this switch" +
                         (linux_ ? std::string(": bridge vlan add vid ") +
                                       std::to_string(facts_.vid) + " dev " + name_
                                 : std::string(": mvrpctl switch vlan create ") +
                                       std::to_string(facts_.vid)));
        }
    }

    /// When the VLAN was last sent, or why it was not.
    std::string sentText() const {
        if (heard(port_.history.vlan.sentMs))
            return "last sent " + agoText32(port_.history.vlan.sentMs);
        if (port_.port.link != 1)
            return "nothing is sent while the link is down";
        const u32 applicant = port_.machine.applicant;
        if (applicant == APP_STATE_AP || applicant == APP_STATE_QP)
            return "not sent, since the neighbours declare it themselves";
        return "not sent since this mvrp started, " + agoText(facts_.global.host.uptimeMs);
    }

    /// The other direction: what this port tells its neighbour about the VLAN.
    std::string declarationText() const {
        const std::string from = registeredOn(facts_);
        if (isDeclaring(port_.machine.applicant))
            return std::string(heard(port_.history.vlan.sentMs) ? "It is declared"
                                                                : "It is to be declared") +
                   " to the neighbour, because it is " +
                   (facts_.vlanIsStatic ? std::string("static here") +
                                              (from.empty() ? "" : " and registered on " + from)
                    : from.empty() ? std::string("wanted here")
                                   : "registered on " + from) +
                   "; " + sentText() + ".";
        if (!port_.settings || !port_.settings->enabled)
            return "It is not declared to the neighbour: MVRP is off at this port.";
        if (!facts_.vlanIsStatic && from.empty())
            return "It is not declared to the neighbour: it is not static here, and no other port "
                   "registered it.";
        if (!port_.permitted)
            return "It is not declared to the neighbour: the port's permit list leaves it out.";
        if (port_.settings->participant == MVRP_PARTICIPANT_QUIET)
            return "It is not declared to the neighbour: the participant mode is quiet.";
        return "It is not declared to the neighbour at the moment, although it is " +
               (facts_.vlanIsStatic
                    ? std::string("static here.")
                    : "registered on " + from + "." +
                          offText({Correction::LeaveNeeded, Correction::OnDeclares}));
    }

    const ExplainFacts& facts_;
    const VlanOnPort& port_;
    std::string vlan_;
    std::string name_;
    bool linux_;
    Explanation result_;
};

}  // namespace

const char* causeName(Cause cause) {
    return kCauseNames.at(static_cast<std::size_t>(cause));
}

Explanation explainVlan(const ExplainFacts& facts) {
    return Reasoning(facts).explain();
}

}  // namespace cli
