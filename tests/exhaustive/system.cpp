// SPDX-License-Identifier: MIT
#include "tests/exhaustive/system.h"

#include <algorithm>

namespace exhaustive {
namespace {

constexpr u8 kOld = 0x80;

/// In place of a station: every one.
constexpr u32 kAll = kMostStations;

/// From this age on a declaration is living: every frame that tells of it has arrived. A frame is
/// on its way for less than two ticks, over at most two cables.
constexpr u8 kLivingAge = 5;

}  // namespace

System::System(const Setup& setup, const std::vector<Kind>& kinds, std::vector<Cable> cables)
    : frames_(std::make_unique<FrameBook>()), cables_(std::move(cables)) {
    for (const Kind& kind : kinds)
        stations_.push_back(std::make_unique<Station>(setup, kind, frames_.get()));
    // Behind an end of a cable is what the other end leads to.
    for (std::size_t c = 0; c < cables_.size(); ++c) {
        std::array<std::vector<u8>, 2> behind;
        for (u32 end = 0; end < 2; ++end) {
            std::vector<u8>& found = behind[end];
            found.push_back(cables_[c].ends[1 - end].station);
            for (std::size_t i = 0; i < found.size(); ++i)
                for (std::size_t other = 0; other < cables_.size(); ++other)
                    for (u32 side = 0; side < 2; ++side)
                        if (other != c && cables_[other].ends[side].station == found[i] &&
                            std::find(found.begin(), found.end(),
                                      cables_[other].ends[1 - side].station) == found.end())
                            found.push_back(cables_[other].ends[1 - side].station);
        }
        behind_.push_back(behind);
    }
}

Joint System::initial() {
    Joint joint = {};
    for (std::size_t i = 0; i < stations_.size(); ++i) {
        joint.stations[i] = stations_[i]->initial();
        if (stations_[i]->isStatic())
            joint.age[i] = kLivingAge;
    }
    return joint;
}

const StationState& System::state(const Joint& joint, u32 station) const {
    return stations_[station]->at(joint.stations[station]);
}

const PortState& System::port(const Joint& joint, End end) const {
    return state(joint, end.station).ports[end.port];
}

bool System::wants(const Joint& joint, u32 station) const {
    return stations_[station]->isStatic() || state(joint, station).wants != 0;
}

bool System::atRest(const Joint& joint) const {
    for (std::size_t i = 0; i < stations_.size(); ++i)
        if (!resting(state(joint, static_cast<u32>(i))))
            return false;
    return std::all_of(joint.queues.begin(), joint.queues.end(),
                       [](const Queue& queue) { return queue.count == 0; });
}

/// A rest ends an episode, and is long.
void System::visitNormal(Joint joint, const Move& move, const Visit& visit) const {
    if (atRest(joint)) {
        joint.disturbances = 0;
        if (move.kind != Kindred::LeaveAll)
            joint.leaveAlls = 0;
        for (std::size_t i = 0; i < stations_.size(); ++i)
            joint.age[i] = wants(joint, static_cast<u32>(i)) ? kLivingAge : u8{0};
        if (joint.excused != 0 && disagreement(joint).empty())
            joint.excused = 0;
    }
    visit(joint, move);
}

/// Puts what a station sent on its cables. @return whether there was room
bool System::sends(Joint* joint, u8 station, const Outcome& outcome) {
    for (u32 i = 0; i < outcome.count; ++i) {
        for (std::size_t c = 0; c < cables_.size(); ++c) {
            for (u32 end = 0; end < 2; ++end) {
                const End& from = cables_[c].ends[end];
                if (from.station != station || from.port != outcome.sent[i].port)
                    continue;
                Queue& queue = joint->queues[c * 2 + end];
                if (queue.count == kMostQueued)
                    return false;
                queue.frames[queue.count++] = outcome.sent[i].frame;
            }
        }
    }
    return true;
}

/// Whether a timer of a station is due: it runs before the station reads what arrived.
bool System::due(const Joint& joint, u32 station) const {
    const auto& ports = state(joint, station).ports;
    return std::any_of(ports.begin(), ports.end(), [](const PortState& at) {
        return at.join == 1 || at.vectorJoin == 1 || at.leave == 1;
    });
}

/// A step of a station, unless more than two frames would be on their way by it: then those come
/// first. What arrives is never held back.
void System::step(const Joint& joint, Move move, const Visit& visit) {
    const Outcome outcome = stations_[move.station]->apply(joint.stations[move.station], move.step,
                                                           move.port, move.frame);
    Joint next = joint;
    next.stations[move.station] = outcome.state;
    if (!sends(&next, move.station, outcome))
        return;
    if (move.step != Step::Deliver)
        for (std::size_t q = 0; q < next.queues.size(); ++q)
            if (next.queues[q].count > 2 && joint.queues[q].count != 0 &&
                next.queues[q].count != joint.queues[q].count)
                return;
    visitNormal(next, move, visit);
}

void System::deliveries(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit) {
    const bool disturbed = joint.disturbances < freedom.disturbances;
    for (std::size_t q = 0; q < cables_.size() * 2; ++q) {
        const Queue& queue = joint.queues[q];
        if (queue.count == 0)
            continue;
        const End to = cables_[q / 2].ends[1 - q % 2];
        const u8 frame = static_cast<u8>(queue.frames[0] & ~kOld);
        if (due(joint, to.station) || (only != kAll && only != to.station))
            continue;
        Joint taken = joint;
        Queue& rest = taken.queues[q];
        std::copy(rest.frames.begin() + 1, rest.frames.end(), rest.frames.begin());
        rest.frames[kMostQueued - 1] = 0;
        --rest.count;
        if (frames_->isLeaveAll(frame))
            taken.leaveAlls |= static_cast<u8>(1U << (q ^ 1U));
        step(taken, {Kindred::Protocol, Step::Deliver, to.station, to.port, frame, false}, visit);
        if (!disturbed)
            continue;
        ++taken.disturbances;
        Joint lost = taken;
        lost.leaveAlls = joint.leaveAlls;
        if (freedom.losses)
            visitNormal(lost, {Kindred::Loss, Step::Deliver, to.station, to.port, frame, true},
                        visit);
        if (freedom.duplicates) {
            Joint kept = joint;
            kept.leaveAlls = taken.leaveAlls;
            ++kept.disturbances;
            step(kept, {Kindred::Duplicate, Step::Deliver, to.station, to.port, frame, false},
                 visit);
        }
    }
}

void System::timers(const Joint& joint, u32 only, const Visit& visit) {
    for (std::size_t index = 0; index < stations_.size(); ++index) {
        const u8 i = static_cast<u8>(index);
        if (only != kAll && only != i)
            continue;
        bool pairs = false;
        for (u32 slot = 0; slot < stations_[i]->ports(); ++slot) {
            const u8 p = static_cast<u8>(slot);
            const PortState& at = state(joint, i).ports[p];
            pairs = pairs || at.pair != 0;
            if (at.join == 1)
                step(joint, {Kindred::Protocol, Step::Join, i, p, 0, false}, visit);
            if (at.vectorJoin == 1)
                step(joint, {Kindred::Protocol, Step::VectorJoin, i, p, 0, false}, visit);
            if (at.leave == 1)
                step(joint, {Kindred::Protocol, Step::Leave, i, p, 0, false}, visit);
        }
        if (pairs)
            step(joint, {Kindred::Protocol, Step::Apply, i, 0, 0, false}, visit);
    }
}

void System::changes(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit) {
    if (!freedom.changes || joint.disturbances >= freedom.disturbances)
        return;
    for (std::size_t index = 0; index < stations_.size(); ++index) {
        const u8 i = static_cast<u8>(index);
        // A station of several ports is a switch, inside of which there is nobody.
        if ((only != kAll && only != i) || stations_[i]->isStatic() || stations_[i]->ports() != 1 ||
            due(joint, i))
            continue;
        Joint changed = joint;
        ++changed.disturbances;
        changed.age[i] = 0;
        const Step change = state(joint, i).wants != 0 ? Step::Unwant : Step::Want;
        step(changed, {Kindred::Change, change, i, 0, 0, false}, visit);
    }
}

void System::leaveAlls(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit) {
    if (!freedom.leaveAlls ||
        (freedom.countsLeaveAlls && joint.disturbances >= freedom.disturbances))
        return;
    for (u32 q = 0; q < cables_.size() * 2; ++q) {
        const u8 bit = static_cast<u8>(1U << q);
        const End& from = cables_[q / 2].ends[q % 2];
        if ((joint.leaveAlls & bit) != 0 || (only != kAll && only != from.station))
            continue;
        Joint next = joint;
        next.leaveAlls |= bit;
        next.disturbances = static_cast<u8>(next.disturbances + (freedom.countsLeaveAlls ? 1 : 0));
        step(next, {Kindred::LeaveAll, Step::LeaveAll, from.station, from.port, 0, false}, visit);
    }
}

/// A station of one port that has a timer due, or a frame to read; kAll when there is none. What it
/// does next and what the others do next have the same outcome in any order: it sends on a cable of
/// its own, and what comes meanwhile waits behind what it has to do.
u32 System::urgent(const Joint& joint) const {
    for (u32 i = 0; i < stations_.size(); ++i)
        if (stations_[i]->ports() == 1 && due(joint, i))
            return i;
    for (u32 q = 0; q < cables_.size() * 2; ++q) {
        const u32 to = cables_[q / 2].ends[1 - q % 2].station;
        if (stations_[to]->ports() == 1 && joint.queues[q].count != 0)
            return to;
    }
    return kAll;
}

void System::tick(const Joint& joint, const Visit& visit) {
    Joint next = joint;
    for (Queue& queue : next.queues) {
        for (u32 i = 0; i < queue.count; ++i) {
            if ((queue.frames[i] & kOld) != 0)
                return;
            queue.frames[i] |= kOld;
        }
    }
    for (std::size_t i = 0; i < stations_.size(); ++i) {
        if (due(joint, static_cast<u32>(i)))
            return;
        for (const PortState& at : state(joint, static_cast<u32>(i)).ports)
            if (at.pair != 0)
                return;
        next.stations[i] = stations_[i]->apply(joint.stations[i], Step::Tick).state;
        if (wants(joint, static_cast<u32>(i)))
            next.age[i] = static_cast<u8>(std::min<u32>(next.age[i] + 1U, kLivingAge));
    }
    visitNormal(next, {Kindred::Protocol, Step::Tick, 0, 0, 0, false}, visit);
}

void System::moves(const Joint& joint, const Freedom& freedom, const Visit& visit) {
    const u32 only = freedom.instant ? urgent(joint) : kAll;
    deliveries(joint, freedom, only, visit);
    timers(joint, only, visit);
    changes(joint, freedom, only, visit);
    leaveAlls(joint, freedom, only, visit);
    const bool waits =
        freedom.instant && std::any_of(joint.queues.begin(), joint.queues.end(),
                                       [](const Queue& queue) { return queue.count != 0; });
    if (!waits && !atRest(joint))
        tick(joint, visit);
}

std::string System::withdrawal(const Joint& before, const Joint& after) const {
    for (std::size_t q = 0; q < cables_.size() * 2; ++q) {
        const End at = cables_[q / 2].ends[q % 2];
        if (!registered(port(before, at)) || registered(port(after, at)))
            continue;
        for (const u8 source : behind_[q / 2][q % 2])
            if (wants(after, source) && after.age[source] >= kLivingAge)
                return "station " + std::to_string(at.station) + " port " +
                       std::to_string(at.port + 1) + " withdraws what station " +
                       std::to_string(source) + " declares";
    }
    return "";
}

bool System::askedInVain(const Joint& after, const Move& move) const {
    if (move.step != Step::Deliver || move.lost)
        return false;
    for (const Cable& cable : cables_)
        for (u32 end = 0; end < 2; ++end) {
            const End& asked = cable.ends[end];
            if (asked.station == move.station && asked.port == move.port)
                return silent(port(after, asked)) && leaving(port(after, cable.ends[1 - end]));
        }
    return false;
}

std::string System::disagreement(const Joint& joint) const {
    for (std::size_t q = 0; q < cables_.size() * 2; ++q) {
        const End at = cables_[q / 2].ends[q % 2];
        const auto& sources = behind_[q / 2][q % 2];
        const bool declared = std::any_of(sources.begin(), sources.end(),
                                          [&](u8 source) { return wants(joint, source); });
        const PortState& here = port(joint, at);
        const std::string where =
            "station " + std::to_string(at.station) + " port " + std::to_string(at.port + 1);
        const bool expected = declared && !stations_[at.station]->isStatic();
        if (registered(here) != expected)
            return where + (declared ? " has not registered what is declared behind it"
                                     : " has registered what nobody behind it declares");
        if ((here.member != 0) != expected)
            return where + " is a member of other than what it has registered";
        if (declares(port(joint, cables_[q / 2].ends[1 - q % 2])) != declared)
            return where + " is told other than what is declared behind it";
    }
    return "";
}

// For people -------------------------------------------------------------------------------------

std::string System::describe(const Move& move) const {
    constexpr std::array<const char*, 9> kSteps = {
        "receives",      "join timer", "vector join timer", "leave timer",      "sends a LeaveAll",
        "applies pairs", "tick",       "begins to declare", "ceases to declare"};
    if (move.step == Step::Tick)
        return "-- " + std::to_string(kTickMs) + " ms";
    std::string text = "station " + std::to_string(move.station) + " port " +
                       std::to_string(move.port + 1) + ": " +
                       (move.lost ? "loses" : kSteps[static_cast<std::size_t>(move.step)]);
    if (move.step == Step::Deliver)
        text += " " + frames_->describe(move.frame);
    if (move.kind == Kindred::Duplicate)
        text += ", which will arrive again";
    return text;
}

std::string System::describe(const Joint& joint) const {
    std::string text;
    for (u32 i = 0; i < stations_.size(); ++i) {
        const StationState& at = state(joint, i);
        text += (i == 0 ? "[" : " | ") + std::string(wants(joint, i) ? "wants" : "-");
        for (u32 p = 0; p < stations_[i]->ports(); ++p) {
            const PortState& each = at.ports[p];
            char line[64];
            std::snprintf(line, sizeof(line), " %02x/%02x n%u j%d v%d l%d%s", each.machine,
                          each.flag, each.sent, each.join - 1, each.vectorJoin - 1, each.leave - 1,
                          each.pair != 0 ? " pair" : "");
            text += line;
        }
    }
    return text + "]";
}

std::size_t System::stationStates() const {
    std::size_t sum = 0;
    for (const auto& station : stations_)
        sum += station->stateCount();
    return sum;
}

}  // namespace exhaustive
