// SPDX-License-Identifier: MIT
//
// The commands of the scenario language. Each function gets the words after the command's name and
// throws UsageError for words that make no sense.
#pragma once

#include <string_view>

#include "platform/virtual/state/host.h"
#include "tests/scenario/lang/text.h"

namespace scenario {

struct Command {
    std::string_view name;
    std::string_view usage;  ///< the words after the name, for errors
    bool setUp;              ///< does not start the daemon
    u32 leastWords;
    void (*run)(ScenarioHost& host, Words words);
};

/// Runs one command, whose first word is its name, after its echo: starts the daemon where the
/// command needs it.
void runCommand(ScenarioHost& host, Words words);

// Set-up of the platform: commands_setup.cpp.
void commandOpt(ScenarioHost& host, Words words);
void commandPort(ScenarioHost& host, Words words);
void commandVlan(ScenarioHost& host, Words words);
void commandIndex(ScenarioHost& host, Words words);
void commandAuto(ScenarioHost& host, Words words);
void commandStandby(ScenarioHost& host, Words words);
void commandFail(ScenarioHost& host, Words words);
void commandClearFail(ScenarioHost& host, Words words);
void commandWaiting(ScenarioHost& host, Words words);
void commandCorrect(ScenarioHost& host, Words words);
void commandChoice(ScenarioHost& host, Words words);

// The daemon from outside: commands_request.cpp, commands_wire.cpp, commands_debug.cpp.
void commandCmd(ScenarioHost& host, Words words);
void commandRx(ScenarioHost& host, Words words);
void commandRoute(ScenarioHost& host, Words words);
void commandAdvance(ScenarioHost& host, Words words);
void commandQueue(ScenarioHost& host, Words words);
void commandLoop(ScenarioHost& host, Words words);
void commandDbg(ScenarioHost& host, Words words);
void commandShow(ScenarioHost& host, Words words);

// The daemon from inside: dump.cpp, commands_call.cpp, commands_poke.cpp.
void commandDump(ScenarioHost& host, Words words);
void commandCall(ScenarioHost& host, Words words);
void commandPoke(ScenarioHost& host, Words words);

/// Writes the result of a command: the status, what belongs to it (for example ` value=1`), and the
/// depth of the lock when it is still held.
void traceResult(ScenarioHost& host, u32 status, std::string_view extra = {});

/// The word at `index`; throws UsageError when there is none.
const std::string& wordAt(Words words, std::size_t index, std::string_view what);

/// Throws UsageError when there are more words than that.
void requireWords(Words words, std::size_t least, std::size_t most);

/// The row of `table`, whose rows have a `name`, with that name; throws UsageError with all names.
template <typename Table>
const auto& rowNamed(const Table& table, std::string_view name, std::string_view what) {
    std::string allowed;
    for (const auto& row : table) {
        if (row.name == name)
            return row;
        allowed += (allowed.empty() ? "" : ", ") + std::string(row.name);
    }
    throw UsageError("'" + std::string(name) + "' is not " + std::string(what) +
                     "; allowed: " + allowed);
}

}  // namespace scenario
