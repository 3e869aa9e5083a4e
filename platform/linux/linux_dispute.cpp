// SPDX-License-Identifier: MIT
//
// Others that remove the daemon's entries or its guard again and again, as a manager does that
// knows nothing of them. A few times they are put back at once; from then on later and later, so
// that neither of the two keeps the kernel, the log and the other one busy.
#include <algorithm>

#include "platform/linux/linux_switch.h"
#include "platform/model/vlan_algebra.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

/// Removals that are made good at once.
constexpr u32 kAtOnce = 4;
constexpr u64 kFirstPauseMs = 1000;
constexpr u64 kLongestPauseMs = 64'000;
/// After so long without a removal it begins anew.
constexpr u64 kCalmMs = 300'000;

}  // namespace

u64 Dispute::note(u64 nowMs) {
    if (nowMs - lastMs > kCalmMs)
        removals = 0;
    removals++;
    lastMs = nowMs;
    if (removals <= kAtOnce)
        return 0;
    const u32 doublings = std::min<u32>(removals - kAtOnce - 1, 16);
    const u64 pauseMs = std::min(kFirstPauseMs << doublings, kLongestPauseMs);
    untilMs = nowMs + pauseMs;
    return pauseMs;
}

u64 Dispute::disputedUntilMs() const {
    return removals > kAtOnce ? lastMs + kCalmMs : 0;
}

void LinuxSwitch::noteWiped(BridgePort& port, const VlanBitmap& wiped) {
    const u64 pauseMs = port.dispute.note(nowMs_());
    const std::string vlans = formatVlanRanges(wiped);
    if (pauseMs == 0) {
        logMessage(
            LogPriority::Warning,
            "%s: others removed VLANs %s, which the daemon had added: they are written again",
            port.link.name.c_str(), vlans.c_str());
        return;
    }
    port.disputed = vlanUnion(port.disputed, wiped);
    logMessage(
        LogPriority::Warning,
        "%s: others remove VLANs %s again and again (%u times), which the daemon needs there: "
        "they are written again in %llu s",
        port.link.name.c_str(), vlans.c_str(), port.dispute.removals,
        static_cast<unsigned long long>(pauseMs / 1000));
}

void LinuxSwitch::noteGuardLost(BridgePort& port) {
    port.guardLost++;
    const u64 pauseMs = port.guardDispute.note(nowMs_());
    if (pauseMs == 0) {
        logMessage(LogPriority::Warning,
                   "%s: others removed the guard, which keeps the bridge from forwarding protocol "
                   "frames of the port: it is put back",
                   port.link.name.c_str());
        return;
    }
    logMessage(LogPriority::Warning,
               "%s: others remove the guard again and again (%u times): it is put back in %llu s, "
               "and until then the bridge forwards protocol frames of the port",
               port.link.name.c_str(), port.guardDispute.removals,
               static_cast<unsigned long long>(pauseMs / 1000));
}

void LinuxSwitch::endDisputes() {
    const u64 nowMs = nowMs_();
    for (BridgePort& port : book_.ports) {
        if (port.dispute.untilMs <= nowMs) {
            port.dispute.untilMs = 0;
            port.disputed = {};
        }
        if (port.guardDispute.untilMs <= nowMs)
            port.guardDispute.untilMs = 0;
    }
}

}  // namespace platform
