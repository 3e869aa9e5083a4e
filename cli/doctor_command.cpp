// SPDX-License-Identifier: MIT
#include "cli/commands.h"
#include "cli/doctor.h"

namespace cli {
namespace {

int doctor(const Alone& alone) {
    const std::string file = alone.arguments.empty() ? std::string() : alone.arguments.front();
    return runDoctor(alone.socket, file, alone.json, alone.style);
}

std::string doctorDetails() {
    return "Looks at the daemon, its configuration file, the bridge and the neighbours, and says "
           "what\n"
           "is not as it should be, each with the command that mends it. Changes nothing, and "
           "works\n"
           "without a running daemon. Other users' programs are seen by root alone.\n"
           "Exit status: 0 nothing but notes, 1 warnings or errors, 2 wrong usage.";
}

const std::array<Command, 1> kCommands = {{
    {"doctor",
     "find out what keeps VLANs from coming and going",
     {{{"file", "configuration file; default: the daemon's, or /etc/mvrp/mvrp.toml", true}}},
     nullptr,
     doctorDetails,
     doctor},
}};

}  // namespace

const std::span<const Command> kDoctorCommands = kCommands;

}  // namespace cli
