// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/guard.h"

#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>

#include <bit>
#include <cerrno>
#include <string>
#include <string_view>

#include "platform/linux/netlink/guard_message.h"
#include "platform/linux/netlink/guard_turn.h"

namespace platform {

namespace {

constexpr std::string_view kCookie = "mvrp guard";             ///< the qdisc was there before
constexpr std::string_view kCookieWithQdisc = "mvrp guard+q";  ///< it came with a guard
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

/// Whether there are filters beside the guard, of which the dumps also show an empty head of its
/// preference.
KernelResult hasOtherFilters(NetlinkSocket& socket, u32 port, GuardPlace own, bool& found) {
    KernelResult result;
    found = false;
    for (const FilterSide side : {FilterSide::Ingress, FilterSide::Egress}) {
        GuardBuffer buffer;
        if (result)
            result = dumpControls(socket, makeFilterDump(buffer, port, side), port,
                                  [&](const TrafficControl& filter) {
                                      const bool isHead = filter.place.handle == 0;
                                      const bool isOwn =
                                          side == FilterSide::Ingress &&
                                          (filter.place == own ||
                                           (isHead && filter.place.preference == own.preference));
                                      found |= !isOwn;
                                  });
    }
    return result;
}

/// Enters one filter at the ingress.
void enter(const TrafficControl& filter, u32 handle, u32& taken, GuardState& state) {
    const GuardPlace place = filter.place;
    if (place.preference < kFirstGuardPreference || place.preference > kLastGuardPreference)
        return;
    const bool marked = filter.cookie == kCookie || filter.cookie == kCookieWithQdisc;
    if (place.handle == handle || (place.handle == kSharedGuardHandle && marked)) {
        state.present = marked && filter.guards;
        state.changed = !state.present;
        state.place = place;
    } else if (marked) {
        state.strange = place.preference;
        taken |= 1U << (place.preference - kFirstGuardPreference);
    } else if (place.handle != 0 || filter.kind != "flower") {
        state.placeTaken = true;
    }
    state.ownQdisc |= filter.cookie == kCookieWithQdisc;
}

/// Others can add the qdisc, or remove it, between what was read and the request; and another
/// daemon, if it was not waited for (guard_turn.h).
bool isMeeting(const KernelResult& result) {
    return result.error == EEXIST || result.error == ENOENT || result.error == EINVAL;
}

KernelResult tryAddGuard(NetlinkSocket& socket, u32 port, std::string_view bridge) {
    GuardState state;
    bool qdisc = false;
    KernelResult result = dumpGuard(socket, port, bridge, state);
    if (result && !state.present)
        result = hasIngressQdisc(socket, port, qdisc);
    if (!result || state.present)
        return result;
    if (state.placeTaken)
        return {EBUSY, "a filter of somebody else has a preference from " +
                           std::to_string(kFirstGuardPreference) + " to " +
                           std::to_string(kLastGuardPreference) +
                           " at the port's ingress; give it another one (tc filter)"};
    // All in one call: nothing ends this process in between.
    GuardBuffer buffer;
    size_t used = 0;
    if (!qdisc)
        putAddClsact(buffer, used, port);
    if (state.changed)
        putRemoveGuardFilter(buffer, used, port, state.place);
    putAddGuardFilter(buffer, used, port, {state.place.preference, guardHandle(bridge)},
                      qdisc && !state.ownQdisc ? kCookie : kCookieWithQdisc);
    return socket.request(std::span(buffer).first(used));
}

}  // namespace

KernelResult dumpGuard(NetlinkSocket& socket, u32 port, std::string_view bridge,
                       GuardState& state) {
    GuardBuffer buffer;
    u32 taken = 0;
    const u32 handle = guardHandle(bridge);
    state = {};
    KernelResult result =
        dumpControls(socket, makeFilterDump(buffer, port, FilterSide::Ingress), port,
                     [&](const TrafficControl& filter) { enter(filter, handle, taken, state); });
    if (state.place.preference == 0)
        state.place = {static_cast<u16>(kFirstGuardPreference + std::countr_one(taken)), handle};
    if (state.place.preference > kLastGuardPreference)
        state.placeTaken = true;
    return result;
}

KernelResult addGuard(NetlinkSocket& socket, u32 port, std::string_view bridge) {
    constexpr int kTries = 4;
    const GuardTurn turn(port);
    KernelResult result = tryAddGuard(socket, port, bridge);
    for (int again = 1; again < kTries && isMeeting(result); again++)
        result = tryAddGuard(socket, port, bridge);
    return result;
}

KernelResult removeGuard(NetlinkSocket& socket, u32 port, std::string_view bridge) {
    const GuardTurn turn(port);
    GuardState state;
    KernelResult result = dumpGuard(socket, port, bridge, state);
    if (!result || (!state.present && !state.changed))
        return result;
    bool others = true;
    if (state.ownQdisc)
        result = hasOtherFilters(socket, port, state.place, others);
    if (!result)
        return result;
    GuardBuffer buffer;
    size_t used = 0;
    if (others)
        putRemoveGuardFilter(buffer, used, port, state.place);
    else
        putRemoveClsact(buffer, used, port);  // with the filter
    result = socket.request(std::span(buffer).first(used));
    return isGone(result) ? KernelResult() : result;
}

}  // namespace platform
