// SPDX-License-Identifier: MIT
//
// Why a VLAN is, or is not, on a port: the facts are collected (collect.cpp), a pure function says
// what they mean (reason.cpp), and is shown as text (text.cpp) or JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/client/observed.h"
#include "cli/client/queries.h"
#include "cli/print/table.h"

namespace cli {

/// A port as one VLAN sees it.
struct VlanOnPort {
    platform::SwitchPortRecord port{};
    std::optional<PortSettings> settings;  ///< none: MVRP is not switched on
    platform::MachineRecord machine{};
    VlanHistory history{};
    u64 lastPduMs = platform::kNever;  ///< ms ago that any PDU came
    u32 failedVid = 0;                 ///< VLAN of the port's last failed registration, 0 none
    u32 failedReason = 0;              ///< its platform::FailedRegistration
    bool permitted = false;
    bool permittedTagged = false;
    bool learntMember = false;
    /// The correction that last decided for the VLAN here.
    platform::CorrectionLastRecord decided{platform::kNoCorrection, 0};
};

struct ExplainFacts {
    GlobalView global{};
    u32 vid = 0;
    bool vlanIsStatic = false;
    bool vlanIsLearnt = false;
    VlanOnPort port{};
    std::vector<VlanOnPort> others;  ///< all other ports of the switch
};

/// What holds the answer; a stable word of each for JSON is in kCauseNames.
enum class Cause {
    StaticMember,
    Learnt,
    Leaving,
    Kept,
    NotPermitted,
    GloballyOff,
    Standby,
    NotEligible,
    MvrpOff,
    LinkDown,
    Forbidden,
    Fixed,
    Pending,
    SwitchRefused,
    Withdrawn,
    NotRenewed,
    NotDeclared,
    NothingHeard,
    WrongForm,
    StaticNotDeclared,
    NotAdmitted,
};
const char* causeName(Cause cause);

struct Explanation {
    bool onPort = false;  ///< the port carries the VLAN now
    Cause cause = Cause::NotDeclared;
    std::string why;          ///< a sentence
    std::string declaration;  ///< why it is, or is not, declared out of the port; a sentence
    std::string decision;     ///< the correction that decided here last; a sentence, or empty
    std::string advice;       ///< what to do; a sentence
};

ExplainFacts collectFacts(Client& client, const platform::SwitchPortRecord& port, u32 vid);
Explanation explainVlan(const ExplainFacts& facts);
/// What the correction that last decided for the VLAN on the port did to it; empty: none is known.
std::string decisionText(const ExplainFacts& facts);
/// Names of the other ports that have registered the VLAN, as ranges with commas.
std::string registeredOn(const ExplainFacts& facts);

std::string explanationText(const ExplainFacts& facts, const Explanation& explanation,
                            const Style& style);
std::string explanationJson(const ExplainFacts& facts, const Explanation& explanation);

}  // namespace cli
