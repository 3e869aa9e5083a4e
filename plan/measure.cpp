// SPDX-License-Identifier: MIT
#include "plan/measure.h"

#include <sys/resource.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "daemon/mgmt/config.h"
#include "platform/contract/management.h"
#include "platform/contract/qor_vlan.h"
#include "platform/virtual/network/network.h"
#include "platform/virtual/network/platform_events.h"

namespace plan {
namespace {

using scenario::VlanSet;
using simulation::Network;
using simulation::Node;
using simulation::PortEnd;

constexpr u32 kFirstMeasured = 2;
constexpr u64 kSettleMs = 30'000;  // until what the start sends has come and gone
constexpr u64 kSliceMs = 50;       // between two looks whether a phase has ended
constexpr u64 kJoinPatienceMs = 600'000;

/// Set operations of the engine on the file's bitmaps.
VlanSet setOf(const platform::VlanBitmap& bitmap) {
    return scenario::vlanSetOf(bitmap);
}

VlanSet staticAnywhere(const Layout& layout) {
    VlanSet set;
    for (const auto& vlans : layout.staticVlans)
        set |= setOf(vlans);
    return set;
}

/// The network of a layout while it is measured.
class Lab {
  public:
    Lab(const Layout& layout, const Request& request);

    u32 diameter() const { return simulation::longestWay(network_); }
    u32 portCount() const { return ports_; }
    u32 origin() const { return origin_; }
    u64 daemonBytes() const;

    Phase join();
    Phase rest(u64 ms);
    Phase leave();

  private:
    struct Sent {
        u64 frames = 0;
        u64 bytes = 0;
    };

    void build(const Layout& layout, const Request& request);
    void setPorts(const Layout& layout, std::vector<u32> ports);
    void findOrigin();
    void look(const Node& node);
    template <typename Change>
    Phase runUntil(const VlanSet& wanted, u64 patienceMs, Change change);
    void forgetSent();
    Traffic traffic() const;

    Network network_;
    VlanSet vlans_;
    u32 ports_ = 0;
    u32 origin_ = 0;
    std::vector<std::vector<PortEnd>> far_;  // by switch and unit - 1: the cable's other end
    std::vector<u32> towards_;               // by switch: its port to the origin; 0: the origin
    std::vector<u32> leaveAllMs_;
    u64 leaveMs_ = kMvrpLeaveTime.initial;
    u64 leaveAllMost_ = kMvrpLeaveAllTime.initial;

    // Of the phase that runs:
    VlanSet wanted_;
    std::vector<bool> done_;
    u32 left_ = 0;  // switches that are not there yet
    u64 endedMs_ = 0;
    std::vector<std::vector<Sent>> sent_;  // by switch and unit
};

Lab::Lab(const Layout& layout, const Request& request)
    : network_(1, layout.corrections.value_or(CorrectionSet{})) {
    const VlanSet taken = staticAnywhere(layout);
    for (u32 vid = kFirstMeasured; vlans_.count() < request.vlans; vid++)
        if (!taken.test(vid))
            vlans_.set(vid);
    build(layout, request);
    findOrigin();
    network_.run(kSettleMs);
    network_.setObserver([this](const Node& node) { look(node); });
}

void applyTimers(u32 unit, const Timers& timers) {
    if (simulation::setTimes(unit, {timers.joinMs, timers.leaveMs, timers.leaveAllMs}) != kStatusOk)
        throw std::logic_error("the daemon refuses the times of port " + std::to_string(unit));
}

/// Puts ports and VLANs into a switch before its daemon starts.
void equip(Node& node, u32 ports, const VlanSet& staticVlans) {
    auto& state = node.host.switchState;
    state.vlanTypes.set(kMvrpDefaultVlan, static_cast<u32>(QorVlanType::Static));
    for (u32 vid = kFirstMeasured; vid < kMvrpVlanLast; vid++)
        if (staticVlans.test(vid))
            state.vlanTypes.set(vid, static_cast<u32>(QorVlanType::Static));
    for (u32 unit = 1; unit <= ports; unit++) {
        auto& port = state.addPort(unit);
        for (u32 vid = kMvrpVlanFirst; vid < kMvrpVlanLast; vid++)
            port.permitted.set(vid);
        port.tagged = port.permitted;
        port.tagged.reset(port.pvid);
        node.wanted[unit] = true;
    }
    node.host.options["mvrp.maxifnum"] = std::to_string(ports + 1);
}

void Lab::build(const Layout& layout, const Request& request) {
    const auto count = static_cast<u32>(layout.names.size());
    std::vector<u32> used(count, 0);
    std::vector<std::vector<Timers>> timers(count);
    far_.resize(count);
    sent_.resize(count);
    for (u32 index = 0; index < count; index++)
        network_.addNode();
    for (const Cable& cable : layout.cables) {
        const auto [a, b] = cable.ends;
        network_.addCable({a, ++used[a]}, {b, ++used[b]}, request.delayMs);
        far_[a].push_back({b, used[b]});
        far_[b].push_back({a, used[a]});
        for (const u32 end : cable.ends)
            timers[end].push_back(cable.timers.over(layout.timers));
    }
    for (u32 index = 0; index < count; index++) {
        Node& node = network_.node(index);
        const u32 ports = std::max(used[index], layout.leastPorts);
        ports_ += ports;
        sent_[index].resize(ports + 1);
        timers[index].resize(ports, layout.timers);
        equip(node, ports, setOf(layout.staticVlans[index]));
        network_.act(index, [&] {
            startDaemonOf(node);
            for (u32 unit = 1; unit <= ports; unit++)
                applyTimers(unit, timers[index][unit - 1]);
        });
        for (const Timers& port : timers[index]) {
            leaveMs_ = std::max<u64>(leaveMs_, port.leaveMs.value_or(0));
            leaveAllMost_ = std::max<u64>(leaveAllMost_, port.leaveAllMs.value_or(0));
        }
    }
}

/// The origin is an end of the longest way; every other switch gets to know its port to it.
void Lab::findOrigin() {
    const auto search = [this](u32 start) {
        towards_.assign(far_.size(), 0);
        std::vector<u32> order = {start};
        for (std::size_t at = 0; at < order.size(); at++)
            for (const PortEnd& end : far_[order[at]])
                if (end.node != start && towards_[end.node] == 0) {
                    towards_[end.node] = end.unit;
                    order.push_back(end.node);
                }
        return order.back();
    };
    origin_ = search(0);
    search(origin_);
}

void Lab::look(const Node& node) {
    for (const auto& frame : node.sent) {
        Sent& sent = sent_[node.index][frame.unit];
        sent.frames++;
        sent.bytes += frame.bytes.size();
    }
    if (done_.empty() || done_[node.index])
        return;
    const VlanSet& member = node.host.switchState.ports.at(towards_[node.index]).dynamic;
    if ((member & vlans_) != wanted_)
        return;
    done_[node.index] = true;
    if (--left_ == 0)
        endedMs_ = network_.nowMs();
}

void Lab::forgetSent() {
    for (auto& ports : sent_)
        ports.assign(ports.size(), {});
}

Traffic Lab::traffic() const {
    Traffic sum;
    for (const auto& ports : sent_)
        for (const Sent& sent : ports) {
            sum.frames += sent.frames;
            sum.bytes += sent.bytes;
            sum.mostFrames = std::max(sum.mostFrames, sent.frames);
            sum.mostBytes = std::max(sum.mostBytes, sent.bytes);
        }
    return sum;
}

/// Makes a change on the origin and runs until each other switch is a member of `wanted`, of the
/// measured VLANs, on its port to the origin.
template <typename Change>
Phase Lab::runUntil(const VlanSet& wanted, u64 patienceMs, Change change) {
    const u64 begunMs = network_.nowMs();
    wanted_ = wanted;
    done_.assign(far_.size(), false);
    done_[origin_] = true;
    left_ = static_cast<u32>(far_.size()) - 1;
    forgetSent();
    network_.act(origin_, change);
    while (left_ != 0 && network_.nowMs() < begunMs + patienceMs && network_.run(kSliceMs)) {
    }
    Phase phase{left_ == 0, (left_ == 0 ? endedMs_ : network_.nowMs()) - begunMs, traffic()};
    done_.clear();
    return phase;
}

Phase Lab::join() {
    return runUntil(vlans_, kJoinPatienceMs, [this] {
        for (u32 vid = kFirstMeasured; vid < kMvrpVlanLast; vid++)
            if (vlans_.test(vid))
                makeVlanStatic(network_.node(origin_), vid);
    });
}

Phase Lab::rest(u64 ms) {
    forgetSent();
    const bool ended = network_.run(ms);
    return {ended, ms, traffic()};
}

Phase Lab::leave() {
    const u64 patienceMs = 2 * leaveAllMost_ + (leaveMs_ + 10'000) * (diameter() + 1);
    return runUntil(VlanSet(), patienceMs, [this] {
        for (u32 vid = kFirstMeasured; vid < kMvrpVlanLast; vid++)
            if (vlans_.test(vid))
                deleteVlan(network_.node(origin_), vid);
    });
}

u64 Lab::daemonBytes() const {
    constexpr u64 kTimerBytes = 24;  // of an entry of the timer list
    u64 most = 0;
    for (const auto& node : network_.nodes()) {
        const MvrpInfo& info = node->record;
        most = std::max(most, u64{info.portPool.itemSize} * info.portPool.untouched +
                                  u64{info.vlanPool.itemSize} * info.vlanPool.untouched +
                                  kTimerBytes * info.timerList.capacity);
    }
    return most;
}

u64 processBytes() {
    constexpr u64 kUnit = 1024;
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<u64>(usage.ru_maxrss) * kUnit;
}

}  // namespace

u32 freeVlans(const Layout& layout) {
    const VlanSet taken = staticAnywhere(layout);
    u32 count = 0;
    for (u32 vid = kFirstMeasured; vid < kMvrpVlanLast; vid++)
        count += taken.test(vid) ? 0 : 1;
    return count;
}

Measurement measure(const Layout& layout, const Request& request, const Watcher& watch) {
    Lab lab(layout, request);
    Measurement result;
    result.switches = static_cast<u32>(layout.names.size());
    result.ports = lab.portCount();
    result.diameter = lab.diameter();
    result.vlans = request.vlans;
    result.origin = layout.names[lab.origin()];
    watch(Stage::Begun, result);
    result.join = lab.join();
    watch(Stage::Joined, result);
    const u64 restMs =
        request.restMs.value_or(layout.timers.leaveAllMs.value_or(kMvrpLeaveAllTime.initial));
    if (restMs != 0) {
        result.rest = lab.rest(restMs);
        watch(Stage::Rested, result);
    }
    result.leave = lab.leave();
    result.daemonBytes = lab.daemonBytes();
    result.processBytes = processBytes();
    watch(Stage::Left, result);
    return result;
}

}  // namespace plan
