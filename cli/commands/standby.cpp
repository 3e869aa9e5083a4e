// SPDX-License-Identifier: MIT
#include "cli/client/safe_text.h"
#include "cli/commands/commands.h"

namespace cli {

namespace {

void takeOver(const Context& context) {
    const auto force =
        context.has("force") ? platform::TakeOverForce::Yes : platform::TakeOverForce::No;
    const Reply reply =
        context.client.exchange({platform::Request::StandbyTakeOver, 0, static_cast<u32>(force)});
    context.finish(reply.status, textOf(reply));
}

std::string forceDetails() {
    return "While the active answers this is refused without --force: both would speak. With it "
           "the\n"
           "active is told to stand back when it is met, and is the standby from then on.\n";
}

constexpr Command kCommands[] = {
    {"standby take-over",
     "make this standby the active",
     {},
     takeOver,
     forceDetails,
     {{{"--force", nullptr, "also while the active answers"}}}},
};

}  // namespace

constinit const std::span<const Command> kStandbyCommands = kCommands;

}  // namespace cli
