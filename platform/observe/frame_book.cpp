// SPDX-License-Identifier: MIT
#include "platform/observe/frame_book.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "platform/contract/management.h"
#include "platform/net/clock.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/timer.h"

namespace platform {
namespace {

/// A port says so often that registrations are refused.
constexpr u64 kSayAgainMs = 60'000;

std::size_t formIndex(FrameKind kind) {
    return static_cast<std::size_t>(kind) - 1;
}

u64& failed(PortRecord& port, FailedRegistration reason) {
    return port.statistics.failed.at(static_cast<std::size_t>(reason));
}

/// Counts a registration that failed, and remembers it as the last.
void noteFailure(PortRecord& port, FailedRegistration reason, u32 vid, u64 nowMs) {
    ++failed(port, reason);
    port.statistics.lastFailedVid = vid;
    port.statistics.lastFailedReason = static_cast<u32>(reason);
    port.statistics.lastFailedOrigin = port.vlans.at(vid).origin;
    port.lastFailedMs = nowMs;
}

/// Counts the events of a received PDU and remembers what it declares.
class ReceivedEvents final : public EventSink {
  public:
    ReceivedEvents(PortRecord& port, const SwitchDriver& driver, u64 nowMs, u32 sinceMs,
                   MacAddress origin)
        : port_(port), driver_(driver), nowMs_(nowMs), sinceMs_(sinceMs), origin_(origin) {}

    void onEvent(u32 vid, PduEvent event) override {
        // A sender may put its LeaveAll into every vector of a PDU: it is one.
        if (event == PduEvent::LeaveAll && std::exchange(leaveAll_, true))
            return;
        ++port_.statistics.eventsIn[static_cast<std::size_t>(event)];
        if (event == PduEvent::LeaveAll) {
            port_.leaveAllInMs = port_.leaveTimerMs = nowMs_;
            return;
        }
        VlanMemory& vlan = port_.vlans[vid];
        if (isLeave(event)) {
            vlan.leaveMs = sinceMs_;
            port_.leaveTimerMs = nowMs_;
        } else if (isJoin(event)) {
            vlan.joinMs = sinceMs_;
            vlan.joinEvent = event;
            vlan.origin = origin_;
            countFailure(vid);
        }
    }

  private:
    void countFailure(u32 vid) {
        if (!vlanContains(port_.permitted, vid))
            noteFailure(port_, FailedRegistration::NotPermitted, vid, nowMs_);
        else if (port_.registration == MVRP_REGISTRATION_FORBIDDEN)
            noteFailure(port_, FailedRegistration::Forbidden, vid, nowMs_);
        else if (port_.registration == MVRP_REGISTRATION_FIXED &&
                 driver_.vlanType(vid) != QorVlanType::Static)
            noteFailure(port_, FailedRegistration::Fixed, vid, nowMs_);
    }

    PortRecord& port_;
    const SwitchDriver& driver_;
    u64 nowMs_;
    u32 sinceMs_;
    MacAddress origin_;
    bool leaveAll_ = false;  ///< this PDU's was counted
};

/// Counts the events of a PDU that was sent, maybe several times, and remembers the last time.
class SentEvents final : public EventSink {
  public:
    SentEvents(PortRecord& port, u32 times, u64 lastMs, u32 sinceMs)
        : port_(port), times_(times), lastMs_(lastMs), sinceMs_(sinceMs) {}

    void onEvent(u32 vid, PduEvent event) override {
        if (event == PduEvent::LeaveAll && std::exchange(leaveAll_, true))
            return;
        port_.statistics.eventsOut[static_cast<std::size_t>(event)] += times_;
        if (event == PduEvent::LeaveAll) {
            port_.leaveAllOutMs = lastMs_;
            port_.leaveTimerMs = std::max(port_.leaveTimerMs, lastMs_);
            return;
        }
        port_.vlans[vid].sentMs = sinceMs_;
        port_.vlans[vid].sentEvent = event;
    }

  private:
    PortRecord& port_;
    u32 times_;
    u64 lastMs_;
    u32 sinceMs_;
    bool leaveAll_ = false;
};

void countOutcome(PortStatisticsRecord& statistics, Delivery outcome) {
    switch (outcome) {
        case Delivery::Delivered:
            break;
        case Delivery::Tunnel:
            ++statistics.tunnelled;
            break;
        case Delivery::Overflow:
            ++statistics.overflow;
            break;
        case Delivery::NoSocket:
            ++statistics.notEnabled;
            break;
    }
}

/// Notes that a neighbour was heard. @return whether the log is to know
bool noteNeighbour(PortRecord& port, const MacAddress& mac, FrameKind kind, u64 nowMs) {
    auto place = std::ranges::find_if(port.neighbours, [&mac](const Neighbour& neighbour) {
        return neighbour.heardMs != 0 && neighbour.mac == mac;
    });
    if (place == port.neighbours.end())
        place = std::ranges::find_if(port.neighbours, [](const Neighbour& neighbour) {
            return neighbour.heardMs == 0 || neighbour.lost;
        });
    if (place == port.neighbours.end())
        return false;
    if (place->heardMs == 0 || place->mac != mac)
        *place = {mac, nowMs};
    place->longestMs = std::max(place->longestMs, nowMs - place->heardMs);
    place->heardMs = nowMs;
    place->lost = false;
    place->kind = kind;
    return !place->said;
}

/// Notes what the log says next of a neighbour. @return whether it says anything
bool takeNeighbourChange(Neighbour& neighbour, u64 nowMs, bool linkDown) {
    if (neighbour.heardMs == 0 || neighbour.lost)
        return false;
    if (!neighbour.said && !linkDown)
        return neighbour.said = true;
    const u64 silence = std::max(kNeighbourSilentMs, 3 * neighbour.longestMs);
    if (!linkDown && nowMs - neighbour.heardMs < silence)
        return false;
    neighbour.lost = true;
    return std::exchange(neighbour.said, false);
}

/// Time since the start of the book, never 0.
u32 sinceStart(u64 nowMs, u64 startMs) {
    return static_cast<u32>(nowMs - startMs + 1);
}

u64 agoOrNever(u64 whenMs, u64 nowMs) {
    return whenMs == 0 ? kNever : nowMs - whenMs;
}

}  // namespace

FrameBook::FrameBook(const SwitchDriver& driver, std::mutex& mutex)
    : driver_(driver), startMs_(monotonicMs()), mutex_(mutex) {}

PortRecord& FrameBook::record(u32 unit) {
    std::unique_ptr<PortRecord>& port = ports_[unit];
    if (port == nullptr) {
        port = std::make_unique<PortRecord>();
        port->countedFromMs = monotonicMs();
    }
    return *port;
}

void FrameBook::renewPermitted(u32 unit, PortRecord& port) const {
    const SwitchFacts* facts = driver_.facts();
    const u32 changes = facts == nullptr ? 0 : facts->changes.load(std::memory_order_acquire);
    if (changes != 0 && changes == port.permittedAsOf)
        return;
    port.permitted = {};
    driver_.portVlans(unit, VlanSet::Permitted, port.permitted);
    port.permittedAsOf = changes;
}

const PortRecord* FrameBook::find(u32 unit) const {
    const auto found = ports_.find(unit);
    if (found == ports_.end())
        return nullptr;
    countSent(*found->second, found->second->sent.frame());
    return found->second.get();
}

void FrameBook::frameArrived(u32 unit, std::span<const u8> bytes) {
    if (tap_.active())
        tap_.add(unit, false, bytes);
}

void FrameBook::frameHandled(u32 unit, const FrameView& view, DropReason reason,
                             std::optional<Delivery> outcome) {
    const u64 nowMs = monotonicMs();
    PortRecord& port = record(unit);
    PortStatisticsRecord& statistics = port.statistics;
    if (reason != DropReason::None)
        ++statistics.drops.at(static_cast<std::size_t>(reason));
    if (!outcome)
        return;
    countOutcome(statistics, *outcome);
    if (*outcome != Delivery::Delivered)
        return;
    ++statistics.pdusIn.at(formIndex(view.kind));
    statistics.bytesIn += view.frame.size();
    statistics.lastPduOrigin = view.source();
    port.lastPduMs = nowMs;
    if (noteNeighbour(port, view.source(), view.kind, nowMs))
        neighbourIsFound();
    renewPermitted(unit, port);
    ReceivedEvents events(port, driver_, nowMs, sinceStart(nowMs, startMs_), view.source());
    // Of our own form and of GVRP it is only known here whether a PDU can be read to its end.
    if (walkEvents(view, events) != DropReason::None && reason == DropReason::None)
        ++statistics.drops.at(static_cast<std::size_t>(DropReason::BadPdu));
}

void FrameBook::neighbourIsFound() {
    neighbourFound_ = true;
    if (news_ != nullptr)
        news_->tell();
}

void FrameBook::frameSent(u32 unit, std::span<const u8> bytes, int error, u64 nowMs) {
    if (tap_.active() && error == 0)
        tap_.add(unit, true, bytes);
    PortRecord& port = record(unit);
    if (error != 0) {
        ++port.statistics.sendFailed;
        return;
    }
    const bool again = bytes.size() == port.sent.length &&
                       std::memcmp(bytes.data(), port.sent.bytes.data(), bytes.size()) == 0;
    if (!again)
        keepSent(port, bytes);
    ++port.sent.times;
    port.sent.lastMs = nowMs;
    if (bytes.size() > port.sent.length)
        countSent(port, bytes);
}

void FrameBook::keepSent(PortRecord& port, std::span<const u8> bytes) {
    countSent(port, port.sent.frame());
    port.sent.length = 0;
    if (bytes.size() > port.sent.bytes.size())
        return;
    port.sent.length = static_cast<u32>(bytes.size());
    std::memcpy(port.sent.bytes.data(), bytes.data(), bytes.size());
}

void FrameBook::countSent(PortRecord& port, std::span<const u8> frame) const {
    const u32 times = std::exchange(port.sent.times, 0);
    const FrameView view = times == 0 ? FrameView{} : classifyFrame(frame);
    if (view.kind == FrameKind::None)
        return;
    port.statistics.pdusOut.at(formIndex(view.kind)) += times;
    port.statistics.bytesOut += times * frame.size();
    SentEvents events(port, times, port.sent.lastMs, sinceStart(port.sent.lastMs, startMs_));
    walkEvents(view, events);
}

void FrameBook::prepare(u32 unit) {
    const std::lock_guard lock(mutex_);
    record(unit);
}

void FrameBook::membersRefused(u32 unit, const VlanBitmap& vlans) {
    u32 count = 0;
    for (const u8 byte : vlans)
        count += static_cast<u32>(std::popcount(byte));
    const std::lock_guard lock(mutex_);
    failed(record(unit), FailedRegistration::SwitchRefused) += count;
}

void FrameBook::registrationRefused(u32 unit, u32 vid, Admission why) {
    if (vid >= kVlanIds)
        return;
    const std::lock_guard lock(mutex_);
    const auto found = ports_.find(unit);
    if (found == ports_.end())
        return;
    PortRecord& port = *found->second;
    // What is not permitted was counted when the frame came, but for what a tightened list bars.
    if (why == Admission::TooMany)
        noteFailure(port, FailedRegistration::TooMany, vid, monotonicMs());
    else if (vlanContains(port.permitted, vid))
        noteFailure(port, FailedRegistration::NotPermitted, vid, monotonicMs());
    ++port.refusals;
    port.refusalsSaid = false;
    refused_ = true;
}

void FrameBook::sayRefusals(u64 nowMs) {
    if (!refused_)
        return;
    std::vector<std::string> lines;
    {
        const std::lock_guard lock(mutex_);
        bool left = false;
        for (auto& [unit, port] : ports_) {
            const bool soon =
                port->refusalsSaidMs != 0 && nowMs - port->refusalsSaidMs < kSayAgainMs;
            left |= !port->refusalsSaid && soon;
            if (port->refusalsSaid || soon)
                continue;
            port->refusalsSaid = true;
            port->refusalsSaidMs = nowMs;
            lines.push_back(refusalText(unit, *port));
        }
        refused_ = left;
    }
    for (const std::string& line : lines)
        logMessage(LogPriority::Warning, "%s", line.c_str());
}

std::string FrameBook::refusalText(u32 unit, const PortRecord& port) const {
    std::string name;
    driver_.portName(unit, name);
    const PortStatisticsRecord& last = port.statistics;
    const bool tooMany = last.lastFailedReason == static_cast<u32>(FailedRegistration::TooMany);
    return name + ": VLAN " + std::to_string(last.lastFailedVid) + ", declared by " +
           formatMac(last.lastFailedOrigin) + ", is not registered: " +
           (tooMany ? "the port has registered as many as it may (max-vlans)"
                    : "it is not on the permit list") +
           "; " + std::to_string(port.refusals) + " registrations were refused so far";
}

void FrameBook::setRegistration(u32 unit, u32 mode) {
    const std::lock_guard lock(mutex_);
    record(unit).registration = mode;
}

void FrameBook::neighbourChanges(u64 nowMs, std::span<const u32> down,
                                 std::vector<NeighbourChange>& changes) {
    if (!neighbourFound_.exchange(false) && down.empty() && nowMs < nextSilenceMs_)
        return;
    nextSilenceMs_ = nowMs + kLookForSilenceMs;
    const std::lock_guard lock(mutex_);
    for (auto& [unit, port] : ports_) {
        const bool linkDown = std::ranges::find(down, unit) != down.end();
        for (Neighbour& neighbour : port->neighbours) {
            const u64 silentMs = nowMs - std::min(nowMs, neighbour.heardMs);
            if (takeNeighbourChange(neighbour, nowMs, linkDown))
                changes.push_back({unit, neighbour.mac, neighbour.said, silentMs});
            if (linkDown)
                neighbour = {};
        }
    }
}

PortStatisticsRecord FrameBook::statistics(u32 unit) const {
    const u64 nowMs = monotonicMs();
    const std::lock_guard lock(mutex_);
    const PortRecord* port = find(unit);
    PortStatisticsRecord statistics = port == nullptr ? PortStatisticsRecord{} : port->statistics;
    statistics.sinceMs = nowMs - (port == nullptr ? startMs_ : port->countedFromMs);
    statistics.lastFailedMs = agoOrNever(port == nullptr ? 0 : port->lastFailedMs, nowMs);
    statistics.lastPduMs = agoOrNever(port == nullptr ? 0 : port->lastPduMs, nowMs);
    return statistics;
}

void FrameBook::clear(u32 unit) {
    const u64 nowMs = monotonicMs();
    const std::lock_guard lock(mutex_);
    for (auto& [number, port] : ports_) {
        if (unit != 0 && unit != number)
            continue;
        countSent(*port, port->sent.frame());
        const std::array<u8, 6> origin = port->statistics.lastPduOrigin;
        port->statistics = {};
        port->statistics.lastPduOrigin = origin;
        port->lastFailedMs = 0;
        port->countedFromMs = nowMs;
    }
}

PortHistoryRecord FrameBook::history(u32 unit) const {
    const u64 nowMs = monotonicMs();
    const std::lock_guard lock(mutex_);
    const PortRecord* port = find(unit);
    if (port == nullptr)
        return {kNever, kNever, kNever};
    return {agoOrNever(port->leaveAllInMs, nowMs), agoOrNever(port->leaveAllOutMs, nowMs),
            agoOrNever(port->leaveTimerMs, nowMs)};
}

VlanHistoryRecord FrameBook::vlanHistory(u32 unit, u32 vid) const {
    const u32 now = sinceStart(monotonicMs(), startMs_);
    const auto ago = [now](u32 when) { return when == 0 ? kNever32 : now - when; };
    const std::lock_guard lock(mutex_);
    const PortRecord* port = find(unit);
    if (port == nullptr || vid >= kVlanIds)
        return {kNever32, kNever32, kNever32, {}, 0, 0};
    const VlanMemory& vlan = port->vlans[vid];
    return {ago(vlan.joinMs),
            ago(vlan.leaveMs),
            ago(vlan.sentMs),
            vlan.origin,
            static_cast<u8>(vlan.joinEvent),
            static_cast<u8>(vlan.sentEvent)};
}

VlanTimes FrameBook::vlanTimes(u32 unit) const {
    const u32 now = sinceStart(monotonicMs(), startMs_);
    const std::lock_guard lock(mutex_);
    const PortRecord* port = find(unit);
    VlanTimes times;
    for (u32 vid = kFirstVlan; port != nullptr && vid <= kLastVlan; ++vid) {
        const VlanMemory& vlan = port->vlans[vid];
        const u32 last = std::max(vlan.joinMs, vlan.leaveMs);
        if (last != 0)
            addVlanTime(vlan.joinMs > vlan.leaveMs ? times.heard : times.withdrawn, vid,
                        (now - last) / kMsPerSecond);
    }
    return times;
}

std::vector<NeighbourRecord> FrameBook::neighbours(u32 unit) const {
    const u64 nowMs = monotonicMs();
    const std::lock_guard lock(mutex_);
    const PortRecord* port = find(unit);
    std::vector<NeighbourRecord> list;
    if (port == nullptr)
        return list;
    for (const Neighbour& neighbour : port->neighbours)
        if (neighbour.heardMs != 0)
            list.push_back({neighbour.mac, static_cast<u8>(neighbour.kind),
                            neighbour.lost ? u8{1} : u8{0}, nowMs - neighbour.heardMs});
    return list;
}

void FrameBook::forget(u32 unit) {
    const std::lock_guard lock(mutex_);
    ports_.erase(unit);
}

}  // namespace platform
