// SPDX-License-Identifier: MIT
#include "cli/commands/commands.h"
#include "cli/explain/explain.h"

namespace cli {

namespace {

void explainCommand(const Context& context) {
    const u32 vid = context.vlan(1);
    const ExplainFacts facts = collectFacts(context.client, context.port(0), vid);
    const Explanation explanation = explainVlan(facts);
    context.print(context.json ? explanationJson(facts, explanation)
                               : explanationText(facts, explanation, context.style));
}

constexpr Command kCommands[] = {
    {"explain",
     "why a VLAN is, or is not, on a port, and what to do",
     {{{"port", "name or unit of a port"}, {"vlan", "VLAN ID, 1 to 4094"}}},
     explainCommand},
};

}  // namespace

constinit const std::span<const Command> kExplainCommands = kCommands;

}  // namespace cli
