// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "cli/commands/commands.h"
#include "cli/snapshot/snapshot.h"

namespace cli {
namespace {

constexpr const char* kFileOption = "o";

std::string nameOfHost() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

SnapshotFacts collect(Client& client) {
    SnapshotFacts facts = querySnapshot(client);
    facts.hostName = nameOfHost();
    if (facts.global.host.driver == static_cast<u32>(platform::DriverKind::LinuxBridge)) {
        const std::string path = client.path();
        facts.system =
            platform::collectSystemFacts(facts.configFile, path.substr(0, path.find_last_of('/')));
    }
    facts.lldp = askLldp();
    return facts;
}

/// A reader of the file finds the snapshot before or this one, and never a part of one.
void writeFile(const std::string& file, const std::string& text) {
    const std::string fresh = file + ".new";
    std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
    stream << text;
    stream.close();
    if (stream && std::rename(fresh.c_str(), file.c_str()) == 0)
        return;
    const int error = errno == 0 ? EIO : errno;
    throw RefusedError(static_cast<u32>(error),
                       "cannot write " + file + ": " + std::strerror(error) +
                           "; allowed is a file in a directory that you may write to");
}

void snapshot(const Context& context) {
    const std::string text = snapshotJson(collect(context.client));
    if (!context.has(kFileOption))
        return context.print(text);
    writeFile(context.value(kFileOption), text);
    context.finish(0);
}

std::string snapshotDetails() {
    return "One JSON document, of one moment: the daemon does nothing else while it answers. It\n"
           "holds what `show` tells of the switch and its ports; since when VLANs are there and\n"
           "when neighbours declared them last; who the neighbours are; the bridge as the kernel\n"
           "has it; and what lldpd knows, where it runs. mvrp-net reads those of many switches.";
}

constexpr Command kCommands[] = {
    {"snapshot",
     "everything that is known of the switch now, for mvrp-net",
     {},
     snapshot,
     snapshotDetails,
     {{{"-o", "FILE", "write it into this file, as a whole or not at all"}}}},
};

}  // namespace

constinit const std::span<const Command> kSnapshotCommands = kCommands;

}  // namespace cli
