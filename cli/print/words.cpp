// SPDX-License-Identifier: MIT
#include "cli/print/words.h"

#include <array>
#include <cstdio>
#include <system_error>

#include "platform/contract/machine_states.h"

namespace cli {

namespace {

/// By MvrpApplicantState.
constexpr std::array kApplicantWords = {
    "does not declare it",                                         // VO
    "is about to declare it",                                      // VP
    "is about to declare it as new",                               // VN
    "has declared it as new once, and will again",                 // AN
    "has declared it once, and will again",                        // AA
    "declares it; the neighbour knows",                            // QA
    "is about to withdraw it",                                     // LA
    "does not declare it, and asks who still does",                // LO
    "does not declare it; the neighbour does",                     // AO
    "does not declare it; the neighbour does, and knows it well",  // QO
    "wants it; the neighbour has declared it once",                // AP
    "wants it; the neighbours declare it, so it stays silent",     // QP
    "is about to declare it (GARP)",                               // VA
};
static_assert(kApplicantWords.size() == APP_STATE_MAX);

std::string tenths(u64 ms) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%.1f s", static_cast<double>(ms) / 1000);
    return text.data();
}

}  // namespace

std::string applicantWords(u32 applicant) {
    return applicant < kApplicantWords.size() ? kApplicantWords.at(applicant)
                                              : "is in no state of the standard";
}

bool inUse(const platform::MachineRecord& machine) {
    return machine.flags != 0 || machine.applicant != APP_STATE_VO;
}

bool isRegistered(const platform::MachineRecord& machine) {
    return (machine.flags & kMachineRegistered) != 0;
}

bool isPropagated(const platform::MachineRecord& machine) {
    return (machine.flags & kMachinePropagated) != 0;
}

bool isLeaving(const platform::MachineRecord& machine) {
    return inUse(machine) && machine.registrar == REG_STATE_LV;
}

std::string registrarWords(const platform::MachineRecord& machine) {
    if (!inUse(machine))
        return "not in use";
    if (machine.registrar == REG_STATE_INF)
        return "registered for ever: the VLAN is static here";
    if (machine.registrar == REG_STATE_LV)
        return "registered, and leaving unless it is declared again";
    if (isRegistered(machine))
        return machine.registrar == REG_STATE_MT ? "registered; the registrar is empty"
                                                 : "registered";
    return machine.registrar == REG_STATE_MT ? "not registered" : "not registered by a neighbour";
}

std::string cableErrorText(const platform::SwitchPortRecord& port) {
    return port.cableError == 0
               ? std::string()
               : std::generic_category().message(static_cast<int>(port.cableError));
}

std::string durationText(u64 ms) {
    const u64 seconds = ms / 1000;
    if (seconds < 10)
        return tenths(ms);
    if (seconds < 120)
        return std::to_string(seconds) + " s";
    if (seconds < 7200)
        return std::to_string(seconds / 60) + " min";
    if (seconds < 172'800)
        return std::to_string(seconds / 3600) + " h";
    return std::to_string(seconds / 86'400) + " d";
}

std::string agoText(u64 ms) {
    return ms == platform::kNever ? "never" : durationText(ms) + " ago";
}

std::string agoText32(u32 ms) {
    return agoText(ms == platform::kNever32 ? platform::kNever : ms);
}

u32 leaveTimeLeft(const platform::PortHistoryRecord& history, u32 leaveTimeMs) {
    if (history.leaveMs == platform::kNever || history.leaveMs >= leaveTimeMs)
        return 0;
    return static_cast<u32>(leaveTimeMs - history.leaveMs);
}

}  // namespace cli
