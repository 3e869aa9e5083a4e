// SPDX-License-Identifier: MIT
#include <array>

#include "network/show/findings_list.h"
#include "network/show/show.h"

namespace network {

namespace {

using cli::Json;
using platform::formatVlanRanges;

constexpr std::array kSeverities = {"note", "warning", "error"};

Json endOf(const Network& network, PortAt at) {
    return {{"switch", network.switchOf(at).name}, {"port", network.portOf(at).name}};
}

Json orNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json evidenceOf(const Evidence& evidence) {
    return {{"heardAtA", evidence.heardAtA},      {"heardAtB", evidence.heardAtB},
            {"heardBefore", evidence.remembered}, {"lldp", evidence.lldp},
            {"configured", evidence.configured},  {"sure", evidence.isSure()}};
}

Json hopOf(const Network& network, const Hop& hop) {
    return {{"from", endOf(network, hop.from)},
            {"to", endOf(network, hop.to)},
            {"carries", hop.carries},
            {"reason", hop.stopped ? Json(reasonName(hop.stopped->reason)) : Json(nullptr)},
            {"text", hop.stopped ? Json(hop.stopped->text) : Json(nullptr)},
            {"explanationAt", hop.words.empty() ? Json(nullptr) : endOf(network, hop.wordsAt)},
            {"explanation", orNull(hop.words)},
            {"advice", orNull(hop.advice)}};
}

}  // namespace

std::string topologyJson(const Network& network) {
    Json switches = Json::array();
    for (const Switch& each : network.switches)
        switches.push_back({{"name", each.name},
                            {"hostName", orNull(each.hostName)},
                            {"source", each.source},
                            {"taken", each.takenMs},
                            {"ports", each.ports.size()}});
    Json cables = Json::array();
    for (const Cable& cable : network.cables)
        cables.push_back({{"a", endOf(network, cable.a)},
                          {"b", endOf(network, cable.b)},
                          {"evidence", evidenceOf(cable.evidence)}});
    Json strangers = Json::array();
    for (const Stranger& stranger : network.strangers)
        strangers.push_back({{"at", endOf(network, stranger.port)},
                             {"macAddress", macText(stranger.mac)},
                             {"protocol", stranger.gvrp ? "gvrp" : "mvrp"},
                             {"lost", stranger.lost}});
    return cli::finished({{"switches", switches},
                          {"cables", cables},
                          {"strangers", strangers},
                          {"problems", network.problems}});
}

cli::Json findingsList(const std::vector<Finding>& findings) {
    Json list = Json::array();
    for (const Finding& finding : findings)
        list.push_back({{"severity", kSeverities.at(static_cast<std::size_t>(finding.severity))},
                        {"reason", reasonName(finding.reason)},
                        {"switch", finding.onSwitch},
                        {"port", orNull(finding.port)},
                        {"cable", orNull(finding.cable)},
                        {"vlans", formatVlanRanges(finding.vlans)},
                        {"text", finding.text},
                        {"commands", finding.commands}});
    return list;
}

std::string findingsJson(const Network& network, const std::vector<Finding>& findings) {
    return cli::finished({{"switches", network.switches.size()},
                          {"cables", network.cables.size()},
                          {"findings", findingsList(findings)},
                          {"problems", network.problems}});
}

std::string explainJson(const Network& network, const Explained& explained) {
    Json ways = Json::array();
    for (const Way& way : explained.ways) {
        Json hops = Json::array();
        for (const Hop& hop : way.hops)
            hops.push_back(hopOf(network, hop));
        ways.push_back(
            {{"from", way.from}, {"to", way.to}, {"connected", way.whole}, {"hops", hops}});
    }
    return cli::finished({{"vlan", explained.vid},
                          {"wantedOn", explained.wanted},
                          {"ways", ways},
                          {"problems", network.problems}});
}

std::string differencesJson(const std::vector<Difference>& differences) {
    Json list = Json::array();
    for (const Difference& found : differences)
        list.push_back({{"where", found.where},
                        {"what", found.what},
                        {"before", orNull(found.before)},
                        {"after", orNull(found.after)}});
    return cli::finished({{"differences", list}});
}

}  // namespace network
