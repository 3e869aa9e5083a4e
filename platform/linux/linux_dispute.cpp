// SPDX-License-Identifier: MIT
//
// Others that remove the daemon's entries again and again, as a manager does that knows nothing of
// them. A few times they are written again at once; from then on later and later, so that neither
// of the two keeps the kernel, the log and the other one busy.
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

void LinuxSwitch::noteWiped(BridgePort& port, const VlanBitmap& wiped) {
    Dispute& dispute = port.dispute;
    const u64 nowMs = nowMs_();
    if (nowMs - dispute.lastMs > kCalmMs)
        dispute.removals = 0;
    dispute.removals++;
    dispute.lastMs = nowMs;
    const std::string vlans = formatVlanRanges(wiped);
    if (dispute.removals <= kAtOnce) {
        logMessage(
            LogPriority::Warning,
            "%s: others removed VLANs %s, which the daemon had added: they are written again",
            port.link.name.c_str(), vlans.c_str());
        return;
    }
    const u32 doublings = std::min<u32>(dispute.removals - kAtOnce - 1, 16);
    const u64 pauseMs = std::min(kFirstPauseMs << doublings, kLongestPauseMs);
    dispute.vlans = vlanUnion(dispute.vlans, wiped);
    dispute.untilMs = nowMs + pauseMs;
    logMessage(
        LogPriority::Warning,
        "%s: others remove VLANs %s again and again (%u times), which the daemon needs there: "
        "they are written again in %llu s",
        port.link.name.c_str(), vlans.c_str(), dispute.removals,
        static_cast<unsigned long long>(pauseMs / 1000));
}

void LinuxSwitch::endDisputes() {
    const u64 nowMs = nowMs_();
    for (BridgePort& port : book_.ports)
        if (port.dispute.untilMs <= nowMs)
            port.dispute.vlans = {};
}

}  // namespace platform
