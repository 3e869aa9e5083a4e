// SPDX-License-Identifier: MIT
#include "cli/views/corrections.h"

#include <array>

#include "cli/print/json_document.h"

namespace cli {

namespace {

/// By the value of Correction.
constexpr std::array<const char*, kCorrectionCount> kWords = {
    "a static VLAN stays declared whatever happens to the VLAN below it",
    "what a neighbour says of a static VLAN is heard",
    "a leave is not passed on while another port registers the VLAN",
    "a batch of changes is about one port",
    "taking a VLAN off leaves alone what other ports need",
    "GVRP: static VLANs are declared anew after a LeaveAll",
    "a port that is switched off withdraws what it had registered",
    "only ports that have something to say send",
    "each registration that is leaving has its own leave time",
    "GVRP: a static VLAN that goes is withdrawn at once",
    "a port that is switched on declares what others have registered",
    "a port with registration forbidden keeps no registration",
    "a registration is applied 20 ms after it was made",
    "memberships are applied under any load",
    "VLANs outside the permit list, or beyond max-vlans, are not registered",
};

}  // namespace

bool isOn(const GlobalView& view, Correction which) {
    return view.corrections && CorrectionSet::ofBits(view.corrections->on).has(which);
}

std::string correctionWords(Correction which) {
    return kWords.at(static_cast<std::size_t>(which));
}

std::string correctionsText(const GlobalView& view, const Style& style) {
    if (!view.corrections)
        return "This daemon knows no corrections.\n";
    Table table({"Correction", "State", ">Acted", "What it does"});
    for (u32 value = 0; value < kCorrectionCount; ++value) {
        const auto which = static_cast<Correction>(value);
        const bool on = isOn(view, which);
        table.add({std::string(correctionName(which)),
                   on ? Cell("on", Colour::Good) : Cell("off", Colour::Dim),
                   on ? std::to_string(view.corrections->acted.at(value)) : "-",
                   correctionWords(which)});
    }
    return table.print(style);
}

std::string correctionsJson(const GlobalView& view) {
    Json list = Json::array();
    for (u32 value = 0; view.corrections && value < kCorrectionCount; ++value) {
        const auto which = static_cast<Correction>(value);
        list.push_back({{"name", std::string(correctionName(which))},
                        {"on", isOn(view, which)},
                        {"acted", view.corrections->acted.at(value)}});
    }
    return finished({{"corrections", list}});
}

}  // namespace cli
