// SPDX-License-Identifier: MIT
//
// What the kernel tells the driver: each look reads all of the bridge, carries over what is the
// daemon's, reports what became different, and has the rest settled.
#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/linux/linux_switch.h"
#include "platform/model/vlan_algebra.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

bool contains(const std::vector<u32>& list, u32 index) {
    return std::ranges::find(list, index) != list.end();
}

void logVlans(LogPriority priority, const char* format, const BridgePort& port,
              const VlanBitmap& vlans) {
    logMessage(priority, format, port.link.name.c_str(), formatVlanRanges(vlans).c_str());
}

/// A link that was away for a while, or a port that was taken out of the bridge and put back: down
/// arms the daemon's timers, so that it declares again.
/// @return the ports
std::vector<u32> reportBounced(const SwitchState& before, const SwitchState& after,
                               const Churn& churn, RouteBatch& batch) {
    std::vector<u32> bounced;
    for (const SwitchPort& port : after.ports) {
        const SwitchPort* old = before.find(port.unit);
        const bool was = contains(churn.bounced, port.unit) || contains(churn.removed, port.unit);
        if (was && old != nullptr && old->isUp() && port.isUp()) {
            batch.linkState(port.unit, false);
            batch.linkState(port.unit, true);
            bounced.push_back(port.unit);
        }
    }
    return bounced;
}

/// Whether a port is none of the bridge any more, or came anew under its old index.
bool isGone(const SwitchPort& port, const BridgeBook& now, const Churn& churn) {
    return now.find(port.unit) == nullptr || contains(churn.gone, port.unit);
}

/// What ports that went may have registered although they did not permit it.
VlanBitmap notPermittedAtGone(const SwitchState& before, const BridgeBook& now,
                              const Churn& churn) {
    VlanBitmap all{};
    for (const SwitchPort& port : before.ports)
        if (isGone(port, now, churn) && (port.mvrp || port.gvrp))
            all = vlanUnion(all, vlanDifference(vlanRange(kFirstVlan, kLastVlan),
                                                vlanUnion(port.tagged, port.untagged)));
    return all;
}

/// Dynamic VLANs whose members went with their ports exist no more. The daemon has to hear that:
/// that a port is gone does not make it withdraw what the others declare because of it.
/// @param left  VLANs that go, too, where they have no members
void eraseOrphans(const SwitchState& before, const BridgeBook& now, const Churn& churn,
                  VlanBitmap left, SwitchState& state) {
    for (const SwitchPort& port : before.ports)
        if (isGone(port, now, churn))
            left = vlanUnion(left, port.dynamic);
    state.eraseVlans(state.withoutMembers(left));
}

}  // namespace

void LinuxSwitch::handleEvents() {
    events_.clear();
    kernel_.readEvents(events_);
    const std::lock_guard serial(changeMutex_);
    if (stopped_)
        return;
    const Churn churn = weighEvents(events_, book_, config_.bridge);
    if (churn.lost)
        logMessage(LogPriority::Warning,
                   "notifications of the kernel were lost: the bridge is read as a whole");
    const bool ended = endLinger();
    if (churn.look || unfinished_)
        look(churn);
    else if (ended)
        settleAll();
}

bool LinuxSwitch::readKernel(BridgeBook& book, std::vector<KernelLink>& links,
                             KernelResult& result) {
    result = readBridge(book, links);
    isUnanswered(result);
    return static_cast<bool>(result);
}

KernelResult LinuxSwitch::readBridge(BridgeBook& book, std::vector<KernelLink>& links) {
    std::vector<KernelVlans> vlans;
    KernelResult result = kernel_.readLinks(links);
    if (result)
        result = kernel_.readVlans(vlans);
    // What answers this is loaded with the first bridge of a system.
    if (result.error == EOPNOTSUPP &&
        std::ranges::find(links, LinkKind::Bridge, &KernelLink::kind) == links.end())
        result = {};
    if (!result)
        return result;
    book = readBook(links, vlans, config_.bridge);
    std::vector<u32> ports;
    for (const BridgePort& port : book.ports)
        ports.push_back(port.link.index);
    std::vector<u32> guarded;
    result = kernel_.readGuards(ports, guarded);
    for (BridgePort& port : book.ports)
        port.guard = contains(guarded, port.link.index);
    return result;
}

bool LinuxSwitch::isUnanswered(const KernelResult& result) {
    const bool is = result.error == ETIMEDOUT;
    if (is && !unanswered_)
        logMessage(LogPriority::Error, "%s: what is to be done is tried again until it does",
                   result.what.c_str());
    else if (!is && unanswered_)
        logMessage(LogPriority::Notice, "the kernel answers again");
    unanswered_ = is;
    return is;
}

void LinuxSwitch::look(const Churn& told) {
    BridgeBook next;
    std::vector<KernelLink> links;
    KernelResult result;
    unfinished_ = false;
    if (!readKernel(next, links, result)) {
        if (!std::exchange(unreadable_, true) && !unanswered_)
            logMessage(LogPriority::Error, "the bridge can not be read, it is tried again: %s",
                       result.what.c_str());
        setUnfinished();
        return;
    }
    unreadable_ = false;
    reportBridge(next);
    Churn churn = told;
    if (next.bridge.index != book_.bridge.index)
        for (const BridgePort& port : book_.ports)
            churn.gone.push_back(port.link.index);
    RouteBatch batch;
    leavePorts(next, links, batch);
    carryOver(next, churn);
    const bool renamed =
        !std::ranges::equal(book_.ports, next.ports, [](const BridgePort& a, const BridgePort& b) {
            return a.generation == b.generation && a.link.name == b.link.name;
        });
    book_ = std::move(next);
    noteNextLinger();
    const VlanBitmap before = staticVlans_;
    staticVlans_ = book_.staticVlans(config_.vlanOne);
    beginLinger(vlanDifference(before, staticVlans_));
    VlanBitmap left{};
    if (!barsRegistrations()) {
        const std::lock_guard lock(mutex_);
        left = notPermittedAtGone(state_, book_, churn);
    }
    // The daemon is told the end of a VLAN that existed. One of these that somebody declares at
    // another port, which does not permit it either, is declared anew with his next LeaveAll.
    createDynamic(left);
    {
        const std::lock_guard lock(mutex_);
        SwitchState state = stateOf(book_, churn);
        eraseOrphans(state_, book_, churn, left, state);
        if (!churn.gone.empty()) {
            // An interface that came anew under its old index is another port.
            SwitchState without = state_;
            std::erase_if(without.ports, [&churn](const SwitchPort& port) {
                return contains(churn.gone, port.unit);
            });
            replaceState(std::move(without), batch);
        }
        for (const u32 unit : reportBounced(state_, state, churn, batch))
            noteCameUp(unit);
        replaceState(std::move(state), batch);
    }
    deliver(batch);
    settleAll();
    if (renamed && listeners_.portsChanged)
        listeners_.portsChanged();
}

/// Ports that are no members any more. One that went into a bond of the bridge has joined an
/// aggregation.
void LinuxSwitch::leavePorts(const BridgeBook& next, const std::vector<KernelLink>& links,
                             RouteBatch& batch) {
    for (const BridgePort& port : book_.ports) {
        const u32 index = port.link.index;
        if (next.find(index) != nullptr)
            continue;
        ledger_.forget(index);
        const auto link = std::ranges::find(links, index, &KernelLink::index);
        if (link == links.end())
            continue;
        if (port.guard)
            kernel_.setGuard(index, false);
        const BridgePort* bond = next.find(link->master);
        if (bond != nullptr && bond->link.kind == LinkKind::Bond)
            batch.joinedAggregation(index, bond->link.index);
    }
}

void LinuxSwitch::carryOver(BridgeBook& next, const Churn& churn) {
    if (next.bridge.index != book_.bridge.index && next.bridge.index != 0)
        ledger_.restart(currentScope(config_.bridge, next.bridge.index));
    for (BridgePort& port : next.ports) {
        const u32 index = port.link.index;
        const BridgePort* old = book_.find(index);
        if (old == nullptr || contains(churn.gone, index)) {
            ledger_.forget(index);
            welcomePort(port);
        } else {
            carryOverPort(port, *old, contains(churn.removed, index));
        }
    }
}

void LinuxSwitch::carryOverPort(BridgePort& next, const BridgePort& old, bool wasRemoved) {
    next.generation = old.generation;
    next.guardFailed = old.guardFailed;
    next.guardLost = old.guardLost;
    next.guardDispute = old.guardDispute;
    next.added = old.added;
    next.lingering = old.lingering;
    next.disputed = old.disputed;
    next.dispute = old.dispute;
    // One that was to be removed, without an answer, was removed by ourselves.
    if (old.guard && !next.guard && !old.guardFailed && wantsGuard(old))
        noteGuardLost(next);
    const VlanBitmap taken = next.takenOver();
    const VlanBitmap wiped =
        vlanDifference(vlanDifference(old.added, next.carried), lingeringOn(old));
    next.added = vlanIntersection(vlanDifference(old.added, taken), next.carried);
    ledger_.prepare(next.link.index, next.link.name);
    ledger_.store(next.link.index, next.added);
    if (!vlanIsEmpty(taken))
        logVlans(LogPriority::Notice, "%s: others configured VLANs %s, which are theirs now", next,
                 taken);
    if (vlanIsEmpty(wiped) || old.unsure)
        return;
    if (wasRemoved)
        logVlans(LogPriority::Notice,
                 "%s was taken out of the bridge and put back: VLANs %s are written again", next,
                 wiped);
    else
        noteWiped(next, wiped);
}

/// A port that was not there before.
void LinuxSwitch::welcomePort(BridgePort& port) {
    const u32 index = port.link.index;
    port.generation = ++generations_;
    ledger_.prepare(index, port.link.name);
    ledger_.store(index, port.added);
}

SwitchState LinuxSwitch::stateOf(const BridgeBook& book, const Churn& churn) {
    SwitchState next;
    vlanForEach(state_.vlans(QorVlanType::Dynamic),
                [&next](u32 vid) { next.kinds[vid] = static_cast<u8>(QorVlanType::Dynamic); });
    vlanForEach(staticVlans_,
                [&next](u32 vid) { next.kinds[vid] = static_cast<u8>(QorVlanType::Static); });
    const VlanBitmap existing = next.vlans();
    const VlanBitmap dynamic = next.vlans(QorVlanType::Dynamic);
    for (const BridgePort& port : book.ports) {
        SwitchPort seen = describePort(port, staticVlans_, config_, isUsable(book.bridge));
        const SwitchPort* old = state_.find(seen.unit);
        if (old != nullptr && !contains(churn.gone, seen.unit)) {
            seen.mvrp = old->mvrp;
            seen.gvrp = old->gvrp;
            seen.dynamic = vlanIntersection(old->dynamic, existing);
            // What a port carries because it is static is no membership of the protocol any more.
            if (takesPart(seen))
                seen.dynamic = vlanDifference(seen.dynamic, carriedStatics(port));
            seen.adopted = vlanIntersection(old->adopted, seen.dynamic);
            followPolicy(*old, dynamic, seen);
        }
        next.ports.push_back(seen);
    }
    return next;
}

LinuxSwitch::BridgeState LinuxSwitch::bridgeStateOf(const KernelLink& bridge) {
    if (bridge.index == 0)
        return BridgeState::Missing;
    if (!bridge.vlanFiltering)
        return BridgeState::NotVlanAware;
    return bridge.multipleTrees ? BridgeState::MultipleTrees : BridgeState::Usable;
}

void LinuxSwitch::reportBridge(const BridgeBook& next) {
    const char* name = config_.bridge.c_str();
    const BridgeState before = bridgeStateOf(book_.bridge);
    const BridgeState now = bridgeStateOf(next.bridge);
    const bool isAnother = next.bridge.index != book_.bridge.index;
    bridgeState_ = now;
    if (before != BridgeState::Missing && isAnother)
        logMessage(LogPriority::Warning, "bridge %s is gone, with all its ports", name);
    if (now != BridgeState::Missing && isAnother)
        logMessage(LogPriority::Notice, "bridge %s is there", name);
    if (now == before && !isAnother)
        return;
    if (now == BridgeState::NotVlanAware)
        logMessage(LogPriority::Error,
                   "bridge %s is not VLAN-aware, its ports take no part until it is: ip link set "
                   "%s type bridge vlan_filtering 1",
                   name, name);
    if (now == BridgeState::MultipleTrees)
        logMessage(LogPriority::Error,
                   "bridge %s has multiple spanning trees (mst_enabled 1), and this daemon has one "
                   "context for all VLANs: its ports take no part until it has one: ip link set %s "
                   "type bridge mst_enabled 0",
                   name, name);
    if (now == BridgeState::Usable && before == BridgeState::NotVlanAware && !isAnother)
        logMessage(LogPriority::Notice, "bridge %s is VLAN-aware now", name);
}

void LinuxSwitch::setUnfinished() {
    if (!unfinished_.exchange(true) && listeners_.tryAgain)
        listeners_.tryAgain();
}

}  // namespace platform
