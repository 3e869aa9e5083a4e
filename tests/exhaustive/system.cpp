// SPDX-License-Identifier: MIT
#include "tests/exhaustive/system.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <tuple>

namespace exhaustive {
namespace {

/// In place of a station: every one.
constexpr u32 kAll = kMostStations;

/// From this age on a declaration is living: every frame that tells of it has arrived. A frame is
/// on its way for less than two ticks, over at most two cables.
constexpr u8 kLivingAge = 5;

}  // namespace

System::System(const Setup& setup, const std::vector<Kind>& kinds, std::vector<Cable> cables)
    : frames_(std::make_unique<FrameBook>()), cables_(std::move(cables)) {
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        const auto same =
            std::find(kinds.begin(), kinds.begin() + static_cast<std::ptrdiff_t>(i), kinds[i]) -
            kinds.begin();
        stations_.push_back(static_cast<std::size_t>(same) < i
                                ? stations_[static_cast<std::size_t>(same)]
                                : std::make_shared<Station>(setup, kinds[i], frames_.get()));
    }
    isStar_ = stations_[0]->ports() > 1;
    isEven_ = !isStar_ && stations_[0] == stations_[1];
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

/// Whether a station declares the VLAN to its neighbours: a quiet one does when it has registered
/// it itself.
bool System::tells(const Joint& joint, u32 station) const {
    const Station& it = *stations_[station];
    return wants(joint, station) &&
           (!it.isQuiet() || it.isStatic() || registered(state(joint, station).ports[0]));
}

/// Of the states that are alike, the one that is visited.
void System::order(Joint* joint) {
    if (isEven_) {
        const auto end = [joint](u32 i) {
            return std::make_tuple(joint->stations[i], joint->queues[i], joint->queues[1 - i],
                                   joint->age[i], joint->leaveAlls >> i & 1U);
        };
        if (end(1) < end(0)) {
            std::swap(joint->stations[0], joint->stations[1]);
            std::swap(joint->queues[0], joint->queues[1]);
            std::swap(joint->age[0], joint->age[1]);
            joint->leaveAlls =
                static_cast<u8>((joint->leaveAlls & 1U) << 1U | (joint->leaveAlls >> 1U & 1U));
        }
    }
    if (!isStar_)
        return;
    const StationState& inner = state(*joint, 0);
    const auto less = [joint, &inner](std::size_t a, std::size_t b) {
        const auto arm = [joint](std::size_t c) {
            return std::make_tuple(joint->stations[c + 1], joint->queues[2 * c],
                                   joint->queues[2 * c + 1], joint->age[c + 1],
                                   joint->leaveAlls >> 2 * c & 3U);
        };
        const auto armA = arm(a);
        const auto armB = arm(b);
        return armA != armB ? armA < armB
                            : std::memcmp(&inner.ports[a], &inner.ports[b], sizeof(PortState)) < 0;
    };
    PortOrder ports = {0, 1, 2};
    std::sort(ports.begin(), ports.end(), less);
    if (ports == PortOrder{0, 1, 2})
        return;
    const Joint from = *joint;
    joint->stations[0] = stations_[0]->reordered(from.stations[0], ports);
    joint->leaveAlls = 0;
    for (std::size_t c = 0; c < ports.size(); ++c) {
        const std::size_t old = ports[c];
        joint->stations[c + 1] = from.stations[old + 1];
        joint->queues[2 * c] = from.queues[2 * old];
        joint->queues[2 * c + 1] = from.queues[2 * old + 1];
        joint->age[c + 1] = from.age[old + 1];
        joint->leaveAlls |= static_cast<u8>((from.leaveAlls >> 2 * old & 3U) << 2 * c);
    }
}

/// A rest ends an episode, and is long.
void System::visitNormal(Joint joint, const Freedom& freedom, const Move& move,
                         const Visit& visit) {
    for (u32 i = 0; i < stations_.size(); ++i)
        if (!tells(joint, i))
            joint.age[i] = 0;
    if (atRest(joint)) {
        joint.acts = 0;
        joint.faults = 0;
        if (!freedom.rounds && move.kind != Kindred::LeaveAll)
            joint.leaveAlls = 0;
        if (freedom.rounds && joint.leaveAlls == allEnds())
            joint.leaveAlls = 0;
        for (u32 i = 0; i < stations_.size(); ++i)
            joint.age[i] = tells(joint, i) ? kLivingAge : u8{0};
        if (joint.excused != 0 && disagreement(joint).empty())
            joint.excused = 0;
    }
    const Joint plain = joint;
    order(&joint);
    visit(joint, move, plain);
}

/// Puts what a station sent on its cables.
void System::sends(Joint* joint, u8 station, const Outcome& outcome) const {
    for (u32 i = 0; i < outcome.count; ++i) {
        for (std::size_t c = 0; c < cables_.size(); ++c) {
            for (u32 end = 0; end < 2; ++end) {
                const End& from = cables_[c].ends[end];
                if (from.station != station || from.port != outcome.sent[i].port)
                    continue;
                Queue& queue = joint->queues[c * 2 + end];
                if (queue.count == kMostQueued) {
                    std::fprintf(stderr,
                                 "exhaustive: more frames on their way than there is room for\n");
                    std::abort();
                }
                queue.frames[queue.count++] = outcome.sent[i].frame;
            }
        }
    }
}

/// Whether a timer of a station is due: it runs before the station reads what arrived.
bool System::due(const Joint& joint, u32 station) const {
    const auto& ports = state(joint, station).ports;
    return std::any_of(ports.begin(), ports.end(), [](const PortState& at) {
        return at.join == 1 || at.vectorJoin == 1 || at.leave == 1;
    });
}

void System::step(const Joint& joint, const Freedom& freedom, Move move, const Visit& visit) {
    const Outcome outcome = stations_[move.station]->apply(joint.stations[move.station], move.step,
                                                           move.port, move.frame);
    Joint next = joint;
    next.stations[move.station] = outcome.state;
    sends(&next, move.station, outcome);
    visitNormal(next, freedom, move, visit);
}

void System::deliveries(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit) {
    const bool disturbed = freedom.allowsFault(joint);
    for (std::size_t q = 0; q < cables_.size() * 2; ++q) {
        const Queue& queue = joint.queues[q];
        if (queue.count == 0 || (queue.frames[0] & kHeld) != 0)
            continue;
        const End to = cables_[q / 2].ends[1 - q % 2];
        const u8 frame = static_cast<u8>(queue.frames[0] & ~kOld);
        if (due(joint, to.station) || (only != kAll && only != to.station))
            continue;
        if (freedom.transit && stations_[to.station]->ports() == 1 &&
            (queue.frames[0] & kOld) == 0) {
            Joint held = joint;
            held.queues[q].frames[0] |= kHeld;
            visitNormal(held, freedom,
                        {Kindred::Protocol, Step::Hold, to.station, to.port, frame, false}, visit);
        }
        Joint taken = joint;
        Queue& rest = taken.queues[q];
        std::copy(rest.frames.begin() + 1, rest.frames.end(), rest.frames.begin());
        rest.frames[kMostQueued - 1] = 0;
        --rest.count;
        if (frames_->isLeaveAll(frame))
            taken.leaveAlls |= static_cast<u8>(1U << (q ^ 1U));
        step(taken, freedom, {Kindred::Protocol, Step::Deliver, to.station, to.port, frame, false},
             visit);
        if (!disturbed)
            continue;
        ++taken.faults;
        Joint lost = taken;
        lost.leaveAlls = joint.leaveAlls;
        if (freedom.losses)
            visitNormal(lost, freedom,
                        {Kindred::Loss, Step::Deliver, to.station, to.port, frame, true}, visit);
        if (freedom.duplicates) {
            Joint kept = joint;
            kept.leaveAlls = taken.leaveAlls;
            ++kept.faults;
            step(kept, freedom,
                 {Kindred::Duplicate, Step::Deliver, to.station, to.port, frame, false}, visit);
        }
    }
}

void System::timers(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit) {
    for (std::size_t index = 0; index < stations_.size(); ++index) {
        const u8 i = static_cast<u8>(index);
        if (only != kAll && only != i)
            continue;
        bool pairs = false;
        const auto run = [&](Step which, u8 port) {
            step(joint, freedom, {Kindred::Protocol, which, i, port, 0, false}, visit);
        };
        for (u32 slot = 0; slot < stations_[i]->ports(); ++slot) {
            const u8 p = static_cast<u8>(slot);
            const PortState& at = state(joint, i).ports[p];
            pairs = pairs || at.pair != 0;
            if (at.join == 1)
                run(Step::Join, p);
            if (at.vectorJoin == 1)
                run(Step::VectorJoin, p);
            if (at.leave == 1)
                run(Step::Leave, p);
        }
        if (pairs)
            run(Step::Apply, 0);
    }
}

void System::changes(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit) {
    if (!freedom.changes || !freedom.allowsAct(joint))
        return;
    for (std::size_t index = 0; index < stations_.size(); ++index) {
        const u8 i = static_cast<u8>(index);
        // A station of several ports is a switch, inside of which there is nobody.
        if ((only != kAll && only != i) || stations_[i]->isStatic() || stations_[i]->ports() != 1 ||
            due(joint, i))
            continue;
        Joint changed = joint;
        ++changed.acts;
        changed.age[i] = 0;
        const Step change = state(joint, i).wants != 0 ? Step::Unwant : Step::Want;
        step(changed, freedom, {Kindred::Change, change, i, 0, 0, false}, visit);
    }
}

void System::leaveAlls(const Joint& joint, const Freedom& freedom, u32 only, const Visit& visit) {
    if (!freedom.leaveAlls || (freedom.countsLeaveAlls && !freedom.allowsAct(joint)))
        return;
    for (u32 q = 0; q < cables_.size() * 2; ++q) {
        const u8 bit = static_cast<u8>(1U << q);
        const End& from = cables_[q / 2].ends[q % 2];
        if ((joint.leaveAlls & bit) != 0 || (only != kAll && only != from.station) ||
            !stations_[from.station]->sendsLeaveAlls())
            continue;
        Joint next = joint;
        next.leaveAlls |= bit;
        next.acts = static_cast<u8>(next.acts + (freedom.countsLeaveAlls ? 1 : 0));
        step(next, freedom, {Kindred::LeaveAll, Step::LeaveAll, from.station, from.port, 0, false},
             visit);
    }
}

/// The station whose turn it is, kAll when everybody may act: see moves().
u32 System::urgent(const Joint& joint, const Freedom& freedom) const {
    for (u32 i = 0; i < stations_.size(); ++i)
        if (due(joint, i))
            return i;
    for (u32 q = 0; q < cables_.size() * 2; ++q) {
        const u32 to = cables_[q / 2].ends[1 - q % 2].station;
        const Queue& queue = joint.queues[q];
        if (stations_[to]->ports() == 1 && queue.count != 0 &&
            (!freedom.transit || (queue.frames[0] & kHeld) == 0))
            return to;
    }
    return kAll;
}

void System::tick(const Joint& joint, const Freedom& freedom, const Visit& visit) {
    Joint next = joint;
    for (Queue& queue : next.queues) {
        for (u32 i = 0; i < queue.count; ++i) {
            if (!freedom.transit || (queue.frames[i] & kOld) != 0)
                return;
            queue.frames[i] = static_cast<u8>((queue.frames[i] & ~kHeld) | kOld);
        }
    }
    for (u32 i = 0; i < stations_.size(); ++i) {
        if (due(joint, i))
            return;
        for (const PortState& at : state(joint, i).ports)
            if (at.pair != 0)
                return;
        next.stations[i] = stations_[i]->apply(joint.stations[i], Step::Tick).state;
        if (tells(joint, i))
            next.age[i] = static_cast<u8>(std::min<u32>(next.age[i] + 1U, kLivingAge));
    }
    visitNormal(next, freedom, {Kindred::Protocol, Step::Tick, 0, 0, 0, false}, visit);
}

void System::moves(const Joint& joint, const Freedom& freedom, const Visit& visit) {
    const u32 only = urgent(joint, freedom);
    deliveries(joint, freedom, only, visit);
    timers(joint, freedom, only, visit);
    changes(joint, freedom, only, visit);
    leaveAlls(joint, freedom, only, visit);
    if (only == kAll && !atRest(joint))
        tick(joint, freedom, visit);
}

std::string System::withdrawal(const Joint& before, const Joint& after) const {
    for (std::size_t q = 0; q < cables_.size() * 2; ++q) {
        const End at = cables_[q / 2].ends[q % 2];
        if (!registered(port(before, at)) || registered(port(after, at)))
            continue;
        for (const u8 source : behind_[q / 2][q % 2])
            if (tells(after, source) && after.age[source] >= kLivingAge)
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
        const bool wanted = std::any_of(sources.begin(), sources.end(),
                                        [&](u8 source) { return wants(joint, source); });
        const bool declared = std::any_of(sources.begin(), sources.end(),
                                          [&](u8 source) { return tells(joint, source); });
        const PortState& here = port(joint, at);
        const std::string where =
            "station " + std::to_string(at.station) + " port " + std::to_string(at.port + 1);
        // What a quiet station has not registered it says once, when it begins, and no more.
        const bool maybe = wanted && !declared && registered(here);
        const bool expected = (declared || maybe) && !stations_[at.station]->isStatic();
        if (registered(here) != expected)
            return where + (declared ? " has not registered what is declared behind it"
                                     : " has registered what nobody behind it declares");
        if ((here.member != 0) != expected)
            return where + " is a member of other than what it has registered";
        if (declares(port(joint, cables_[q / 2].ends[1 - q % 2])) != wanted)
            return where + " is told other than what is declared behind it";
    }
    return "";
}

// For people -------------------------------------------------------------------------------------

std::string System::describe(const Move& move) const {
    constexpr std::array<const char*, 10> kSteps = {"receives",
                                                    "join timer",
                                                    "vector join timer",
                                                    "leave timer",
                                                    "sends a LeaveAll",
                                                    "applies pairs",
                                                    "tick",
                                                    "begins to declare",
                                                    "ceases to declare",
                                                    "does not have yet"};
    if (move.step == Step::Tick)
        return "-- " + std::to_string(kTickMs) + " ms";
    std::string text = "station " + std::to_string(move.station) + " port " +
                       std::to_string(move.port + 1) + ": " +
                       (move.lost ? "loses" : kSteps[static_cast<std::size_t>(move.step)]);
    if (move.step == Step::Deliver || move.step == Step::Hold)
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
