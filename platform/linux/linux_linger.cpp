// SPDX-License-Identifier: MIT
//
// Entries that outlive their reason. A VLAN that stops being static is withdrawn from the
// neighbours; one that still needs it declares it then, and the daemon makes it a membership. Until
// that can have happened, the entry that carried the static VLAN stays, so that no frame is lost.
#include <algorithm>

#include "platform/linux/linux_switch.h"
#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

/// A membership is applied within a second of its registration, which a neighbour's second join
/// brings about at the latest.
constexpr u32 kApplyMs = 1000;
constexpr u32 kJoins = 2;

}  // namespace

u32 LinuxSwitch::lingerTimeOf(const BridgePort& port) const {
    if (config_.lingerMs)
        return *config_.lingerMs;
    const auto told = times_.find(port.link.index);
    const Times times = told == times_.end() ? Times{} : told->second;
    return std::max(times.leaveMs, kApplyMs + kJoins * times.joinMs);
}

void LinuxSwitch::setTimes(u32 unit, u32 joinMs, u32 leaveMs) {
    const std::lock_guard serial(changeMutex_);
    times_[unit] = {joinMs, leaveMs};
}

void LinuxSwitch::beginLinger(const VlanBitmap& gone) {
    if (vlanIsEmpty(gone) || config_.staticVlans == StaticVlans::AsConfigured)
        return;
    const u64 nowMs = nowMs_();
    for (BridgePort& port : book_.ports) {
        const VlanBitmap carried = vlanIntersection(vlanIntersection(gone, port.added),
                                                    config_.ruleOf(port.link.name).permit);
        const u32 time = lingerTimeOf(port);
        const std::lock_guard lock(mutex_);
        const SwitchPort* seen = state_.find(port.link.index);
        if (!vlanIsEmpty(carried) && time != 0 && seen != nullptr && takesPart(*seen))
            port.lingering.push_back({carried, nowMs + time});
    }
    noteNextLinger();
}

VlanBitmap LinuxSwitch::lingeringOn(const BridgePort& port) {
    VlanBitmap all{};
    for (const Lingering& entry : port.lingering)
        all = vlanUnion(all, entry.vlans);
    return all;
}

bool LinuxSwitch::endLinger() {
    const u64 next = nextLingerMs_;
    const u64 nowMs = nowMs_();
    if (next == 0 || nowMs < next)
        return false;
    for (BridgePort& port : book_.ports)
        std::erase_if(port.lingering,
                      [nowMs](const Lingering& entry) { return entry.untilMs <= nowMs; });
    endDisputes();
    noteNextLinger();
    return true;
}

void LinuxSwitch::noteNextLinger() {
    u64 next = 0;
    const auto note = [&next](u64 untilMs) {
        next = next == 0 ? untilMs : std::min(next, untilMs);
    };
    for (const BridgePort& port : book_.ports) {
        for (const Lingering& entry : port.lingering)
            note(entry.untilMs);
        for (const Dispute* dispute : {&port.dispute, &port.guardDispute})
            if (dispute->untilMs != 0)
                note(dispute->untilMs);
    }
    const bool isNew = next != 0 && nextLingerMs_.exchange(next) == 0;
    if (next == 0)
        nextLingerMs_ = 0;
    // The monitor waits without a limit; a look of another thread may be what began this.
    if (isNew && listeners_.tryAgain)
        listeners_.tryAgain();
}

std::optional<u32> LinuxSwitch::lingerMs() const {
    const u64 next = nextLingerMs_;
    const u64 nowMs = nowMs_();
    if (next == 0)
        return std::nullopt;
    return next > nowMs ? static_cast<u32>(next - nowMs) : 0;
}

}  // namespace platform
