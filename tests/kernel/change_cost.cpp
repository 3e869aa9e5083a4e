// SPDX-License-Identifier: MIT
//
// kernel-change-cost BRIDGE PORT LEDGER [ROUNDS]: what 4094 VLANs in batches of 50 cost on their
// way to the kernel, three ways in turns: bare requests made beforehand, changeVlans(), and the
// driver with its ledger and its monitor. Prints the median time of each in ms and its ratio to the
// bare one. Exit status 1 when the driver needs more than 1.5 times the bare time.
#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "platform/linux/linux_monitor.h"
#include "platform/linux/linux_switch.h"
#include "platform/linux/netlink/netlink_socket.h"
#include "platform/linux/netlink/rtnl_kernel.h"

namespace {

using namespace platform;

constexpr u32 kBatch = 50;
constexpr int kDefaultRounds = 15;
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
    for (u32 first = kFirstVlan; first <= kLastVlan; first += kBatch)
        all.push_back(vlanRange(first, std::min(first + kBatch - 1, kLastVlan)));
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

std::vector<std::vector<u8>> bareRequests(u32 port) {
    std::vector<std::vector<u8>> requests;
    for (u32 first = kFirstVlan; first <= kLastVlan; first += kBatch)
        requests.push_back(bareRequest(port, first, std::min(first + kBatch - 1, kLastVlan)));
    return requests;
}

double milliseconds(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

double median(std::vector<double> times) {
    std::ranges::sort(times);
    return times[times.size() / 2];
}

struct Times {
    std::vector<double> bare;
    std::vector<double> kernel;
    std::vector<double> driver;
};

void report(const Times& times) {
    const double bare = median(times.bare);
    std::printf("bare requests  %8.2f ms\n", bare);
    std::printf("changeVlans    %8.2f ms  %.2f times\n", median(times.kernel),
                median(times.kernel) / bare);
    std::printf("driver         %8.2f ms  %.2f times\n", median(times.driver),
                median(times.driver) / bare);
}

/// Everything learnt, as a batch of the daemon does it: VLANs, then memberships.
void learn(LinuxSwitch& driver, u32 port, const std::vector<VlanBitmap>& sets) {
    for (const VlanBitmap& set : sets)
        if (!driver.createDynamic(set) || !driver.addDynamic(port, set))
            fail("the driver refuses a batch");
}

void measureDriver(RtnlKernel& kernel, const std::string& bridge, u32 port,
                   const std::string& ledger, std::vector<double>& times) {
    LinuxBridgeConfig config;
    config.bridge = bridge;
    LinuxSwitch driver(kernel, config, ledger);
    LinuxMonitor monitor(kernel, driver);
    std::string error;
    if (!driver.start(error) || !monitor.start())
        fail(error);
    times.push_back(milliseconds([&] { learn(driver, port, batches()); }));
    monitor.stop();
    driver.stop(Ending::Stop);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4)
        fail("allowed: BRIDGE PORT LEDGER [ROUNDS]");
    const u32 port = if_nametoindex(argv[2]);
    const int rounds = argc > 4 ? std::atoi(argv[4]) : kDefaultRounds;
    KernelResult result;
    NetlinkSocket bare;
    must(bare.open(true));
    auto requests = bareRequests(port);
    const auto sets = batches();
    const VlanBitmap all = vlanRange(kFirstVlan, kLastVlan);

    Times times;
    for (int round = 0; round < rounds; round++) {
        times.bare.push_back(milliseconds([&] {
            for (auto& request : requests)
                must(bare.request(request));
        }));
        auto kernel = RtnlKernel::open("br0", result);
        must(result);
        must(kernel->changeVlans(port, VlanChange::Remove, all));
        times.kernel.push_back(milliseconds([&] {
            for (const VlanBitmap& set : sets)
                must(kernel->changeVlans(port, VlanChange::Add, set));
        }));
        must(kernel->changeVlans(port, VlanChange::Remove, all));
        measureDriver(*kernel, argv[1], port, argv[3], times.driver);
    }
    report(times);
    return median(times.driver) > kAllowedRatio * median(times.bare) ? 1 : 0;
}
