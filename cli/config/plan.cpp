// SPDX-License-Identifier: MIT
#include "cli/config/plan.h"

#include <algorithm>
#include <array>
#include <utility>

#include "cli/print/json_document.h"
#include "platform/channel/protocol.h"

namespace cli {

namespace {

using platform::PlanMark;

/// What an effect says to a person; VLANs stand behind it.
struct EffectText {
    std::string_view word;
    std::string_view text;
    Colour colour;
};

constexpr std::array kEffectTexts = {
    EffectText{"portNew", "is new, permits VLANs", Colour::Good},
    EffectText{"portGone", "is deleted, with the learnt VLANs", Colour::Bad},
    EffectText{"portJoins", "begins to take part", Colour::Good},
    EffectText{"portLeaves", "takes no part any more, forgets VLANs", Colour::Bad},
    EffectText{"permitted", "permits VLANs", Colour::Good},
    EffectText{"forbidden", "permits no longer VLANs", Colour::Warn},
    EffectText{"forgotten", "loses the learnt VLANs", Colour::Bad},
    EffectText{"vlansCreated", "gets the static VLANs", Colour::Good},
    EffectText{"vlansDeleted", "loses the static VLANs", Colour::Bad},
};

constexpr const char* kNoVlans = "-";

PlanEffectLine readEffect(const std::string& text) {
    const std::size_t first = std::min(text.find('\t'), text.size());
    const std::size_t second = std::min(text.find('\t', first + 1), text.size());
    return {text.substr(0, first), text.substr(std::min(first + 1, second), second - first - 1),
            text.substr(std::min(second + 1, text.size()))};
}

std::string describe(const PlanEffectLine& effect, const Style& style) {
    const auto* const known = std::ranges::find(kEffectTexts, effect.word, &EffectText::word);
    const bool isKnown = known != kEffectTexts.end();
    const std::string text(isKnown ? known->text : std::string_view(effect.word));
    const bool vlans = effect.vlans != kNoVlans && effect.word != "portJoins";
    // "forgets VLANs" of a port that learnt none says nothing.
    const std::string said = vlans ? text : text.substr(0, text.find(','));
    return style.paint(isKnown ? known->colour : Colour::Plain, said) +
           (vlans ? " " + effect.vlans : "");
}

void addPart(std::string& text, const char* title, const std::vector<std::string>& lines,
             const Style& style) {
    if (lines.empty())
        return;
    text += (text.empty() ? "" : "\n") + style.paint(Colour::Strong, title) + "\n";
    for (const std::string& line : lines)
        text += "  " + line + "\n";
}

}  // namespace

PlanExit exitOf(const Plan& plan) {
    return !plan.refused.empty()     ? PlanExit::Refused
           : plan.changesSomething() ? PlanExit::Changes
                                     : PlanExit::Nothing;
}

Plan readPlan(std::vector<std::string> files, const std::vector<std::string>& lines) {
    Plan plan;
    plan.files = std::move(files);
    for (const std::string& line : lines) {
        const std::string text = line.substr(std::min<std::size_t>(1, line.size()));
        switch (static_cast<PlanMark>(line.empty() ? '\0' : line.front())) {
            case PlanMark::Wrong:
            case PlanMark::Refused:
                plan.refused.push_back(text);
                break;
            case PlanMark::Setting:
                plan.changes.push_back(text);
                break;
            case PlanMark::NextStart:
                plan.nextStart.push_back(text);
                break;
            case PlanMark::Effect:
                plan.effects.push_back(readEffect(text));
                break;
        }
    }
    return plan;
}

std::string planText(const Plan& plan, const Style& style) {
    std::string text;
    addPart(text, "It would be refused", plan.refused, style);
    addPart(text, "Settings that would change", plan.changes, style);
    std::vector<std::string> effects;
    for (const PlanEffectLine& effect : plan.effects)
        effects.push_back((effect.port.empty() ? "the switch" : effect.port) + " " +
                          describe(effect, style));
    addPart(text, "What that does to ports and VLANs", effects, style);
    addPart(text, "What would wait for the next start", plan.nextStart, style);
    return text.empty() ? "Nothing would change.\n" : text;
}

std::string planJson(const Plan& plan) {
    Json effects = Json::array();
    for (const PlanEffectLine& effect : plan.effects)
        effects.push_back({{"name", effect.port.empty() ? Json(nullptr) : Json(effect.port)},
                           {"effect", effect.word},
                           {"vlans", effect.vlans}});
    return finished({{"files", plan.files},
                     {"refused", plan.refused},
                     {"changes", plan.changes},
                     {"effects", effects},
                     {"nextStart", plan.nextStart}});
}

}  // namespace cli
