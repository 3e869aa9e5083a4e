// SPDX-License-Identifier: MIT
//
// All commands in the order of the help.
#include "cli/commands/commands.h"

namespace cli {

namespace {

constexpr Group kGroups[] = {
    {"clear", "count from zero again"},
    {"set", "change settings of the protocol"},
    {"config", "the configuration file and what runs"},
    {"switch", "change the software switch below the protocol"},
    {"switch port", "ports of the software switch"},
    {"switch vlan", "VLANs of the software switch"},
    {"standby", "what concerns the pair of an active and a standby"},
    {"debug", "look into the daemon"},
};

constexpr Option kOptions[] = {
    {"--socket", "PATH",
     "command socket of the daemon, or the runtime directory that it is in;\n"
     "default: $MVRP_RUNTIME_DIR; when that is not set, /run/mvrp or /tmp"},
    {"--patience", "S", "seconds that the daemon may take for an answer; default: 20"},
    {"-j,--json", nullptr, "print JSON"},
    {"-o,--output", "FORMAT", "table|json|yaml|csv: how an answer is printed; default: table"},
    {"-b,--batch", "FILE",
     "run the commands of a file, or of the standard input (-), a line each; the\n"
     "first that fails ends it"},
    {"--atomic", nullptr,
     "with --batch all or nothing: what was set is put back when a later line\n"
     "fails"},
    {"--all", nullptr,
     "ask every daemon of this machine: those whose sockets are in the runtime\n"
     "directory, in its directories, or beside it in some of like name"},
    {"-n,--netns", "NETNS", "run in this network namespace, by its name"},
    {"--version", nullptr, "print the version"},
    {"-h,--help", nullptr, "print this; `mvrpctl help COMMAND` says more"},
};

}  // namespace

constinit const std::span<const Option> kGlobalOptions = kOptions;

std::span<const std::span<const Command>> allCommands() {
    static const std::span<const Command> tables[] = {
        kStatusCommands, kShowCommands,   kDoctorCommands,   kRepairCommands,  kExplainCommands,
        kWatchCommands,  kLogCommands,    kSnapshotCommands, kSupportCommands, kFrameCommands,
        kSetCommands,    kConfigCommands, kSwitchCommands,   kStaticCommands,  kStandbyCommands,
        kDebugCommands,  kHelpCommands,
    };
    return tables;
}

std::span<const Group> allGroups() {
    return kGroups;
}

}  // namespace cli
