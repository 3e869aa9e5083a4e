// SPDX-License-Identifier: MIT
//
// kernel-probe: what the driver's eyes and hands do, by hand, for the tests on a real kernel.
//
//     kernel-probe links                    all links
//     kernel-probe vlans                    VLAN entries of all bridges and ports
//     kernel-probe add|remove PORT VLANS    changes entries of a bridge port
//     kernel-probe guard PORT on|off|show   its guard
//     kernel-probe trees BRIDGE on|off      a spanning tree for each MSTI (mst_enabled); on only
//     while
//                                           the bridge has no VLANs
//     kernel-probe events [times]           notifications, one line each, until it is killed; with
//                                           milliseconds of the monotonic clock in front
//     kernel-probe send|receive INTERFACE   numbered probes, until it is told to end; stream.h
#include <libmnl/libmnl.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/netlink/netlink_socket.h"
#include "platform/linux/netlink/rtnl_kernel.h"
#include "tests/kernel/stream.h"

namespace {

using platform::formatVlanRanges;
using platform::KernelEvent;
using platform::KernelEventKind;
using platform::KernelLink;
using platform::KernelResult;
using platform::KernelVlans;
using platform::LinkKind;
using platform::NetlinkSocket;
using platform::RtnlKernel;
using platform::VlanChange;

constexpr int kFailed = 1;
constexpr int kUsage = 2;
/// Results longer than this are shown by their number only.
constexpr size_t kShownRanges = 200;

std::string nameOf(u32 index) {
    char name[IF_NAMESIZE] = "";
    return if_indextoname(index, name) != nullptr ? name : std::to_string(index);
}

int finish(const KernelResult& result) {
    if (result)
        return 0;
    std::fprintf(stderr, "kernel-probe: %s (error %d)\n", result.what.c_str(), result.error);
    return kFailed;
}

const char* kindOf(const KernelLink& link) {
    if (link.kind == LinkKind::Bridge)
        return link.vlanFiltering ? " bridge vlan-aware" : " bridge";
    return link.kind == LinkKind::Bond ? " bond" : "";
}

void show(const char* what, const KernelLink& link) {
    std::printf("%s %s%s%s%s", what, link.name.c_str(), kindOf(link), link.adminUp ? " up" : "",
                link.carrier ? " carrier" : "");
    if (link.master != 0)
        std::printf(" %s %s", link.bridgePort ? "port-of" : "in", nameOf(link.master).c_str());
    if (link.bridgePort)
        std::printf(" stp %u", static_cast<unsigned>(link.stpState));
    std::printf("\n");
}

void show(const KernelVlans& vlans) {
    std::string carried = formatVlanRanges(vlans.carried);
    if (carried.size() > kShownRanges)
        carried = "many";
    std::printf("vlans %s %s untagged %s pvid %u\n", nameOf(vlans.index).c_str(), carried.c_str(),
                formatVlanRanges(vlans.untagged).c_str(), vlans.pvid);
}

void show(const KernelEvent& event) {
    switch (event.kind) {
        case KernelEventKind::Link:
            show("link", event.link);
            break;
        case KernelEventKind::LinkGone:
            std::printf("gone %s\n", event.link.name.c_str());
            break;
        case KernelEventKind::PortRemoved:
            std::printf("left %s\n", event.link.name.c_str());
            break;
        case KernelEventKind::Vlans:
            show(event.vlans);
            break;
        case KernelEventKind::Guard:
            std::printf("guard %s %s\n", nameOf(event.link.index).c_str(),
                        event.guarded ? "on" : "off");
            break;
        case KernelEventKind::Lost:
            std::printf("lost\n");
            break;
    }
}

int showLinks(RtnlKernel& kernel) {
    std::vector<KernelLink> links;
    const KernelResult result = kernel.readLinks(links);
    for (const KernelLink& link : links)
        show("link", link);
    return finish(result);
}

int showVlans(RtnlKernel& kernel) {
    std::vector<KernelVlans> all;
    const KernelResult result = kernel.readVlans(all);
    for (const KernelVlans& vlans : all)
        show(vlans);
    return finish(result);
}

int change(RtnlKernel& kernel, const std::string& verb, const std::string& port,
           const std::string& ranges) {
    const auto vlans = platform::parseVlanRanges(ranges);
    if (!vlans) {
        std::fprintf(stderr, "kernel-probe: %s: give %s\n", ranges.c_str(),
                     platform::kVlanRangesAllowed);
        return kUsage;
    }
    return finish(kernel.changeVlans(if_nametoindex(port.c_str()),
                                     verb == "add" ? VlanChange::Add : VlanChange::Remove, *vlans));
}

int guard(RtnlKernel& kernel, const std::string& port, const std::string& wish) {
    const u32 index = if_nametoindex(port.c_str());
    if (wish != "show")
        return finish(kernel.setGuard(index, wish == "on"));
    std::vector<u32> guarded;
    const KernelResult result = kernel.readGuards(std::array{index}, guarded);
    if (result)
        std::printf("%s\n", guarded.empty() ? "off" : "on");
    return finish(result);
}

/// The `ip link` of this system may be older than the option.
int setTrees(const std::string& bridge, bool on) {
    const br_boolopt_multi option{on ? 1U << BR_BOOLOPT_MST_ENABLE : 0U,
                                  1U << BR_BOOLOPT_MST_ENABLE};
    alignas(NLMSG_ALIGNTO) std::array<u8, 128> buffer{};
    nlmsghdr* header = mnl_nlmsg_put_header(buffer.data());
    header->nlmsg_type = RTM_NEWLINK;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    auto* record = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
    record->ifi_index = static_cast<int>(if_nametoindex(bridge.c_str()));
    nlattr* info = mnl_attr_nest_start(header, IFLA_LINKINFO);
    mnl_attr_put_strz(header, IFLA_INFO_KIND, "bridge");
    nlattr* data = mnl_attr_nest_start(header, IFLA_INFO_DATA);
    mnl_attr_put(header, IFLA_BR_MULTI_BOOLOPT, sizeof(option), &option);
    mnl_attr_nest_end(header, data);
    mnl_attr_nest_end(header, info);
    NetlinkSocket socket;
    const KernelResult opened = socket.open(true);
    return finish(opened ? socket.request({buffer.data(), header->nlmsg_len}) : opened);
}

void showTime() {
    using namespace std::chrono;
    const auto now = steady_clock::now().time_since_epoch();
    std::printf("%lld ", static_cast<long long>(duration_cast<milliseconds>(now).count()));
}

int watch(RtnlKernel& kernel, bool times) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("watching\n");
    std::vector<KernelEvent> events;
    for (;;) {
        pollfd wait{kernel.waitDescriptor(), POLLIN, 0};
        if (poll(&wait, 1, -1) < 0)
            return kFailed;
        events.clear();
        kernel.readEvents(events);
        for (const KernelEvent& event : events) {
            if (times)
                showTime();
            show(event);
        }
    }
}

int run(RtnlKernel& kernel, const std::vector<std::string>& words) {
    const std::string verb = words.empty() ? "" : words[0];
    if (verb == "links" && words.size() == 1)
        return showLinks(kernel);
    if (verb == "vlans" && words.size() == 1)
        return showVlans(kernel);
    if (verb == "events" && (words.size() == 1 || words[1] == "times"))
        return watch(kernel, words.size() > 1);
    if ((verb == "add" || verb == "remove") && words.size() == 3)
        return change(kernel, verb, words[1], words[2]);
    if (verb == "guard" && words.size() == 3)
        return guard(kernel, words[1], words[2]);
    if (verb == "trees" && words.size() == 3)
        return setTrees(words[1], words[2] == "on");
    std::fprintf(stderr,
                 "kernel-probe: allowed: links, vlans, events [times], add PORT VLANS, remove "
                 "PORT VLANS, guard PORT on|off|show, trees BRIDGE on|off, send INTERFACE, "
                 "receive INTERFACE\n");
    return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view verb = argc == 3 ? argv[1] : "";
    if (verb == "send")
        return sendProbes(argv[2]);
    if (verb == "receive")
        return receiveProbes(argv[2]);
    KernelResult result;
    const auto kernel = RtnlKernel::open("br0", result);
    if (!kernel)
        return finish(result);
    return run(*kernel, {argv + 1, argv + argc});
}
