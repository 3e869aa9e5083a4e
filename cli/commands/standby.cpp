// SPDX-License-Identifier: MIT
#include "cli/client/safe_text.h"
#include "cli/commands/commands.h"

namespace cli {

namespace {

void takeOver(const Context& context) {
    const Reply reply = context.client.exchange({platform::Request::StandbyTakeOver});
    context.finish(reply.status, textOf(reply));
}

constexpr Command kCommands[] = {
    {"standby take-over", "make this standby the active", {}, takeOver},
};

}  // namespace

constinit const std::span<const Command> kStandbyCommands = kCommands;

}  // namespace cli
