// SPDX-License-Identifier: MIT
//
// Whether there is a daemon, and whether it was told to do anything.
#include <algorithm>
#include <cerrno>

#include "cli/doctor/doctor.h"
#include "cli/print/words.h"
#include "platform/contract/management.h"

namespace cli {
namespace {

constexpr u64 kMsPerSecond = 1000;

void examineConfig(const platform::SystemFacts& system, std::vector<Finding>& findings) {
    for (const std::string& problem : system.configProblems)
        findings.push_back({Severity::Error,
                            "config-wrong",
                            "configuration",
                            problem,
                            {"mvrp --check --config " + system.configFile}});
}

void examineAbsent(const DoctorFacts& facts, std::vector<Finding>& findings) {
    if (facts.daemon.state == DaemonState::NotPermitted) {
        findings.push_back({Severity::Error,
                            "daemon-not-permitted",
                            "daemon",
                            facts.daemon.problem + "; what only the daemon knows is left out",
                            {"sudo mvrpctl doctor"}});
        return;
    }
    findings.push_back({Severity::Error,
                        "daemon-not-running",
                        "daemon",
                        facts.daemon.problem,
                        {"systemctl start mvrp", "systemctl status mvrp"}});
    if (!facts.system.configThere)
        findings.push_back(
            {Severity::Warning,
             "config-missing",
             "configuration",
             "there is no " + facts.system.configFile + ": the service does not start without it",
             {}});
    if (facts.system.ledgerForeign)
        findings.push_back({Severity::Note,
                            "ledger-foreign",
                            "daemon",
                            "its ledger is of another boot, network namespace or bridge and is not "
                            "used: VLANs that it left on this bridge count as others'",
                            {"bridge vlan show"}});
    else if (facts.system.ledgerThere)
        findings.push_back({Severity::Note,
                            "ledger-left",
                            "daemon",
                            "the daemon left VLANs on the bridge, as on-stop = \"keep\" or a crash "
                            "does; it takes them back when it starts",
                            {"systemctl start mvrp"}});
}

/// The three times of a port fit each other.
void examineTimes(const PortView& view, std::vector<Finding>& findings) {
    const std::string name = view.port.name.data();
    const PortSettings& settings = *view.settings;
    if (settings.leaveTime < kMvrpJoinsPerLeave * settings.joinTime)
        findings.push_back(
            {Severity::Warning,
             "leave-time-short",
             name,
             "the leave time of " + std::to_string(settings.leaveTime) +
                 " ms is less than twice the join time of " + std::to_string(settings.joinTime) +
                 " ms: neighbours can not declare again in time, and VLANs flap",
             {"mvrpctl set port " + name + " join-time " +
              std::to_string(
                  std::max(settings.leaveTime / kMvrpJoinsPerLeave, kMvrpJoinTime.least))}});
    if (settings.leaveAllTime < settings.leaveTime)
        findings.push_back(
            {Severity::Warning,
             "leave-all-time-short",
             name,
             "the leave-all time is shorter than the leave time",
             {"mvrpctl set port " + name + " leave-all-time " +
              std::to_string(std::max(settings.leaveTime, kMvrpLeaveAllTime.least))}});
}

/// What the port is connected to does not work: nothing is sent or heard there.
void examineCable(const PortView& view, std::vector<Finding>& findings) {
    if (view.port.cableError == 0)
        return;
    const bool isWant = view.port.cableError == EMFILE || view.port.cableError == ENFILE;
    findings.push_back(
        {Severity::Error, "cable-not-open", view.port.name.data(),
         std::string(view.port.cable.data()) + " does not work: " + cableErrorText(view.port) +
             "; the port neither sends nor hears until it does" +
             (isWant ? ". The daemon may have more descriptors with LimitNOFILE= of its unit" : ""),
         isWant ? std::vector<std::string>{"systemctl edit mvrp"} : std::vector<std::string>{}});
}

/// Another port of this switch is at the other end.
void examineLoop(const DaemonFacts& daemon, const PortView& view, std::vector<Finding>& findings) {
    if (view.port.loopWith == 0)
        return;
    const std::string name = view.port.name.data();
    const auto other = std::ranges::find(daemon.ports, view.port.loopWith,
                                         [](const PortView& each) { return each.port.unit; });
    const bool itself = view.port.loopWith == view.port.unit;
    findings.push_back(
        {Severity::Error,
         "loop",
         name,
         "frames that " +
             (itself                        ? "it sent itself"
              : other == daemon.ports.end() ? "port " + std::to_string(view.port.loopWith) + " sent"
                                            : std::string(other->port.name.data()) + " sent") +
             " come in: " +
             (itself ? "its cable"
                     : "the two ports of this switch are connected, or what is between them") +
             " loops. The port takes no part until they stop",
         {"mvrpctl show port " + name}});
}

void examineStandby(bool activeThere, std::vector<Finding>& findings) {
    const std::string text = "this is the standby of a pair: it neither sends nor receives";
    if (activeThere)
        findings.push_back(
            {Severity::Note, "standby", "daemon", text + "; its active answers", {}});
    else
        findings.push_back({Severity::Warning,
                            "standby-alone",
                            "daemon",
                            text + ", and no active answers: nobody speaks for this switch",
                            {"mvrpctl show", "mvrpctl standby take-over"}});
}

/// A meeting of two actives is told for so long.
constexpr u64 kTwoActivesToldMs = u64{60} * 60 * kMsPerSecond;

void examineTwoActives(const platform::StandbyInfoRecord& pair, std::vector<Finding>& findings) {
    constexpr u32 kActive = static_cast<u32>(platform::HostRole::Active);
    if (pair.role == kActive && pair.otherThere != 0 && pair.otherRole == kActive) {
        findings.push_back({Severity::Error,
                            "two-actives",
                            "daemon",
                            "process " + std::to_string(pair.otherProcess) +
                                " is active, too: both speak for this switch",
                            {}});
        return;
    }
    if (pair.twoActives == static_cast<u32>(platform::TwoActives::Never) ||
        pair.twoActivesAgoMs > kTwoActivesToldMs)
        return;
    const bool stoodBack = pair.twoActives == static_cast<u32>(platform::TwoActives::StoodBack);
    findings.push_back({Severity::Warning,
                        "two-actives",
                        "daemon",
                        "there were two actives until " +
                            std::to_string(pair.twoActivesAgoMs / kMsPerSecond) + " s ago, when " +
                            (stoodBack ? "this one" : "the other one") +
                            " stood back; neighbours may have heard both",
                        {}});
}

void examinePair(const GlobalView& global, std::vector<Finding>& findings) {
    const bool activeThere = global.standby ? global.standby->otherThere != 0 &&
                                                  global.standby->otherRole ==
                                                      static_cast<u32>(platform::HostRole::Active)
                                            : global.host.standbyConnected != 0;
    if (global.host.role == static_cast<u32>(platform::HostRole::Standby))
        examineStandby(activeThere, findings);
    if (global.standby)
        examineTwoActives(*global.standby, findings);
}

void examineSettings(const DaemonFacts& daemon, std::vector<Finding>& findings) {
    examinePair(daemon.global, findings);
    if (!daemon.global.enabled) {
        findings.push_back({Severity::Error,
                            "globally-off",
                            "daemon",
                            "the protocol is switched off for the whole switch",
                            {"mvrpctl set global enable on"}});
        return;
    }
    const bool anyPort = std::ranges::any_of(
        daemon.ports, [](const PortView& view) { return view.settings && view.settings->enabled; });
    if (!anyPort)
        findings.push_back({Severity::Warning,
                            "no-port-enabled",
                            "daemon",
                            "the protocol is switched on, and on no port",
                            {"mvrpctl show ports", "mvrpctl set port PORT enable on"}});
    for (const PortView& view : daemon.ports) {
        examineCable(view, findings);
        examineLoop(daemon, view, findings);
        if (view.settings && view.settings->enabled)
            examineTimes(view, findings);
    }
}

}  // namespace

void examineDaemon(const DoctorFacts& facts, std::vector<Finding>& findings) {
    examineConfig(facts.system, findings);
    if (facts.daemon.state == DaemonState::Answers)
        examineSettings(facts.daemon, findings);
    else
        examineAbsent(facts, findings);
}

bool takesPart(const DaemonFacts& daemon, u32 index) {
    return std::ranges::any_of(daemon.ports, [index](const PortView& view) {
        return view.port.unit == index && view.port.protocols != 0;
    });
}

}  // namespace cli
