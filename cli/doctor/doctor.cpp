// SPDX-License-Identifier: MIT
#include "cli/doctor/doctor.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/client/observed.h"
#include "cli/client/safe_text.h"
#include "platform/model/vlan_algebra.h"

namespace cli {
namespace {

constexpr int kJsonVersion = 1;
constexpr const char* kUsualConfig = "/etc/mvrp/mvrp.toml";
constexpr std::array<const char*, 3> kSeverityNames = {"note", "warning", "error"};

const char* nameOf(Severity severity) {
    return kSeverityNames.at(static_cast<std::size_t>(severity));
}

Colour colourOf(Severity severity) {
    return severity == Severity::Note ? Colour::Dim : Colour::Bad;
}

void readStatistics(Client& client, DaemonFacts& facts) {
    std::vector<Request> requests;
    for (const PortView& view : facts.ports)
        requests.push_back({platform::Request::PortStatistics, view.port.unit});
    const std::vector<Reply> replies = client.exchange(requests);
    for (std::size_t i = 0; i < replies.size(); ++i) {
        platform::PortStatisticsRecord record{};
        if (replies[i].status != kStatusOk || replies[i].value.size() != sizeof record)
            continue;
        std::memcpy(&record, replies[i].value.data(), sizeof record);
        facts.statistics[facts.ports[i].port.unit] = record;
    }
}

bool areAny(const PortGaps& gaps) {
    return !platform::vlanIsEmpty(gaps.undeclared) || !platform::vlanIsEmpty(gaps.unmembered) ||
           !platform::vlanIsEmpty(gaps.unregistered) || !platform::vlanIsEmpty(gaps.unpassed);
}

/// Milliseconds ago that the first of these VLANs was heard of on the port.
u32 firstHeard(Client& client, const platform::SwitchPortRecord& port,
               const platform::VlanBitmap& vlans, u32 platform::VlanHistoryRecord::*when) {
    for (u32 vid = platform::kFirstVlan; vid <= platform::kLastVlan; ++vid)
        if (platform::vlanContains(vlans, vid))
            return queryVlanHistory(client, vid, {port}).front().vlan.*when;
    return platform::kNever32;
}

}  // namespace

std::map<u32, PortGaps> lastingGaps(Client& client, const std::vector<PortView>& ports) {
    constexpr std::chrono::milliseconds kOnItsWay{1500};
    VlansView view = queryVlans(client, kNameParts);
    view.ports = ports;
    std::map<u32, PortGaps> first = gapsOf(view);
    std::erase_if(first, [](const auto& entry) { return !areAny(entry.second); });
    if (first.empty())
        return first;
    std::this_thread::sleep_for(kOnItsWay);
    const VlansView again = queryVlans(client);
    std::map<u32, PortGaps> second = gapsOf(again);
    std::map<u32, PortGaps> both;
    for (const PortView& port : again.ports) {
        const auto before = first.find(port.port.unit);
        if (before == first.end())
            continue;
        PortGaps& gaps = second[port.port.unit];
        for (const auto member : {&PortGaps::undeclared, &PortGaps::unmembered,
                                  &PortGaps::unregistered, &PortGaps::unpassed})
            gaps.*member = platform::vlanIntersection(gaps.*member, before->second.*member);
        if (!areAny(gaps))
            continue;
        gaps.registeredMs =
            firstHeard(client, port.port, gaps.unmembered, &platform::VlanHistoryRecord::joinMs);
        gaps.withdrawnMs =
            firstHeard(client, port.port, gaps.unregistered, &platform::VlanHistoryRecord::leaveMs);
        both[port.port.unit] = gaps;
    }
    return both;
}

namespace {

/// Under GVRP a declaration may be active here and forgotten by the neighbour.
void addUnrenewed(Client& client, DaemonFacts& facts) {
    std::vector<platform::SwitchPortRecord> ports;
    std::vector<const PortView*> views;
    for (const PortView& view : facts.ports) {
        if (!saysWhatIsStatic(view))
            continue;
        ports.push_back(view.port);
        views.push_back(&view);
    }
    const platform::VlanBitmap statics = queryVlans(client, kNameParts).staticVlans;
    for (u32 vid = platform::kFirstVlan; vid <= platform::kLastVlan; ++vid) {
        if (ports.empty() || !platform::vlanContains(statics, vid))
            continue;
        const std::vector<VlanHistory> histories = queryVlanHistory(client, vid, ports);
        for (std::size_t i = 0; i < ports.size(); ++i)
            if (platform::vlanContains(views[i]->permitted, vid) &&
                platform::vlanContains(views[i]->declared, vid) &&
                wasNotRenewed(histories[i], views[i]->settings->joinTime))
                platform::vlanInsert(facts.gaps[ports[i].unit].unrenewed, vid);
    }
}

std::string configSource(Client& client) {
    const Reply reply = client.exchange({platform::Request::ConfigSource});
    return reply.status == kStatusOk ? textOf(reply) : "";
}

/// The directory that a socket lies in.
std::string directoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

}  // namespace

DaemonFacts collectDaemonFacts(const std::string& socketPath) {
    DaemonFacts facts;
    try {
        Client client(socketPath);
        facts.global = queryGlobal(client);
        facts.ports = queryPorts(client, queryPortList(client));
        readStatistics(client, facts);
        facts.gaps = lastingGaps(client, facts.ports);
        if (facts.global.compliance)
            addUnrenewed(client, facts);
        facts.configFile = configSource(client);
        facts.state = DaemonState::Answers;
    } catch (const ConnectionError& error) {
        facts.problem = error.what();
        facts.state = facts.problem.find("permitted") == std::string::npos
                          ? DaemonState::NotRunning
                          : DaemonState::NotPermitted;
    }
    return facts;
}

std::vector<Finding> examine(const DoctorFacts& facts) {
    std::vector<Finding> findings;
    examineDaemon(facts, findings);
    examineBridge(facts, findings);
    examineNeighbours(facts, findings);
    examineMemberships(facts, findings);
    examineOthers(facts, findings);
    std::ranges::stable_sort(findings, std::greater<>{}, &Finding::severity);
    return findings;
}

std::string findingsText(const std::vector<Finding>& findings, const Style& style) {
    if (findings.empty())
        return "Nothing found.\n";
    std::string text;
    for (const Finding& finding : findings) {
        const std::string severity = nameOf(finding.severity);
        const std::string words =
            wrapList(severity + ": " + finding.subject + ": " + finding.seen, 4, style.width);
        text += style.paint(colourOf(finding.severity), severity) + ": " +
                style.paint(Colour::Strong, finding.subject) +
                words.substr(severity.size() + 2 + finding.subject.size()) + "\n";
        for (const std::string& command : finding.commands)
            text += "    " + command + "\n";
    }
    return text;
}

std::string findingsJson(const std::vector<Finding>& findings) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Finding& finding : findings)
        list.push_back({{"severity", nameOf(finding.severity)},
                        {"id", finding.id},
                        {"subject", finding.subject},
                        {"seen", finding.seen},
                        {"commands", finding.commands}});
    const nlohmann::ordered_json answer = {{"version", kJsonVersion}, {"findings", list}};
    return answer.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

namespace {

/// Names that this system's users chose, of interfaces and of programs.
void makeSafe(platform::SystemFacts& facts) {
    for (platform::KernelLink& link : facts.links)
        link.name = safeText(link.name);
    for (platform::PacketListener& listener : facts.listeners)
        listener.program = safeText(listener.program);
    for (platform::VlanDevice& device : facts.vlanDevices)
        device.name = safeText(device.name);
    for (platform::LedgerRecord& record : facts.ledger)
        record.name = safeText(record.name);
}

}  // namespace

DoctorFacts collectDoctorFacts(const std::string& socketPath, const std::string& configFile) {
    DoctorFacts facts;
    facts.daemon = collectDaemonFacts(socketPath);
    std::string file = configFile.empty() ? facts.daemon.configFile : configFile;
    if (file.empty())
        file = kUsualConfig;
    facts.system = platform::collectSystemFacts(file, directoryOf(socketPath));
    makeSafe(facts.system);
    return facts;
}

bool areSerious(const std::vector<Finding>& findings) {
    return std::ranges::any_of(
        findings, [](const Finding& finding) { return finding.severity != Severity::Note; });
}

}  // namespace cli
