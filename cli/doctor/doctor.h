// SPDX-License-Identifier: MIT
//
// `mvrpctl doctor`: what an engineer would look at by hand when VLANs do not come or go. Three
// steps: facts are collected from the daemon and the system, examined by functions without side
// effects, and what was found is printed. Works without a running daemon, with less to say.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cli/client/queries.h"
#include "cli/print/table.h"
#include "cli/views/gaps.h"
#include "platform/channel/observations.h"
#include "platform/inspect/system_facts.h"

namespace cli {

enum class Severity { Note, Warning, Error };

/// Something that is not as it should be, and how to mend it.
struct Finding {
    Severity severity = Severity::Note;
    std::string id;                     ///< the same in all versions
    std::string subject;                ///< a port, the bridge, "daemon" or "configuration"
    std::string seen;                   ///< what was seen, and what it means
    std::vector<std::string> commands;  ///< that mend it; empty: nothing to type
};

enum class DaemonState { Answers, NotRunning, NotPermitted };

/// What the daemon says of itself.
struct DaemonFacts {
    DaemonState state = DaemonState::NotRunning;
    std::string problem;  ///< why it does not answer
    GlobalView global;
    std::vector<PortView> ports;
    std::map<u32, platform::PortStatisticsRecord> statistics;  ///< by unit; absent: not known
    std::map<u32, PortGaps> gaps;                              ///< by unit; of ports that have any
    std::string configFile;  ///< that it was started with; empty: none, or not known
};

struct DoctorFacts {
    DaemonFacts daemon;
    platform::SystemFacts system;
};

DaemonFacts collectDaemonFacts(const std::string& socketPath);

/// What does not go together, of ports that have any. What is only on its way is gone at a second
/// look, which is taken where there is something: the daemon applies what waits every second.
/// @param ports  all of the switch, with all parts
std::map<u32, PortGaps> lastingGaps(Client& client, const std::vector<PortView>& ports);
/// Whether what was kept on a port from before the start is still to be cleared, which takes a
/// leave-all and a leave time.
bool isBeingCleared(const PortView& view, const GlobalView& global);

/// The command that mends it. @param ports  names with blanks in between
std::string repairOf(const std::string& ports);

/// What is wrong, by area; the whole is sorted by severity, the worst first.
std::vector<Finding> examine(const DoctorFacts& facts);
void examineDaemon(const DoctorFacts& facts, std::vector<Finding>& findings);
void examineBridge(const DoctorFacts& facts, std::vector<Finding>& findings);
void examineNeighbours(const DoctorFacts& facts, std::vector<Finding>& findings);
void examineMemberships(const DoctorFacts& facts, std::vector<Finding>& findings);
void examineOthers(const DoctorFacts& facts, std::vector<Finding>& findings);

/// Name of the bridge that the daemon drives or is configured to; empty on a software switch.
std::string bridgeOf(const DoctorFacts& facts);
/// Whether the daemon says that a port of this index runs the protocol.
bool takesPart(const DaemonFacts& daemon, u32 index);

std::string findingsText(const std::vector<Finding>& findings, const Style& style);
std::string findingsJson(const std::vector<Finding>& findings);

/// Collects what the daemon and the system say.
/// @param configFile  empty: the one of the daemon, or else the usual one
DoctorFacts collectDoctorFacts(const std::string& socketPath, const std::string& configFile);
/// Whether something is to be done: there are warnings or errors among the findings.
bool areSerious(const std::vector<Finding>& findings);

}  // namespace cli
