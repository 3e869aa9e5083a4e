// SPDX-License-Identifier: MIT
//
// The scenario host: everything that stands behind the contract's calls while a scenario runs, in
// one movable record. The calls act on the record that is bound, so that one process can hold
// several switches and change between them.
//
// Single-threaded: tasks that the daemon creates are recorded and not run.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "daemon/core/task.h"
#include "platform/contract/corrections.h"
#include "platform/contract/sil.h"
#include "platform/virtual/state/failures.h"
#include "platform/virtual/state/sockets.h"
#include "platform/virtual/state/switch_state.h"
#include "platform/virtual/state/trace.h"

namespace scenario {

class ShownFacts;  // platform/virtual/calls/facts.h

struct ScenarioHost {
    /// Takes a frame that was sent; `gvrp`: on the GVRP socket.
    using SendHook = std::function<void(u32 unit, bool gvrp, std::vector<u8>&& frame)>;
    /// Takes a command for the standby. @return the standby's status
    using CommandSyncHook = std::function<u32(u32 unit, u32 command, void* value)>;

    explicit ScenarioHost(Trace::Sink sink) : trace(std::move(sink)) {}

    Trace trace;
    u64 nowMs = 0;  ///< virtual time
    std::map<std::string, std::string, std::less<>> options;
    CorrectionSet corrections;                             ///< the daemon asks at its start
    std::array<u64, kCorrectionCount> correctionsActed{};  ///< how often, by Correction
    SwitchState switchState;
    /// Shows the switch's facts to the daemon in place; null: it shows none, and is asked. Shown by
    /// one host only.
    std::shared_ptr<ShownFacts> facts;
    /// The look-ups that a reader in place does not make are no part of the trace, so that traces
    /// with and without such a reader can be compared.
    bool hidesLookups = false;
    FailureList failures;
    SocketState sockets;
    u32 lockDepth = 0;
    bool started = false;                    ///< the daemon's start was tried
    MvrpTask task{};                         ///< of the protocol task's loop
    std::vector<SilMemPool> abandonedPools;  ///< replaced while items were still handed out
    SendHook onSend;                         ///< of frames whose send did not fail; may be empty
    CommandSyncHook onCommandSync;           ///< may be empty: the standby agrees to everything
};

inline ScenarioHost* gBoundHost = nullptr;  ///< changed by bindScenarioHost() alone

/// The host that the contract's calls act on. One must be bound.
inline ScenarioHost& scenarioHost() {
    return *gBoundHost;
}
inline bool scenarioHostBound() {
    return gBoundHost != nullptr;
}
/// Binds a host, or none with null. @return the one bound before
ScenarioHost* bindScenarioHost(ScenarioHost* host);

/// Whether the bound host has a trace. What is costly to describe asks first.
inline bool tracing() {
    return scenarioHost().trace.on();
}
/// Writes an event of the bound host to its trace.
void traceEvent(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// The same for a look-up that a reader in place does not make.
inline bool tracingLookups() {
    return tracing() && !scenarioHost().hidesLookups;
}

/// Releases what the daemon's global record holds and makes it one that no daemon was started with.
void resetDaemon(ScenarioHost& host);
/// Starts the daemon anew. @return its result
u32 startDaemon(ScenarioHost& host);

}  // namespace scenario
