// SPDX-License-Identifier: MIT
#include "platform/inspect/system_facts.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/config/load.h"
#include "platform/inspect/vlan_devices.h"
#include "platform/linux/netlink/guard.h"
#include "platform/linux/netlink/rtnl_dump.h"
#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

/// A program that configures networks. A name of a process has 15 letters at most.
struct ManagerProcess {
    const char* name;
    const char* process;
};
constexpr std::array<ManagerProcess, 3> kManagerProcesses = {{
    {"systemd-networkd", "systemd-network"},
    {"NetworkManager", "NetworkManager"},
    {"Open vSwitch", "ovs-vswitchd"},
}};

/// A program that runs and ends: what it has configured is in a file of its own.
struct ManagerState {
    const char* name;
    const char* file;
};
constexpr std::array<ManagerState, 3> kManagerStates = {{
    {"ifupdown2", "/run/network/ifstatenew"},
    {"ifupdown2", "/var/tmp/network/ifstatenew"},
    {"ifupdown", "/run/network/ifstate"},
}};
constexpr const char* kBridgeFirewallFile = "/proc/sys/net/bridge/bridge-nf-call-iptables";

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void readConfig(SystemFacts& facts) {
    std::error_code ignored;
    facts.configThere = fs::exists(facts.configFile, ignored);
    if (!facts.configThere)
        return;
    LoadedConfig loaded = loadConfig(facts.configFile);
    for (const ConfigProblem& problem : loaded.problems)
        facts.configProblems.push_back(formatProblem(facts.configFile, problem));
    facts.config = std::move(loaded.config);
}

void readGuards(NetlinkSocket& socket, SystemFacts& facts) {
    for (const KernelLink& link : facts.links) {
        GuardState state;
        const auto bridge = std::ranges::find(facts.links, link.master, &KernelLink::index);
        if (link.bridgePort && bridge != facts.links.end() &&
            dumpGuard(socket, link.index, bridge->name, state))
            facts.guards.push_back(
                {link.index, state.present, state.place.preference, state.strange});
    }
}

void readKernel(SystemFacts& facts) {
    NetlinkSocket socket;
    KernelResult result = socket.open(true);
    if (result)
        result = dumpLinks(socket, facts.links);
    if (result)
        result = dumpVlans(socket, 0, facts.vlans);
    if (result)
        result = dumpVlanDevices(socket, facts.vlanDevices);
    if (result)
        readGuards(socket, facts);
    else
        facts.kernelProblem = result.what;
}

/// Reads the kernel, and the ledger of the configured bridge before and after it.
void readKernelAndLedger(const std::string& directory, SystemFacts& facts) {
    if (!facts.config) {
        readKernel(facts);
        return;
    }
    const std::string& bridge = facts.config->network.linuxBridge.bridge;
    const std::string path = directory + "/mvrp-" + bridge + ".ledger";
    std::error_code ignored;
    facts.ledgerThere = fs::exists(path, ignored);
    const std::optional<LedgerContents> before = readLedger(path);
    readKernel(facts);
    const std::optional<LedgerContents> after = readLedger(path);
    if (!before || !after)
        return;
    const auto link = std::ranges::find(facts.links, bridge, &KernelLink::name);
    const u32 index = link == facts.links.end() ? 0 : link->index;
    facts.ledgerForeign = after->scope != currentScope(bridge, index);
    if (!facts.ledgerForeign)
        facts.ledger = steadyRecords(before->records, after->records);
}

bool isNumber(const std::string& text) {
    return !text.empty() && std::ranges::all_of(text, [](unsigned char letter) {
        return std::isdigit(letter) != 0;
    });
}

/// Of "socket:[INODE]", which an open socket's entry points at; 0 for anything else.
u64 socketInode(const fs::path& entry) {
    constexpr std::string_view kBegin = "socket:[";
    std::error_code error;
    const std::string target = fs::read_symlink(entry, error).string();
    return error || !target.starts_with(kBegin)
               ? 0
               : std::strtoull(target.c_str() + kBegin.size(), nullptr, 10);
}

void findOwnersIn(const fs::path& process, std::vector<PacketListener>& listeners) {
    std::error_code error;
    for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end;
         entry.increment(error)) {
        const u64 inode = socketInode(entry->path());
        for (PacketListener& listener : listeners) {
            if (inode == 0 || listener.inode != inode || listener.process != 0)
                continue;
            listener.process = std::atoi(process.filename().c_str());
            std::string name = contentOf(process / "comm");
            listener.program = name.substr(0, name.find('\n'));
        }
    }
}

/// Names of the configured bridge and of its ports.
std::vector<std::string> bridgeAndPorts(const SystemFacts& facts) {
    std::vector<std::string> names;
    const std::string bridge = facts.config ? facts.config->network.linuxBridge.bridge : "";
    const auto found = std::ranges::find(facts.links, bridge, &KernelLink::name);
    if (found == facts.links.end())
        return names;
    names.push_back(bridge);
    for (const KernelLink& link : facts.links)
        if (link.master == found->index)
            names.push_back(link.name);
    return names;
}

/// In whichever form the file has them, the names stand in it as they are.
bool namesAny(const std::string& text, const std::vector<std::string>& names) {
    return std::ranges::any_of(
        names, [&text](const std::string& name) { return text.find(name) != std::string::npos; });
}

}  // namespace

std::vector<LedgerRecord> steadyRecords(const std::vector<LedgerRecord>& before,
                                        const std::vector<LedgerRecord>& after) {
    std::vector<LedgerRecord> steady;
    for (const LedgerRecord& record : after) {
        const auto same = std::ranges::find(before, record.index, &LedgerRecord::index);
        if (same == before.end())
            continue;
        steady.push_back(record);
        steady.back().added = vlanIntersection(same->added, record.added);
    }
    return steady;
}

std::vector<PacketListener> parsePacketSockets(const std::string& text) {
    std::vector<PacketListener> listeners;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        // sk RefCnt Type Proto Iface R Rmem User Inode
        std::istringstream words(line);
        std::string kernelAddress;
        u32 skipped = 0;
        PacketListener listener;
        if (words >> kernelAddress >> skipped >> skipped >> std::hex >> listener.protocol >>
            std::dec >> listener.interface >> skipped >> skipped >> skipped >> listener.inode)
            listeners.push_back(listener);
    }
    return listeners;
}

std::vector<NetworkManager> findManagers(const std::string& root,
                                         const std::vector<std::string>& interfaces) {
    std::vector<NetworkManager> managers;
    std::error_code error;
    for (fs::directory_iterator entry(root + "/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        if (!isNumber(entry->path().filename().string()))
            continue;
        std::string process = contentOf((entry->path() / "comm").string());
        process = process.substr(0, process.find('\n'));
        for (const ManagerProcess& known : kManagerProcesses)
            if (process == known.process)
                managers.push_back({known.name, "process " + entry->path().filename().string()});
    }
    for (const ManagerState& known : kManagerStates)
        if (namesAny(contentOf(root + known.file), interfaces))
            managers.push_back({known.name, known.file});
    return managers;
}

void findOwners(std::vector<PacketListener>& listeners, const std::string& proc) {
    if (listeners.empty())
        return;
    std::error_code error;
    for (fs::directory_iterator entry(proc, error), end; !error && entry != end;
         entry.increment(error))
        if (isNumber(entry->path().filename().string()))
            findOwnersIn(entry->path(), listeners);
}

SystemFacts collectSystemFacts(const std::string& configFile, const std::string& directory) {
    SystemFacts facts;
    facts.configFile = configFile;
    readConfig(facts);
    readKernelAndLedger(directory, facts);
    facts.listeners = parsePacketSockets(contentOf("/proc/net/packet"));
    findOwners(facts.listeners, "/proc");
    facts.managers = findManagers("", bridgeAndPorts(facts));
    facts.bridgeFirewall = contentOf(kBridgeFirewallFile).starts_with('1');
    return facts;
}

}  // namespace platform
