// SPDX-License-Identifier: MIT
//
// What comes from the other end of each port, by the daemon's counters.
#include "cli/doctor/doctor.h"

namespace cli {
namespace {

using platform::WireForm;

/// Places in PortStatisticsRecord::pdusIn.
enum PduForm : std::size_t { kNativeForm = 0, kIeeeForm = 1, kGvrpForm = 2 };

constexpr u32 kMvrpBit = 1;
constexpr u32 kGvrpBit = 2;

/// The neighbour speaks the form of MVRP that this port does not.
void examineForm(const PortView& view, std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    const auto form = static_cast<WireForm>(view.port.wireForm);
    const auto heard = static_cast<WireForm>(view.port.heardForm);
    const bool ieeeHeard = form == WireForm::Native && heard == WireForm::Ieee;
    const bool nativeHeard = form == WireForm::Ieee && heard == WireForm::Native;
    if (ieeeHeard || nativeHeard)
        findings.push_back(
            {Severity::Error,
             "other-form",
             name,
             std::string("the neighbour speaks the ") + (ieeeHeard ? "standard" : "native") +
                 " form and this port sends the " + (ieeeHeard ? "native" : "standard") +
                 " one, which it may not understand",
             {"mvrpctl switch port wire-form " + name + (ieeeHeard ? " auto" : " native")}});
}

/// The neighbour speaks GVRP where we speak MVRP, or the reverse.
void examineProtocol(const PortView& view, const platform::PortStatisticsRecord& statistics,
                     bool compliance, std::vector<Finding>& findings) {
    const u64 gvrp = statistics.pdusIn[kGvrpForm];
    const u64 mvrp = statistics.pdusIn[kNativeForm] + statistics.pdusIn[kIeeeForm];
    const std::string name = view.port.name.data();
    if (!compliance && gvrp != 0 && mvrp == 0)
        findings.push_back({Severity::Error,
                            "gvrp-heard",
                            name,
                            "the neighbour speaks GVRP (" + std::to_string(gvrp) +
                                " PDUs), which is ignored while MVRP is spoken",
                            {"mvrpctl set global compliance on"}});
    if (compliance && mvrp != 0 && gvrp == 0)
        findings.push_back({Severity::Error,
                            "mvrp-heard",
                            name,
                            "the neighbour speaks MVRP (" + std::to_string(mvrp) +
                                " PDUs), which is ignored while GVRP is spoken",
                            {"mvrpctl set global compliance off"}});
}

/// @param listeningMs  how long the daemon could have heard something
void examineSilence(const PortView& view, u64 listeningMs, u64 pdus,
                    std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    const u64 patience = 2 * u64{view.settings->leaveAllTime};
    if (view.port.link != 0 && pdus == 0 && listeningMs > patience)
        findings.push_back({Severity::Warning,
                            "nothing-heard",
                            name,
                            "nothing was heard for " + std::to_string(listeningMs / 1000) +
                                " s: the other end does not run the protocol, or something in "
                                "between keeps frames to 01-80-C2-00-00-21",
                            {"tcpdump -n -e -i " + name + " ether dst 01:80:c2:00:00:21"}});
}

void examineCounters(const PortView& view, std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    const platform::PortCountersRecord& counters = view.counters;
    const auto report = [&](u64 count, const char* id, const std::string& what) {
        if (count != 0)
            findings.push_back({Severity::Warning,
                                id,
                                name,
                                std::to_string(count) + what,
                                {"mvrpctl show counters"}});
    };
    report(counters.droppedMalformed, "malformed", " frames could not be read and were dropped");
    report(counters.droppedOverflow, "overflow", " frames came faster than they were handled");
    report(counters.sendFailed, "send-failed", " frames could not be sent");
}

void examinePort(const DaemonFacts& daemon, const PortView& view, std::vector<Finding>& findings) {
    examineForm(view, findings);
    examineCounters(view, findings);
    u64 heard = view.counters.framesIn + view.counters.droppedMalformed;
    u64 listening = daemon.global.host.uptimeMs;
    if (const auto found = daemon.statistics.find(view.port.unit);
        found != daemon.statistics.end()) {
        examineProtocol(view, found->second, daemon.global.compliance, findings);
        for (const u64 pdus : found->second.pdusIn)
            heard += pdus;
        listening = found->second.sinceMs;
    }
    examineSilence(view, listening, heard, findings);
    if (heard != 0 && view.registered == platform::VlanBitmap{} && view.counters.framesIn != 0)
        findings.push_back({Severity::Note,
                            "nothing-registered",
                            view.port.name.data(),
                            "the neighbour speaks, and declares no VLAN that the port may learn",
                            {std::string("mvrpctl show port ") + view.port.name.data()}});
}

}  // namespace

void examineNeighbours(const DoctorFacts& facts, std::vector<Finding>& findings) {
    if (facts.daemon.state != DaemonState::Answers || !facts.daemon.global.enabled ||
        facts.daemon.global.host.role == static_cast<u32>(platform::HostRole::Standby))
        return;
    for (const PortView& view : facts.daemon.ports)
        if (view.settings && view.settings->enabled &&
            (view.port.protocols & (kMvrpBit | kGvrpBit)) != 0)
            examinePort(facts.daemon, view, findings);
}

}  // namespace cli
