// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/guard.h"

#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "platform/linux/netlink/guard_message.h"

namespace platform {

namespace {

constexpr std::string_view kCookie = "mvrp guard";             ///< the qdisc was there before
constexpr std::string_view kCookieWithQdisc = "mvrp guard+q";  ///< it came with the guard
constexpr size_t kMaxCookie = 16;                              ///< what the kernel takes
static_assert(kCookie.size() <= kMaxCookie && kCookieWithQdisc.size() <= kMaxCookie);

bool isGone(const KernelResult& result) {
    return result.error == ENODEV || result.error == ENOENT || result.error == EINVAL;
}

/// Calls `visit` for each qdisc or filter of `port` that answers `request`. A port without any
/// qdisc to hang filters at has none.
template <typename Visit>
KernelResult dumpControls(NetlinkSocket& socket, nlmsghdr& request, u32 port, Visit visit) {
    KernelResult result = socket.dump(request, [&](const NetlinkMessage& message) {
        if (message.type != RTM_NEWQDISC && message.type != RTM_NEWTFILTER)
            return;
        const auto control = readTrafficControl(message.payload);
        if (control && control->index == port)
            visit(*control);
    });
    return isGone(result) ? KernelResult() : result;
}

KernelResult hasIngressQdisc(NetlinkSocket& socket, u32 port, bool& found) {
    GuardBuffer buffer;
    found = false;
    return dumpControls(socket, makeQdiscDump(buffer, port), port,
                        [&](const TrafficControl& qdisc) { found |= qdisc.parent == TC_H_CLSACT; });
}

KernelResult hasFilters(NetlinkSocket& socket, u32 port, bool& found) {
    KernelResult result;
    found = false;
    for (const FilterSide side : {FilterSide::Ingress, FilterSide::Egress}) {
        GuardBuffer buffer;
        if (result)
            result = dumpControls(socket, makeFilterDump(buffer, port, side), port,
                                  [&](const TrafficControl&) { found = true; });
    }
    return result;
}

}  // namespace

KernelResult dumpGuard(NetlinkSocket& socket, u32 port, GuardState& state) {
    GuardBuffer buffer;
    state = {};
    return dumpControls(socket, makeFilterDump(buffer, port, FilterSide::Ingress), port,
                        [&](const TrafficControl& filter) {
                            if (filter.preference != kGuardPreference)
                                return;
                            const bool ours =
                                filter.cookie == kCookie || filter.cookie == kCookieWithQdisc;
                            if (ours) {
                                state.present = true;
                                state.ownQdisc = filter.cookie == kCookieWithQdisc;
                            } else if (filter.handle != 0 || filter.kind != "flower") {
                                state.placeTaken = true;
                            }
                        });
}

KernelResult addGuard(NetlinkSocket& socket, u32 port) {
    GuardState state;
    bool qdisc = false;
    KernelResult result = dumpGuard(socket, port, state);
    if (result && !state.present)
        result = hasIngressQdisc(socket, port, qdisc);
    if (!result || state.present)
        return result;
    if (state.placeTaken)
        return {EEXIST, "a filter of somebody else has preference " +
                            std::to_string(kGuardPreference) +
                            " at the port's ingress; give it another one (tc filter)"};
    // Both in one call: nothing ends this process between the two.
    GuardBuffer buffer;
    size_t used = 0;
    if (!qdisc)
        putAddClsact(buffer, used, port);
    putAddGuardFilter(buffer, used, port, qdisc ? kCookie : kCookieWithQdisc);
    return socket.request(std::span(buffer).first(used));
}

KernelResult removeGuard(NetlinkSocket& socket, u32 port) {
    GuardState state;
    KernelResult result = dumpGuard(socket, port, state);
    if (!result || !state.present)
        return result;
    GuardBuffer buffer;
    size_t used = 0;
    putRemoveGuardFilter(buffer, used, port);
    result = socket.request(std::span(buffer).first(used));
    bool others = true;
    if (result && state.ownQdisc)
        result = hasFilters(socket, port, others);
    if (result && !others) {
        used = 0;
        putRemoveClsact(buffer, used, port);
        result = socket.request(std::span(buffer).first(used));
    }
    return isGone(result) ? KernelResult() : result;
}

}  // namespace platform
