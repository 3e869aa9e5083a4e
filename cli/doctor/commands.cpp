// SPDX-License-Identifier: MIT
#include "cli/commands/commands.h"
#include "cli/doctor/doctor.h"

namespace cli {
namespace {

constexpr int kSomethingToDo = 1;

void doctor(const Context& context) {
    const std::string file = context.count() == 0 ? std::string() : context.text(0);
    const std::vector<Finding> findings = examine(collectDoctorFacts(context.client.path(), file));
    context.print(context.json ? findingsJson(findings) : findingsText(findings, context.style));
    context.setExitStatus(areSerious(findings) ? kSomethingToDo : 0);
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
     doctor,
     doctorDetails},
}};

}  // namespace

const std::span<const Command> kDoctorCommands = kCommands;

}  // namespace cli
