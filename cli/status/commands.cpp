// SPDX-License-Identifier: MIT
#include "cli/commands/commands.h"
#include "cli/status/status.h"
#include "cli/watch/change_stream.h"

namespace cli {
namespace {

constexpr int kSomethingToDo = 1;
constexpr std::size_t kChangesShown = 5;
constexpr u64 kChangesLookedAt = 500;  ///< among which those that are shown are looked for

/// Whether a change is noted when it happens. Links, static VLANs and who takes part are compared
/// only while somebody looks, and would be told with the time of this look.
bool isTimely(const platform::ChangeRecord& change) {
    using platform::ChangeKind;
    switch (static_cast<ChangeKind>(change.kind)) {
        case ChangeKind::MemberAdded:
        case ChangeKind::MemberRemoved:
        case ChangeKind::MemberRefused:
        case ChangeKind::VlanLearnt:
        case ChangeKind::VlanLearntGone:
            return true;
        default:
            return false;
    }
}

std::vector<GatheredChange> lastChanges(Client& client) {
    std::vector<platform::ChangeRecord> all = ChangeStream(client, false).latest(kChangesLookedAt);
    std::erase_if(all, [](const platform::ChangeRecord& change) { return !isTimely(change); });
    std::vector<GatheredChange> changes = gather(all);
    if (changes.size() > kChangesShown)
        changes.erase(changes.begin(), changes.end() - static_cast<std::ptrdiff_t>(kChangesShown));
    return changes;
}

StatusFacts collect(const Context& context) {
    StatusFacts facts;
    DoctorFacts examined = collectDoctorFacts(context.client.path(), {});
    facts.findings = examine(examined);
    facts.daemon = std::move(examined.daemon);
    if (facts.daemon.state != DaemonState::Answers)
        return facts;
    const VlansView view = queryVlans(context.client, {}, kNameParts);
    facts.staticVlans = view.staticVlans;
    facts.learntVlans = view.dynamicVlans;
    facts.changes = lastChanges(context.client);
    return facts;
}

void status(const Context& context) {
    const StatusFacts facts = collect(context);
    const StatusPage page = pageOf(facts);
    context.print(context.json ? statusPageJson(facts, page)
                               : statusPageText(facts, page, context.style));
    context.setExitStatus(page.next ? kSomethingToDo : 0);
}

std::string statusDetails() {
    return "The first line says that all is well, or the one thing to do next: the worst of what\n"
           "`mvrpctl doctor` finds. Changes nothing.\n"
           "Exit status: 0 all is well, 1 something is to be done, 2 wrong usage.";
}

constexpr Command kCommands[] = {
    {"status",
     "one page: whether all is well, the switch, its ports, VLANs, peers and last changes",
     {},
     status,
     statusDetails},
};

}  // namespace

constinit const std::span<const Command> kStatusCommands = kCommands;

}  // namespace cli
