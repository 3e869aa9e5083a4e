// SPDX-License-Identifier: MIT
#include <array>

#include "cli/print/json_document.h"
#include "network/show/forecast.h"

namespace network {

namespace {

using cli::Json;
using platform::formatVlanRanges;

constexpr std::array kKinds = {"interrupted", "lost", "connected"};

Json rangeOf(const Range& range) {
    return {{"middle", range.middle}, {"least", range.least}, {"most", range.most}};
}

Json differencesOf(const std::vector<Difference>& differences) {
    Json list = Json::array();
    for (const Difference& found : differences)
        list.push_back({{"where", found.where},
                        {"what", found.what},
                        {"before", found.before},
                        {"after", found.after}});
    return list;
}

Json endingsOf(const std::vector<Ending>& endings) {
    Json list = Json::array();
    for (const Ending& ending : endings)
        list.push_back({{"runs", ending.runs}, {"differences", differencesOf(ending.differences)}});
    return list;
}

Json reachOf(const Reach& reach) {
    const bool interrupted = reach.kind == ReachKind::Interrupted;
    return {{"kind", kKinds.at(static_cast<std::size_t>(reach.kind))},
            {"vlans", formatVlanRanges(reach.vlans)},
            {"left", reach.left},
            {"right", reach.right},
            {"from", reach.fromMs},
            {"for", interrupted ? Json(reach.forMs) : Json(nullptr)},
            {"times", reach.times}};
}

}  // namespace

std::string forecastJson(const Network& network, const Forecast& forecast) {
    Json reaches = Json::array();
    for (const Reach& reach : forecast.reaches)
        reaches.push_back(reachOf(reach));
    Json moments = Json::array();
    for (const Moment& moment : forecast.moments)
        moments.push_back(
            {{"time", moment.ms}, {"frames", moment.frames}, {"memberships", moment.changes}});
    return cli::finished(
        {{"switches", network.switches.size()},
         {"cables", network.cables.size()},
         {"changes", forecast.changes},
         {"after", forecast.afterMs ? Json(*forecast.afterMs) : Json(nullptr)},
         {"timers", {{"known", forecast.portsKnown}, {"of", forecast.portsRunning}}},
         {"runs", forecast.runs},
         {"ended", forecast.ended},
         {"quiet", rangeOf(forecast.quietMs)},
         {"frames", rangeOf(forecast.mostFrames)},
         {"busiestPort", forecast.busiest.empty() ? Json(nullptr) : Json(forecast.busiest)},
         {"framesAMinute", {{"before", forecast.restBefore}, {"after", forecast.restAfter}}},
         {"reaches", reaches},
         {"moments", moments},
         {"unlike", differencesOf(forecast.unlike)},
         {"differences", differencesOf(forecast.endings.front().differences)},
         {"endings", endingsOf(forecast.endings)},
         {"problems", forecast.problems}});
}

}  // namespace network
