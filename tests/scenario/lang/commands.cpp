// SPDX-License-Identifier: MIT
#include "tests/scenario/lang/commands.h"

#include <array>

namespace scenario {
namespace {

constexpr std::size_t kNoMost = SIZE_MAX;

constexpr auto kCommands = std::to_array<Command>({
    {"opt", "KEY VALUE", true, 2, commandOpt},
    {"port", "UNIT k=v... | UNIT absent", true, 1, commandPort},
    {"vlan", "RANGES type=T | RANGES absent", true, 2, commandVlan},
    {"index", "IDX kind=K vid=V | IDX absent", true, 2, commandIndex},
    {"auto", "0|1", true, 1, commandAuto},
    {"standby", "0|1", true, 1, commandStandby},
    {"fail", "CALL KEY COUNT|once|always [rc=N] [skip=N]", true, 3, commandFail},
    {"clearfail", "", true, 0, commandClearFail},
    {"waiting", "route|mvrp|gvrp N[,N...]", true, 2, commandWaiting},
    {"correct", "all | none | NAME...", true, 1, commandCorrect},
    {"choice", "NAME VALUE", true, 0, commandChoice},
    {"start", "", false, 0, nullptr},
    {"cmd", "first | next UNIT | port-get|port-set|port-sync|scalar-get|scalar-set|scalar-sync ...",
     false, 1, commandCmd},
    {"rx", "mvrp|gvrp UNIT HEX", false, 2, commandRx},
    {"route", "HEX", false, 0, commandRoute},
    {"advance", "MS", false, 1, commandAdvance},
    {"queue", "mvrp|gvrp IFINDEX DMAC|none OFFSET HEX | mvrp|gvrp empty | route HEX", false, 1,
     commandQueue},
    {"loop", "[N]", false, 0, commandLoop},
    {"dbg", "vlan V | port U | cmd W W W W | init | req HEX", false, 1, commandDbg},
    {"show", "glb | port | fields | this U | portvlan U V", false, 1, commandShow},
    {"dump", "state | glb | port U | pending | platform", false, 1, commandDump},
    {"call", "OP ...", false, 1, commandCall},
    {"poke", "mad|flag U RANGES HEX | port U FIELD VALUE | glb FIELD VALUE | entry U RANGES", false,
     3, commandPoke},
});

}  // namespace

void traceResult(ScenarioHost& host, u32 status, std::string_view extra) {
    std::string text = "ret " + formatStatus(status) + std::string(extra);
    if (host.lockDepth > 0)
        text += " lock=" + std::to_string(host.lockDepth);
    host.trace.line(text);
}

const std::string& wordAt(Words words, std::size_t index, std::string_view what) {
    if (index >= words.size())
        throw UsageError(std::string(what) + " is missing");
    return words[index];
}

void requireWords(Words words, std::size_t least, std::size_t most) {
    if (words.size() < least)
        throw UsageError("too few words");
    if (words.size() > most)
        throw UsageError("'" + words[most] + "' is one word too many");
}

void runCommand(ScenarioHost& host, Words words) {
    const Command& command = rowNamed(kCommands, words.front(), "a command");
    const Words arguments = words.subspan(1);
    try {
        requireWords(arguments, command.leastWords, kNoMost);
        if (command.run == nullptr) {
            requireWords(arguments, 0, 0);
            traceResult(host, startDaemon(host));
            return;
        }
        if (!command.setUp && !host.started)
            startDaemon(host);
        command.run(host, arguments);
    } catch (const UsageError& error) {
        throw UsageError(std::string(error.what()) + "\nusage: " + std::string(command.name) + " " +
                         std::string(command.usage));
    }
}

}  // namespace scenario
