// SPDX-License-Identifier: MIT
#include "network/map/page.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "network/map/resources.h"
#include "network/map/svg.h"
#include "network/show/findings_list.h"
#include "network/show/show.h"

namespace network {

namespace {

using cli::Json;
using platform::formatVlanRanges;

/// "2026-11-22 14:05 UTC".
std::string timeText(u64 sinceEpochMs) {
    constexpr u64 kMsPerSecond = 1000;
    const auto seconds = static_cast<std::time_t>(sinceEpochMs / kMsPerSecond);
    std::tm parts{};
    std::array<char, 64> text{};
    if (gmtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M UTC", &parts) == 0)
        return "?";
    return text.data();
}

std::string collectedText(const Network& network) {
    const auto [first, last] = std::ranges::minmax_element(network.switches, {}, &Switch::takenMs);
    if (first == network.switches.end())
        return {};
    const std::string begin = timeText(first->takenMs);
    const std::string end = timeText(last->takenMs);
    return begin == end ? begin : begin + " to " + end;
}

Json switchesOf(const MapFacts& facts) {
    Json list = Json::array();
    for (std::size_t i = 0; i < facts.switches.size(); ++i)
        list.push_back({{"name", facts.network.switches[i].name},
                        {"static", formatVlanRanges(facts.switches[i].fixed)},
                        {"asked", formatVlanRanges(facts.switches[i].asked)},
                        {"learnt", formatVlanRanges(facts.switches[i].learnt)}});
    return list;
}

Json endOf(const EndVlans& end) {
    return {{"registered", formatVlanRanges(end.registered)},
            {"unasked", formatVlanRanges(end.unasked)}};
}

Json cablesOf(const MapFacts& facts) {
    Json list = Json::array();
    for (std::size_t i = 0; i < facts.cables.size(); ++i) {
        const CableVlans& cable = facts.cables[i];
        list.push_back({{"name", nameOf(facts.network, facts.network.cables[i])},
                        {"evidence", evidenceText(facts.network.cables[i].evidence)},
                        {"works", cable.works},
                        {"stops", formatVlanRanges(cable.stops)},
                        {"ends", {endOf(cable.ends[0]), endOf(cable.ends[1])}}});
    }
    return list;
}

Json marksOf(const MapFacts& facts) {
    Json list = Json::array();
    for (const Mark& mark : facts.marks)
        list.push_back(mark.findings);
    return list;
}

Json strangersOf(const Network& network) {
    Json list = Json::array();
    for (const Stranger& each : network.strangers)
        list.push_back({{"at", nameOf(network, each.port)},
                        {"mac", macText(each.mac)},
                        {"speaks", each.gvrp ? "GVRP" : "MVRP"},
                        {"lost", each.lost}});
    return list;
}

Json documentOf(const MapFacts& facts, std::optional<u32> vid) {
    Json groups = Json::array();
    for (const VlanBitmap& group : facts.groups)
        groups.push_back(formatVlanRanges(group));
    return {{"collected", collectedText(facts.network)},
            {"vlan", vid ? Json(*vid) : Json(nullptr)},
            {"groups", groups},
            {"switches", switchesOf(facts)},
            {"cables", cablesOf(facts)},
            {"marks", marksOf(facts)},
            {"findings", findingsList(facts.findings)},
            {"strangers", strangersOf(facts.network)},
            {"problems", facts.network.problems}};
}

/// JSON as it may stand in a script element: no name ends it.
std::string scriptText(const Json& document) {
    std::string safe;
    for (const char each : document.dump(-1, ' ', true, Json::error_handler_t::replace))
        safe += each == '<' ? "\\u003c" : std::string(1, each);
    return safe;
}

/// What stands at a place of the page. Each place is there once, and none is looked for in what was
/// put in, whatever names hold.
void fillIn(std::string& done, std::string& rest, const std::string& place,
            const std::string& content) {
    const std::size_t at = rest.find(place);
    done += rest.substr(0, at) + content;
    rest.erase(0, at + place.size());
}

}  // namespace

std::string mapPage(const MapFacts& facts, std::optional<u32> vid) {
    const std::vector<Place> places = placesOf(facts.network);
    const auto picture = [&](Room room, const char* name) {
        return svgPicture(facts, drawingOf(facts, places, room), vid, name);
    };
    std::string page;
    std::string rest = kPage;
    fillIn(page, rest, "/* style of the picture */", kPictureStyle);
    fillIn(page, rest, "<!-- pictures -->",
           picture(wideRoom(facts.network), "wide") + "\n" +
               picture(narrowRoom(facts.network), "narrow"));
    fillIn(page, rest, "/* the network */", scriptText(documentOf(facts, vid)));
    return page + rest;
}

}  // namespace network
