// SPDX-License-Identifier: MIT
//
// Asking the neighbours of a port to declare again, and when that is due: a link came up; a port
// had more PDUs than it takes, so that some were not read; or its cable took fewer than were sent.
// Which declarations, and which withdrawals, were lost then nobody knows. A LeaveAll that both ends
// hear mends all of it: the daemon declares anew what it has to declare, and what it does not is
// gone at the neighbour within the leave time.
#include <algorithm>
#include <climits>
#include <utility>

#include "platform/net/clock.h"
#include "platform/net/frame_net.h"
#include "platform/runtime/log.h"
#include "platform/wire/leave_all.h"

namespace platform {
namespace {

/// A second without a dropped PDU, or without one that could not be sent, is calm.
constexpr u64 kCalmUs = 1'000'000;
/// A port says so often that it drops PDUs.
constexpr u64 kSayAgainUs = 60'000'000;

}  // namespace

void FrameNet::ask(u32 unit, bool renew, u32 afterMs) {
    const u64 atUs = afterMs == 0 ? 0 : monotonicUs() + u64{afterMs} * 1000;
    {
        const std::lock_guard lock(mutex_);
        std::optional<CabledPort::Ask>& ask = cabledPort(unit).ask;
        ask = CabledPort::Ask{atUs, renew || (ask && ask->renew)};
        asking_ = true;
    }
    wake();
}

void FrameNet::linkCameUp(u32 unit) {
    if (asksWhenForwarding_)
        ask(unit, false);
}

void FrameNet::beganToTakePart(u32 unit) {
    if (asksWhenForwarding_)
        ask(unit, true);
}

int FrameNet::runAsks() {
    if (!asking_)
        return -1;
    u64 soonestUs = ULLONG_MAX;
    const u64 nowUs = monotonicUs();
    {
        const std::lock_guard lock(mutex_);
        for (auto& [unit, port] : ports_) {
            if (std::exchange(port.saysBudget, false))
                overBudget_.emplace_back(unit, port.budget.perSecond);
            if (port.ask && port.ask->atUs <= nowUs) {
                dueAsks_.emplace_back(unit, port.ask->renew);
                port.ask.reset();
            } else if (port.ask) {
                soonestUs = std::min(soonestUs, port.ask->atUs);
            }
        }
        asking_ = soonestUs != ULLONG_MAX;
    }
    for (const auto& [unit, perSecond] : overBudget_) {
        std::string name;
        driver_.portName(unit, name);
        logMessage(LogPriority::Warning,
                   "%s: more than %u PDUs a second came (max-pdus): the rest is dropped, and the "
                   "neighbours are asked to declare again when it calms",
                   name.c_str(), perSecond);
    }
    overBudget_.clear();
    for (const auto& [unit, renew] : dueAsks_)
        sendAsk(unit, renew);
    dueAsks_.clear();
    return soonestUs == ULLONG_MAX ? -1 : static_cast<int>((soonestUs - nowUs + 999) / 1000);
}

void FrameNet::sendAsk(u32 unit, bool renew) {
    const FramePolicy policy = driver_.framePolicy(unit);
    PortState state{};
    if (policy.unit != unit || !policy.takesPart() || !driver_.portState(unit, state) ||
        !state.linkUp)
        return;
    const bool isGvrp = policy.gvrp;
    std::array<u8, kMostLeaveAllBytes> bytes;
    const std::size_t size =
        writeLeaveAll(isGvrp ? FrameKind::Gvrp : FrameKind::NativeMvrp, state.mac, bytes);
    const std::span<const u8> frame = std::span(bytes).first(size);
    // What could not be sent is asked again when it calms, and nobody answers it before.
    if (transmit(unit, frame) != 0 || !renew)
        return;
    FrameMeta meta;
    meta.unit = unit;
    meta.protocol = static_cast<u16>(isGvrp ? kQorProtocolGvrp : kQorProtocolMvrp);
    meta.pduOffset = isGvrp ? u8{kGvrpHeaderBytes} : u8{kNativeHeaderBytes};
    meta.destination = kMvrpGroupAddress;
    meta.source = state.mac;
    const SocketKind kind = isGvrp ? SocketKind::Gvrp : SocketKind::Mvrp;
    if (sockets_.deliver(kind, meta, frame) != Delivery::Overflow)
        return;
    const std::lock_guard lock(mutex_);
    askWhenCalm(cabledPort(unit));
}

void FrameNet::askWhenCalm(CabledPort& cabled) {
    const bool isNew = !cabled.ask;
    cabled.ask = CabledPort::Ask{monotonicUs() + kCalmUs, true};
    asking_ = true;
    // The receive thread may wait for longer than that.
    if (isNew)
        wake();
}

bool FrameNet::isOverBudget(CabledPort& cabled) {
    if (cabled.budget.perSecond == 0)
        return false;
    const u64 nowUs = monotonicUs();
    if (cabled.budget.take(nowUs))
        return false;
    askWhenCalm(cabled);
    if (cabled.budgetSaidUs == 0 || nowUs - cabled.budgetSaidUs >= kSayAgainUs) {
        cabled.budgetSaidUs = nowUs;
        cabled.saysBudget = true;
    }
    return true;
}

}  // namespace platform
