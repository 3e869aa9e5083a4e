// SPDX-License-Identifier: MIT
//
// kernel-change-cost BRIDGE LEDGER ROUNDS PORT...: what 1024 VLANs on each port, in batches of 50,
// cost on their way to the kernel, four ways by turns, each first as often as last: bare requests
// made beforehand, changeVlans(), the driver with its ledger and its look at what the kernel tells
// about it, and, for comparison, one request for the whole range. Prints the median time of each in
// ms, its ratio to the bare one, and the user time of a batch in us. Exit status 1 when the driver
// needs more than 1.5 times the bare time.
#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/linux_switch.h"
#include "platform/linux/netlink/netlink_socket.h"
#include "platform/linux/netlink/rtnl_kernel.h"

namespace {

using namespace platform;

constexpr u32 kBatch = 50;
/// As many as leave the entries of 48 ports room in the memory of an emulated kernel.
constexpr u32 kLast = 1024;
constexpr double kAllowedRatio = 1.5;

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "kernel-change-cost: %s\n", what.c_str());
    std::exit(1);
}

void must(const KernelResult& result) {
    if (!result)
        fail(result.what);
}

std::vector<VlanBitmap> batches() {
    std::vector<VlanBitmap> all;
    for (u32 first = kFirstVlan; first <= kLast; first += kBatch)
        all.push_back(vlanRange(first, std::min(first + kBatch - 1, kLast)));
    return all;
}

/// A request for one range, by hand.
std::vector<u8> bareRequest(u32 port, u32 first, u32 last) {
    std::vector<u8> bytes(64);
    nlmsghdr* header = mnl_nlmsg_put_header(bytes.data());
    header->nlmsg_type = RTM_SETLINK;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    auto* record = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
    record->ifi_family = AF_BRIDGE;
    record->ifi_index = static_cast<int>(port);
    nlattr* list = mnl_attr_nest_start(header, IFLA_AF_SPEC);
    const bridge_vlan_info begin{BRIDGE_VLAN_INFO_RANGE_BEGIN, static_cast<u16>(first)};
    const bridge_vlan_info end{BRIDGE_VLAN_INFO_RANGE_END, static_cast<u16>(last)};
    mnl_attr_put(header, IFLA_BRIDGE_VLAN_INFO, sizeof(begin), &begin);
    mnl_attr_put(header, IFLA_BRIDGE_VLAN_INFO, sizeof(end), &end);
    mnl_attr_nest_end(header, list);
    bytes.resize(header->nlmsg_len);
    return bytes;
}

using Requests = std::vector<std::vector<u8>>;

Requests bareRequests(const std::vector<u32>& ports, u32 step) {
    Requests requests;
    for (const u32 port : ports)
        for (u32 first = kFirstVlan; first <= kLast; first += step)
            requests.push_back(bareRequest(port, first, std::min(first + step - 1, kLast)));
    return requests;
}

/// What a way took in a round.
struct Cost {
    double ms = 0;
    double userUs = 0;
};

double userUsNow() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) * 1e6 +
           static_cast<double>(usage.ru_utime.tv_usec);
}

Cost costOf(const std::function<void()>& work) {
    const double user = userUsNow();
    const auto begin = std::chrono::steady_clock::now();
    work();
    const auto time = std::chrono::steady_clock::now() - begin;
    return {std::chrono::duration<double, std::milli>(time).count(), userUsNow() - user};
}

double median(std::vector<Cost> costs, double Cost::*what) {
    std::ranges::sort(costs, {}, what);
    return costs[costs.size() / 2].*what;
}

/// The ports of the measurement, and what is sent about them.
struct Subject {
    std::string bridge;
    std::string ledger;
    std::vector<u32> ports;
    std::vector<VlanBitmap> sets = batches();
    NetlinkSocket socket{};
};

/// Everything learnt, as a batch of the daemon does it: VLANs, then memberships. Then the look that
/// the kernel's notifications of it cause.
void learn(LinuxSwitch& driver, const Subject& subject) {
    for (const u32 port : subject.ports)
        for (const VlanBitmap& set : subject.sets)
            if (!driver.createDynamic(set) || !driver.addDynamic(port, set))
                fail("the driver refuses a batch");
    driver.handleEvents();
}

Cost costOfDriver(Subject& subject, RtnlKernel& kernel) {
    LinuxBridgeConfig config;
    config.bridge = subject.bridge;
    LinuxSwitch driver(kernel, config, subject.ledger);
    std::string error;
    if (!driver.start(error))
        fail(error);
    const Cost cost = costOf([&] { learn(driver, subject); });
    driver.stop(Ending::Stop);
    return cost;
}

Cost costOfRequests(Subject& subject, Requests requests) {
    return costOf([&] {
        for (auto& request : requests)
            must(subject.socket.request(request));
    });
}

Cost costOfChanges(const Subject& subject, RtnlKernel& kernel) {
    return costOf([&] {
        for (const u32 port : subject.ports)
            for (const VlanBitmap& set : subject.sets)
                must(kernel.changeVlans(port, VlanChange::Add, set));
    });
}

/// A way of having the kernel add everything, and what it took in each round.
struct Way {
    const char* name;
    std::function<Cost(RtnlKernel&)> run;
    std::vector<Cost> costs{};
};

void report(const std::vector<Way>& ways, std::size_t batchCount) {
    const double bare = median(ways.front().costs, &Cost::ms);
    for (const Way& way : ways) {
        const double ms = median(way.costs, &Cost::ms);
        std::printf("%-16s %9.2f ms  %5.2f times  %6.2f us of user time a batch\n", way.name, ms,
                    ms / bare, median(way.costs, &Cost::userUs) / static_cast<double>(batchCount));
    }
}

void runRound(std::vector<Way>& ways, std::size_t first, const Subject& subject) {
    const VlanBitmap all = vlanRange(kFirstVlan, kLast);
    KernelResult result;
    for (std::size_t i = 0; i < ways.size(); ++i) {
        Way& way = ways[(first + i) % ways.size()];
        auto kernel = RtnlKernel::open(subject.bridge, result);
        must(result);
        way.costs.push_back(way.run(*kernel));
        for (const u32 port : subject.ports)
            must(kernel->changeVlans(port, VlanChange::Remove, all));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5)
        fail("allowed: BRIDGE LEDGER ROUNDS PORT...");
    Subject subject{argv[1], argv[2], {}};
    for (const char* name : std::span(argv, static_cast<std::size_t>(argc)).subspan(4))
        subject.ports.push_back(if_nametoindex(name));
    must(subject.socket.open(true));
    const Requests bare = bareRequests(subject.ports, kBatch);
    const Requests ranges = bareRequests(subject.ports, kLast);

    std::vector<Way> ways = {
        {"bare requests", [&](RtnlKernel&) { return costOfRequests(subject, bare); }},
        {"changeVlans", [&](RtnlKernel& kernel) { return costOfChanges(subject, kernel); }},
        {"driver", [&](RtnlKernel& kernel) { return costOfDriver(subject, kernel); }},
        {"one range", [&](RtnlKernel&) { return costOfRequests(subject, ranges); }},
    };
    const auto rounds = static_cast<std::size_t>(std::atoi(argv[3]));
    for (std::size_t round = 0; round < rounds; ++round)
        runRound(ways, round % ways.size(), subject);
    report(ways, bare.size());
    const double ratio = median(ways[2].costs, &Cost::ms) / median(ways[0].costs, &Cost::ms);
    return ratio > kAllowedRatio ? 1 : 0;
}
