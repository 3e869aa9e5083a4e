// SPDX-License-Identifier: MIT
//
// Brings the kernel to what is wanted of the ports: the difference between that and the book, and
// nothing else.
#include <algorithm>
#include <cerrno>

#include "platform/linux/linux_switch.h"
#include "platform/model/vlan_algebra.h"
#include "platform/runtime/log.h"

namespace platform {

VlanBitmap LinuxSwitch::carriedStatics(const BridgePort& port) const {
    if (config_.staticVlans == StaticVlans::AsConfigured)
        return {};
    return vlanIntersection(staticVlans_, config_.ruleOf(port.link.name).permit);
}

VlanBitmap LinuxSwitch::wantedOf(const BridgePort& port) const {
    const std::lock_guard lock(mutex_);
    const SwitchPort* seen = state_.find(port.link.index);
    if (seen == nullptr)
        return {};
    return takesPart(*seen) ? vlanUnion(seen->dynamic, carriedStatics(port)) : seen->dynamic;
}

void LinuxSwitch::settleAll() {
    for (BridgePort& port : book_.ports) {
        settleGuard(port);
        if (!settle(port))
            setUnfinished();
    }
}

bool LinuxSwitch::settle(BridgePort& port) {
    if (writeDifference(port))
        return true;
    if (unanswered_)
        return false;
    // Nobody knows how much of it was done. What was not may be added by others next, and must not
    // be taken for ours then.
    readAgain(port);
    if (writeDifference(port))
        return true;
    readAgain(port);
    return false;
}

bool LinuxSwitch::writeDifference(BridgePort& port) {
    const VlanBitmap wanted = wantedOf(port);
    const VlanBitmap kept = vlanUnion(wanted, lingeringOn(port));
    const VlanBitmap missing = vlanDifference(wanted, port.carried);
    return addEntries(port, vlanDifference(missing, port.disputed)) &&
           removeEntries(port, vlanDifference(port.added, kept));
}

bool LinuxSwitch::addEntries(BridgePort& port, const VlanBitmap& vlans) {
    if (vlanIsEmpty(vlans))
        return true;
    // First the ledger: whatever happens next, it names all that is ours.
    port.added = vlanUnion(port.added, vlans);
    ledger_.store(port.link.index, port.added);
    if (!request(port, VlanChange::Add, vlans))
        return false;
    port.carried = vlanUnion(port.carried, vlans);
    return true;
}

bool LinuxSwitch::removeEntries(BridgePort& port, const VlanBitmap& vlans) {
    if (vlanIsEmpty(vlans))
        return true;
    if (!request(port, VlanChange::Remove, vlans))
        return false;
    port.added = vlanDifference(port.added, vlans);
    port.carried = vlanDifference(port.carried, vlans);
    ledger_.store(port.link.index, port.added);
    return true;
}

bool LinuxSwitch::request(BridgePort& port, VlanChange change, const VlanBitmap& vlans) {
    changesAsked_++;
    const KernelResult result = kernel_.changeVlans(port.link.index, change, vlans);
    port.unsure = !result;
    // A port that is just being deleted is not worth a line, nor each request without an answer.
    if (!isUnanswered(result) && !result && result.error != ENODEV)
        logMessage(LogPriority::Warning, "%s: VLANs could not be %s: %s", port.link.name.c_str(),
                   change == VlanChange::Add ? "added" : "removed", result.what.c_str());
    return static_cast<bool>(result);
}

void LinuxSwitch::readAgain(BridgePort& port) {
    std::vector<KernelLink> links;
    BridgeBook now;
    KernelResult result;
    if (!readKernel(now, links, result))
        return;
    const BridgePort* found = now.find(port.link.index);
    const BridgePort none;
    const BridgePort& seen = found == nullptr ? none : *found;
    port.carried = seen.carried;
    port.untagged = seen.untagged;
    port.pvid = seen.pvid;
    port.added = vlanIntersection(port.added, port.carried);
    port.added = vlanDifference(port.added, port.takenOver());
    ledger_.store(port.link.index, port.added);
}

bool LinuxSwitch::wantsGuard(const BridgePort& port) const {
    if (!isUsable(book_.bridge))
        return false;
    if (config_.guard == GuardedPorts::All && mvrpOn_)
        return true;
    const std::lock_guard lock(mutex_);
    if (config_.guard == GuardedPorts::All)
        return std::ranges::any_of(state_.ports,
                                   [this](const SwitchPort& seen) { return takesPart(seen); });
    const SwitchPort* seen = state_.find(port.link.index);
    return seen != nullptr && takesPart(*seen);
}

void LinuxSwitch::settleGuards() {
    for (BridgePort& port : book_.ports)
        settleGuard(port);
}

void LinuxSwitch::settleGuard(BridgePort& port) {
    const bool wanted = wantsGuard(port);
    const bool heldBack = wanted && port.guardDispute.untilMs != 0;
    if (wanted == port.guard)
        port.guardFailed = false;
    if (wanted == port.guard || (port.guard && adopting_) || heldBack)
        return;
    const KernelResult result = kernel_.setGuard(port.link.index, wanted);
    if (result)
        port.guard = wanted;
    if (isUnanswered(result))
        setUnfinished();
    else if (!result && !port.guardFailed && result.error != ENODEV)
        logMessage(LogPriority::Error,
                   "%s: the bridge can not be kept from forwarding protocol frames of the port: %s",
                   port.link.name.c_str(), result.what.c_str());
    port.guardFailed = !result;
}

}  // namespace platform
