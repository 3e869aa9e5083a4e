// SPDX-License-Identifier: MIT
#include "platform/requests/plan_requests.h"

#include <cstring>
#include <limits>
#include <utility>

#include "platform/config/reload/config_changes.h"
#include "platform/config/reload/plan.h"
#include "platform/config/reload/reload_check.h"
#include "platform/requests/reply.h"
#include "platform/runtime/files/sealed_memory.h"

namespace platform {
namespace {

class Lines {
  public:
    void add(PlanMark mark, const std::string& text) {
        text_ += static_cast<char>(mark);
        text_ += text + "\n";
    }
    void add(PlanMark mark, const std::vector<std::string>& texts) {
        for (const std::string& text : texts)
            add(mark, text);
    }
    /// As many whole lines as a reply holds.
    std::string take() {
        if (text_.size() > kMaxValueBytes)
            text_.resize(text_.rfind('\n', kMaxValueBytes - 1) + 1);
        return std::move(text_);
    }

  private:
    std::string text_;
};

std::vector<PlanPort> portsOf(const SwitchDriver& driver) {
    std::vector<PlanPort> ports;
    for (const PortSummary& port : driver.listPorts(0, std::numeric_limits<std::size_t>::max())) {
        PlanPort found{port.unit, port.name, port.mvrp || port.gvrp, {}};
        driver.portVlans(port.unit, VlanSet::Dynamic, found.learnt);
        ports.push_back(std::move(found));
    }
    return ports;
}

/// Takes so many bytes off the front. @return nothing when there are not as many
std::optional<std::string_view> takeBytes(std::string_view& bytes, std::size_t count) {
    if (count > bytes.size())
        return std::nullopt;
    const std::string_view taken = bytes.substr(0, count);
    bytes.remove_prefix(count);
    return taken;
}

}  // namespace

std::optional<ConfigDocuments> parsePlanDocuments(std::string_view bytes) {
    ConfigDocuments documents;
    while (!bytes.empty()) {
        PlanDocument head{};
        const auto record = takeBytes(bytes, sizeof head);
        if (!record)
            return std::nullopt;
        std::memcpy(&head, record->data(), sizeof head);
        const auto path = takeBytes(bytes, head.pathBytes);
        const auto text = path ? takeBytes(bytes, head.textBytes) : std::nullopt;
        if (!text || documents.files.size() > kMaxFragments)
            return std::nullopt;
        documents.files.push_back({std::string(*path), std::string(*text)});
    }
    return documents.files.empty() ? std::nullopt : std::optional(std::move(documents));
}

std::string planLines(const PlanFacts& facts, ConfigDocuments documents, ConfigForce force) {
    Lines lines;
    const std::string path = documents.files.front().path;
    const LoadedConfig loaded = parseConfig(std::move(documents));
    for (const ConfigProblem& problem : loaded.problems)
        lines.add(PlanMark::Wrong, formatProblem(path, problem));
    if (!loaded.config)
        return lines.take();
    const HostConfig& next = *loaded.config;
    const std::string refusal =
        force == ConfigForce::Yes ? std::string() : reloadRefusal(facts.running, next);
    if (!refusal.empty())
        lines.add(PlanMark::Refused, path + ": " + refusal);
    lines.add(PlanMark::Setting, configChanges(facts.running, next));
    lines.add(PlanMark::NextStart, fixedChanges(facts.running, next));
    for (const PlanEffect& effect : planEffects(facts.running, next, portsOf(facts.driver)))
        lines.add(PlanMark::Effect, effect.port + "\t" + std::string(planWord(effect.kind)) + "\t" +
                                        formatVlanRanges(effect.vlans));
    return lines.take();
}

void registerPlanRequest(Dispatcher& dispatcher, const PlanFacts& facts) {
    dispatcher.registerRequest(
        Request::ConfigPlan,
        [facts](const RequestHeader& header, std::span<const u8> value,
                std::vector<u8>& reply) -> u32 {
            if (!value.empty())
                return refuseSize(value.size(), 0, reply);
            const Descriptor memory = facts.takeDescriptor();
            const auto bytes = readSealedMemory(memory.get(), kMaxPlanBytes);
            auto documents = bytes ? parsePlanDocuments(*bytes) : std::nullopt;
            if (!documents)
                return refuse(HostStatus::BadArgument,
                              "a plan takes the files of a configuration in sealed memory "
                              "(memfd_create), of at most " +
                                  std::to_string(kMaxPlanBytes) + " bytes together",
                              reply);
            appendText(reply, planLines(facts, std::move(*documents),
                                        static_cast<ConfigForce>(header.attribute)));
            return kStatusOk;
        });
}

}  // namespace platform
