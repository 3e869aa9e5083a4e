// SPDX-License-Identifier: MIT
#include "tests/exhaustive/station.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <type_traits>

#include "daemon/db/port_vlan.h"
#include "daemon/fsm/machines.h"
#include "daemon/map/propagate.h"
#include "daemon/mgmt/config.h"
#include "daemon/pdu/gvrp_format.h"
#include "daemon/pdu/receive.h"
#include "daemon/pdu/vector.h"
#include "daemon/timers/pending.h"
#include "daemon/timers/protocol_timers.h"
#include "platform/contract/qor_vlan.h"

namespace exhaustive {
namespace {

constexpr u32 kVid = 10;
constexpr u32 kVidIndex = kVid - 1;

constexpr u32 kJoinMs = 200;
constexpr u32 kLeaveMs = 600;
constexpr u32 kLeaveAllMs = 10000;

/// In front of the PDU: Ethernet header and LLC, with SNAP in an MVRP frame.
constexpr std::size_t kMvrpHeader = 22;
constexpr std::size_t kGvrpHeader = 17;

/// A machine that somebody inside has registered: as reception leaves it, with nothing to declare.
constexpr u8 kWantedMachine = 0x02;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "exhaustive: %s\n", what);
    std::abort();
}

void require(bool good, const char* what) {
    if (!good)
        fail(what);
}

void setScalar(u32 attribute, u32 value) {
    require(mvrpScalarSetApi(0, attribute, &value) == kStatusOk, "a global setting is refused");
}

void setPort(u32 unit, u32 attribute, u32 value) {
    require(mvrpPortSetApi(unit, attribute, &value) == kStatusOk, "a port's setting is refused");
}

u8 ticksOf(SilTimerNode* timer) {
    if (timer->position == 0)
        return 0;
    const u32 ms = silTimerRemain(&gMvrpInfo.timerList, timer);
    require(ms % kTickMs == 0, "a duration is not a multiple of the tick");
    return static_cast<u8>(ms / kTickMs + 1);
}

void restart(MvrpPortEntry* port, SilTimerNode* timer, u8 ticks, SilTimerHandler handler) {
    silTimerStop(&gMvrpInfo.timerList, timer);
    if (ticks != 0)
        mvrpPortTimerRestart(port, timer, (ticks - 1U) * kTickMs, handler);
}

void fire(SilTimerNode* timer) {
    const SilTimerHandler handler = timer->handler;
    void* port = timer->argument;
    silTimerStop(&gMvrpInfo.timerList, timer);
    handler(port);
}

}  // namespace

// Frames -----------------------------------------------------------------------------------------

u8 FrameBook::number(const std::vector<u8>& pdu, bool gvrp) {
    constexpr std::size_t kMost = 63;  // above are bits of a frame on its way
    const auto found = std::find(pdus_.begin(), pdus_.end(), pdu);
    if (found != pdus_.end())
        return static_cast<u8>(found - pdus_.begin());
    require(pdus_.size() < kMost, "more kinds of frames than were thought of");
    pdus_.push_back(pdu);
    constexpr std::size_t kBodyBegin = 3;
    leaveAlls_.push_back(gvrp ? pdu[kBodyBegin] == kGvrpLeaveAllBytes
                              : (pdu[kBodyBegin] & kMvrpLeaveAllBit >> 8U) != 0);
    return static_cast<u8>(pdus_.size() - 1);
}

bool FrameBook::isLeaveAll(u8 frame) const {
    return leaveAlls_[frame];
}

std::string FrameBook::describe(u8 frame) const {
    std::string text;
    for (const u8 byte : pdus_[frame]) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 15U];
    }
    return text;
}

// The daemon -------------------------------------------------------------------------------------

Station::Station(const Setup& setup, const Kind& kind, FrameBook* frames)
    : setup_(setup), kind_(kind), frames_(frames) {
    auto& state = host_.switchState;
    state.standbyAnswer = kStatusFailed;
    host_.corrections = setup.corrections;
    if (kind.isStatic)
        state.vlanTypes.set(kVid, static_cast<u32>(QorVlanType::Static));
    const u32 inside = kind.ports + 1;
    for (u32 unit = 1; unit <= inside; ++unit) {
        auto& port = state.addPort(unit);
        port.permitted.set(kVid);
        port.tagged.set(kVid);
    }
    host_.options["mvrp.maxifnum"] = std::to_string(inside);
    host_.options.insert_or_assign("mvrp.maxvlannumperif", std::to_string(kMostPorts + 1));
    host_.onSend = [this](u32 unit, bool gvrp, const std::vector<u8>& frame) {
        if (unit > kind_.ports)
            return;
        const auto header = static_cast<std::ptrdiff_t>(gvrp ? kGvrpHeader : kMvrpHeader);
        const std::vector<u8> pdu(frame.begin() + header, frame.end());
        sent_.push_back({static_cast<u8>(unit - 1), frames_->number(pdu, gvrp)});
    };
    scenario::bindScenarioHost(&host_);
    gMvrpInfo = MvrpInfo{};
    require(scenario::startDaemon(host_) == kStatusOk, "the daemon does not start");
    setScalar(MVRP_SCALAR_ENABLE, MVRP_ON);
    if (setup.gvrp)
        setScalar(MVRP_SCALAR_GVRP_COMPLIANCE, MVRP_ON);
    for (u32 unit = 1; unit <= inside; ++unit) {
        setPort(unit, MVRP_PORT_ENABLE, MVRP_ON);
        setPort(unit, MVRP_PORT_JOIN_TIMEOUT, kJoinMs);
        setPort(unit, MVRP_PORT_LEAVE_TIMEOUT, kLeaveMs);
        setPort(unit, MVRP_PORT_LEAVE_ALL_TIMEOUT, kLeaveAllMs);
        setPort(unit, MVRP_PORT_PARTICIPANT_MODE, kind.participant);
        mvrpPortTimersStop(mvrpPortEntryGet(unit));
    }
    // Whoever is inside registers and declares nothing itself.
    setPort(inside, MVRP_PORT_REGISTRATION_MODE, MVRP_REGISTRATION_FIXED);
    mvrpPortTimersStop(mvrpPortEntryGet(inside));
    gMvrpInfo.debug = 0;
    initial_ = intern(save());
    unbind();
    // Its first declarations.
    const StationState start = states_[initial_];
    StationState armed = start;
    for (u32 port = 0; port < kind.ports; ++port) {
        armed.ports[port].joinFlag = MVRP_JOIN_FULL;
        armed.ports[port].join = 1 + kJoinMs / kTickMs;
        armed.ports[port].sent = 0;
    }
    initial_ = intern(armed);
}

Station::~Station() {
    bind();
    scenario::resetDaemon(host_);
    unbind();
}

void Station::bind() {
    scenario::bindScenarioHost(&host_);
    gMvrpInfo = record_;
}

void Station::unbind() {
    record_ = gMvrpInfo;
    gMvrpInfo = MvrpInfo{};
    scenario::bindScenarioHost(nullptr);
}

MvrpPortEntry* Station::entry(u32 port) const {
    return mvrpPortEntryGet(port + 1);
}

MvrpPortEntry* Station::inside() const {
    return mvrpPortEntryGet(kind_.ports + 1);
}

void Station::load(const StationState& state) {
    auto& kept = host_.switchState;
    kept.vlanTypes.set(kVid, state.vlan == 0 ? std::nullopt : std::optional<u32>(state.vlan));
    for (u32 i = 0; i < kind_.ports; ++i) {
        const PortState& from = state.ports[i];
        MvrpPortEntry* port = entry(i);
        port->madMachine[kVidIndex] = from.machine;
        port->vlanFlag[kVidIndex] = from.flag;
        port->msgNum = from.sent;
        port->joinTimerFlag = from.joinFlag;
        port->peerMode = from.peerMode != 0 ? 1 : 0;
        restart(port, &port->joinTimer, from.join, mvrpJoinTimerHandler);
        restart(port, &port->vectorJoinTimer, from.vectorJoin, mvrpJoinTimerHandler);
        restart(port, &port->leaveTimer, from.leave,
                from.leaveSends != 0 ? mvrpSendTimerHandler : mvrpLeaveTimerHandler);
        silTimerStop(&gMvrpInfo.timerList, &port->leaveAllTimer);
        if (from.pair != 0)
            mvrpPortVlanEntryEnsure(i + 1, kVid);
        else
            mvrpPortVlanEntryDel(i + 1, kVid);
        kept.findPort(i + 1)->dynamic.set(kVid, from.member != 0);
    }
    wants_ = state.wants;
    MvrpPortEntry* port = inside();
    port->madMachine[kVidIndex] = wants_ != 0 ? kWantedMachine : u8{0};
    port->vlanFlag[kVidIndex] = 0;
    if (wants_ != 0)
        mvrpBitSet(&port->vlanFlag[kVidIndex], MVRP_FLAG_APPLIED);
    kept.findPort(kind_.ports + 1)->dynamic.set(kVid, wants_ != 0);
    gMvrpInfo.pendingGaveWay = false;
}

StationState Station::save() {
    StationState state = {};
    auto& kept = host_.switchState;
    state.vlan = static_cast<u8>(kept.vlanTypes[kVid].value_or(0));
    for (u32 i = 0; i < kind_.ports; ++i) {
        PortState& to = state.ports[i];
        MvrpPortEntry* port = entry(i);
        to.machine = port->madMachine[kVidIndex];
        to.flag = port->vlanFlag[kVidIndex];
        to.sent = std::min(port->msgNum, kMvrpJoinRepeats);
        to.join = ticksOf(&port->joinTimer);
        to.vectorJoin = ticksOf(&port->vectorJoinTimer);
        to.leave = ticksOf(&port->leaveTimer);
        to.leaveSends = to.leave != 0 && port->leaveTimer.handler == mvrpSendTimerHandler ? 1 : 0;
        // What an idle timer would send is set again by whoever arms it, but for the vector's.
        to.joinFlag = port->joinTimerFlag;
        to.pair = mvrpPortVlanEntryGet(i + 1, kVid) ? 1 : 0;
        to.member = kept.findPort(i + 1)->dynamic.test(kVid) ? 1 : 0;
        to.peerMode = port->peerMode;
    }
    state.wants = wants_;
    return state;
}

/// Somebody inside declares the VLAN, or withdraws it: what the daemon does when a port behind
/// which he stands registers it, and when its leave timer ends that.
void Station::want(bool wants) {
    MvrpPortEntry* port = inside();
    auto& kept = host_.switchState;
    const auto& vlan = kept.vlanTypes[kVid];
    wants_ = wants ? 1 : 0;
    u8* machine = &port->madMachine[kVidIndex];
    u8* flag = &port->vlanFlag[kVidIndex];
    if (wants) {
        *machine = kWantedMachine;
        mvrpBitSet(flag, MVRP_FLAG_APPLIED);
        kept.findPort(port->portunit)->dynamic.set(kVid);
        if (!vlan.has_value())
            kept.vlanTypes.set(kVid, static_cast<u32>(QorVlanType::Dynamic));
        mvrpMapPropagateJoin(kVid, port);
        mvrpMapPropagateJoinMsgSend(port);
        return;
    }
    mvrpMapPropagateLeave(kVid, port);
    *machine = 0;
    *flag = 0;
    kept.findPort(port->portunit)->dynamic.reset(kVid);
    bool needed = vlan != static_cast<u32>(QorVlanType::Dynamic);
    for (u32 unit = 1; unit <= kind_.ports; ++unit)
        needed = needed || kept.findPort(unit)->dynamic.test(kVid);
    if (!needed)
        kept.vlanTypes.set(kVid, std::nullopt);
    mvrpMapPropagateLeaveMsgSend(port);
}

void Station::act(Step step, u32 port, u8 frame) {
    MvrpPortEntry* at = port < kind_.ports ? entry(port) : nullptr;
    switch (step) {
        case Step::Deliver: {
            const std::vector<u8>& pdu = frames_->pdu(frame);
            at->peerMode = setup_.gvrp ? 0 : 1;
            mvrpPktProcess(at, pdu.data(), static_cast<s32>(pdu.size()));
            break;
        }
        case Step::Join:
            fire(&at->joinTimer);
            break;
        case Step::VectorJoin:
            fire(&at->vectorJoinTimer);
            break;
        case Step::Leave:
            fire(&at->leaveTimer);
            break;
        case Step::LeaveAll:
            mvrpLeaveallTimerHandler(at);
            break;
        case Step::Apply:
            mvrpPendingTimerHandler(nullptr);
            break;
        case Step::Want:
            want(true);
            break;
        case Step::Unwant:
            want(false);
            break;
        case Step::Tick:
        case Step::Hold:
            break;
    }
}

// States -----------------------------------------------------------------------------------------

u32 Station::intern(const StationState& state) {
    static_assert(std::has_unique_object_representations_v<StationState>);
    const std::string_view bytes(reinterpret_cast<const char*>(&state), sizeof(state));
    const auto [place, fresh] =
        index_.try_emplace(std::string(bytes), static_cast<u32>(states_.size()));
    if (fresh)
        states_.push_back(state);
    return place->second;
}

/// Asks the daemon.
Outcome Station::ask(const StationState& state, Step step, u32 port, u8 frame,
                     StationState* after) {
    Outcome outcome = {};
    bind();
    load(state);
    sent_.clear();
    act(step, port, frame);
    *after = save();
    unbind();
    require(sent_.size() <= outcome.sent.size(), "more frames at once than were thought of");
    // What leaves by one port keeps its order; between ports there is none.
    std::stable_sort(sent_.begin(), sent_.end(),
                     [](const SentFrame& a, const SentFrame& b) { return a.port < b.port; });
    outcome.count = static_cast<u32>(sent_.size());
    std::copy(sent_.begin(), sent_.end(), outcome.sent.begin());
    return outcome;
}

/// That the outcome is the same with the ports in any other order.
void Station::requireAlike(const StationState& state, const StationState& after,
                           const Outcome& outcome, Step step, u32 port, u8 frame) {
    PortOrder order = {0, 1, 2};
    while (std::next_permutation(order.begin(), order.begin() + kind_.ports)) {
        StationState turned = state;
        StationState expected = after;
        std::vector<SentFrame> sent;
        u32 place = port;
        for (u32 i = 0; i < kind_.ports; ++i) {
            turned.ports[i] = state.ports[order[i]];
            expected.ports[i] = after.ports[order[i]];
            place = order[i] == port ? i : place;
            for (u32 each = 0; each < outcome.count; ++each)
                if (outcome.sent[each].port == order[i])
                    sent.push_back({static_cast<u8>(i), outcome.sent[each].frame});
        }
        StationState found = {};
        const Outcome other = ask(turned, step, place, frame, &found);
        bool alike = found == expected && other.count == sent.size();
        for (u32 each = 0; alike && each < other.count; ++each)
            alike = other.sent[each].port == sent[each].port &&
                    other.sent[each].frame == sent[each].frame;
        require(alike, "the ports of a switch are not alike");
    }
}

const Outcome& Station::apply(u32 state, Step step, u32 port, u8 frame) {
    const u64 key = u64{state} << 24U | u64{static_cast<u8>(step)} << 16U | port << 8U | frame;
    const auto found = known_.find(key);
    if (found != known_.end())
        return found->second;
    Outcome outcome = {};
    StationState after = states_[state];
    if (step == Step::Tick) {
        for (PortState& each : after.ports)
            for (u8* timer : {&each.join, &each.vectorJoin, &each.leave})
                *timer = static_cast<u8>(*timer > 1 ? *timer - 1 : *timer);
    } else {
        const StationState before = after;
        outcome = ask(before, step, port, frame, &after);
        requireAlike(before, after, outcome, step, port, frame);
    }
    outcome.state = intern(after);
    return known_.emplace(key, outcome).first->second;
}

u32 Station::reordered(u32 state, const PortOrder& order) {
    const u64 key = u64{state} << 24U | u64{order[0]} << 16U | u64{order[1]} << 8U | order[2];
    const auto [place, fresh] = reordered_.try_emplace(key, 0);
    if (fresh) {
        StationState turned = states_[state];
        for (u32 i = 0; i < kind_.ports; ++i)
            turned.ports[i] = states_[state].ports[order[i]];
        place->second = intern(turned);
    }
    return place->second;
}

bool registered(const PortState& port) {
    return mvrpRegisteredHere(port.machine);
}

bool declares(const PortState& port) {
    return mvrpBitTest(&port.machine, MVRP_PROPAGATE_BIT) != 0 ||
           mvrpRegistrar(port.machine) == REG_STATE_INF;
}

bool silent(const PortState& port) {
    const u32 applicant = mvrpApplicant(port.machine);
    const bool anxious = applicant == APP_STATE_AA || applicant == APP_STATE_AP;
    return declares(port) && anxious && port.join == 0 && port.vectorJoin == 0;
}

bool leaving(const PortState& port) {
    return registered(port) && mvrpRegistrar(port.machine) == REG_STATE_LV;
}

bool resting(const StationState& state) {
    return std::all_of(state.ports.begin(), state.ports.end(), [](const PortState& port) {
        return port.join == 0 && port.vectorJoin == 0 && port.leave == 0 && port.pair == 0;
    });
}

}  // namespace exhaustive
