// SPDX-License-Identifier: MIT
//
// Targets that reach the daemon: its sockets, its packets from the active card, scenarios, and
// everything in turns. Each input meets a daemon that was just started, with three ports.
#include <algorithm>
#include <cstring>
#include <functional>
#include <sstream>
#include <string_view>

#include "daemon/db/port.h"
#include "daemon/mgmt/config.h"
#include "platform/containers/timer_heap.h"
#include "platform/contract/qor_vlan.h"
#include "platform/virtual/network/platform_events.h"
#include "platform/virtual/state/byte_order.h"
#include "platform/wire/adapter.h"
#include "tests/fuzz/targets.h"
#include "tests/scenario/lang/runner.h"
#include "tests/simulation/invariants.h"

namespace fuzz {
namespace {

using simulation::Network;
using simulation::Node;

constexpr u32 kPorts = 3;
constexpr u32 kLastPermitted = 40;
constexpr u32 kBatch = 3;  // VLANs of one run of the pending timer: several runs for a few

/// Takes an input apart; past its end everything is 0.
class Input {
  public:
    explicit Input(std::span<const u8> bytes) : left_(bytes) {}

    bool empty() const { return left_.empty(); }
    u8 byte() {
        const auto one = bytes(1);
        return one.empty() ? u8{0} : one[0];
    }
    std::span<const u8> bytes(std::size_t most) {
        const auto taken = left_.first(std::min(most, left_.size()));
        left_ = left_.subspan(taken.size());
        return taken;
    }
    std::span<const u8> rest() { return bytes(left_.size()); }

  private:
    std::span<const u8> left_;
};

void setUp(Network& network, CorrectionSet corrections = {}) {
    Node& node = network.addNode();
    node.host.corrections = corrections;
    auto& state = node.host.switchState;
    for (const u32 vid : {1U, 10U, 11U})
        state.vlanTypes.set(vid, static_cast<u32>(QorVlanType::Static));
    for (u32 unit = 1; unit <= kPorts; unit++) {
        auto& port = state.addPort(unit);
        for (u32 vid = 1; vid <= kLastPermitted; vid++)
            port.permitted.set(vid);
        port.tagged = port.permitted;
        node.wanted[unit] = true;
    }
    node.host.options["mvrp.maxifnum"] = std::to_string(kPorts + 1);
    node.host.options["mvrp.vlannumpertimes"] = std::to_string(kBatch);
    // As many pairs as there are permitted VLANs: room for all VLANs costs an input its time.
    node.host.options.insert_or_assign("mvrp.maxvlannumperif", std::to_string(kLastPermitted));
    network.act(0, [&node] { startDaemonOf(node); });
}

void check(Network& network) {
    const std::string problem = checkState(network);
    if (!problem.empty())
        fail(problem);
}

/// Everything that an input can leave behind in the daemon's ports: their machines and flags, the
/// pending pairs, and which timers run until when.
u64 fingerprint(Network& network) {
    const simulation::Turn turn(network.node(0), network.nowMs());
    u64 hash = gMvrpInfo.vlanEntryNum;
    const auto mix = [&hash](u64 value) { hash = hash * 0x9E3779B97F4A7C15U + value; };
    for (auto* port = mvrpPortEntryFirst(); port != nullptr; port = mvrpPortEntryNext(port)) {
        const std::string_view record(reinterpret_cast<const char*>(port), sizeof *port);
        mix(std::hash<std::string_view>()(record));
        for (auto node : {&MvrpPortEntry::joinTimer, &MvrpPortEntry::leaveTimer,
                          &MvrpPortEntry::vectorJoinTimer, &MvrpPortEntry::leaveAllTimer})
            if (platform::timerRunning(port->*node))
                mix(platform::timerHeapDue(gMvrpInfo.timerList, port->*node));
    }
    return hash;
}

/// Long enough for what was received to be applied, left and swept.
void settle(Network& network) {
    constexpr u64 kSettleMs = 160'000;
    if (!network.run(kSettleMs))
        fail("what happens has no end");
    check(network);
}

void queueFrame(Node& node, u32 unit, bool gvrp, std::span<const u8> frame, u8 pduOffset) {
    const std::size_t most = std::min<std::size_t>(frame.size(), kMvrpReceiveBufferBytes);
    node.host.sockets.frames[gvrp ? 1 : 0].push_back(
        {{frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(most)},
         unit,
         pduOffset,
         platform::kMvrpGroupAddress});
}

/// A whole frame as a cable delivers it, through the adapter of the wire forms.
void queueWireFrame(Node& node, u32 unit, std::span<const u8> bytes) {
    const platform::FrameView view = platform::classifyFrame(bytes);
    if (view.kind == platform::FrameKind::None)
        return;
    if (view.kind != platform::FrameKind::IeeeMvrp) {
        queueFrame(node, unit, view.kind == platform::FrameKind::Gvrp, view.frame, view.pduOffset);
        return;
    }
    platform::NativeFrames frames;
    platform::ieeeToNative(view, frames);
    constexpr auto kOffset = static_cast<u8>(platform::kNativeHeaderBytes);
    if (frames.leaveAllBytes > 0)
        queueFrame(node, unit, false, std::span(frames.leaveAll).first(frames.leaveAllBytes),
                   kOffset);
    if (frames.vectorBytes > 0)
        queueFrame(node, unit, false, std::span(frames.vectors).first(frames.vectorBytes), kOffset);
}

/// What the daemon sends must have a standard form, or none, without a byte beyond.
void adaptSent(Node& node) {
    for (const auto& frame : node.sent) {
        std::vector<u8> out(frame.bytes.size());
        if (platform::nativeToIeee(frame.bytes, out) > out.size())
            fail("the standard form is longer than ours");
    }
}

/// Route messages with the lowest byte of a number first, whatever this machine has.
void queueRoute(Node& node, std::span<const u8> bytes) {
    std::vector<u8> messages(bytes.begin(), bytes.end());
    scenario::routeMessagesFromLittleEndian(messages);
    node.host.sockets.routeMessages.push_back(std::move(messages));
}

void runPdu(std::span<const u8> input, bool gvrp) {
    Network network(1);
    setUp(network);
    Node& node = network.node(0);
    if (gvrp)
        network.act(0, [] { simulation::setScalar(MVRP_SCALAR_GVRP_COMPLIANCE, MVRP_ON); });
    Input bytes(input);
    const u8 form = bytes.byte();
    const u64 before = fingerprint(network);
    {
        simulation::Turn turn(node, network.nowMs());
        if ((form & 0x80U) != 0)
            queueWireFrame(node, 1 + form % kPorts, bytes.rest());
        else
            queueFrame(node, 1 + form % kPorts, gvrp, bytes.rest(), 0);
        turn.serve();
    }
    adaptSent(node);
    check(network);
    // What follows from a state that was not touched is the same for all inputs.
    if (fingerprint(network) != before)
        settle(network);
}

void runMvrpPdu(std::span<const u8> input) {
    runPdu(input, false);
}

void runGvrpPdu(std::span<const u8> input) {
    runPdu(input, true);
}

void runRouteMessage(std::span<const u8> input) {
    Network network(1);
    setUp(network);
    network.act(0, [&] { queueRoute(network.node(0), input); });
    check(network);
    settle(network);
}

void applySyncPacket(std::span<const u8> packet) {
    std::vector<u8> copy(packet.begin(), packet.end());
    QorBuffer descriptor{copy.data(), static_cast<u32>(copy.size())};
    mvrpScalarSetApi(0, MVRP_SCALAR_SYNC_PACKET, &descriptor);
    while (scenario::scenarioHost().lockDepth > 0)
        silGiveSem(gMvrpInfo.sem);
}

void runSyncPacket(std::span<const u8> input) {
    Network network(1);
    setUp(network);
    network.act(0, [input] { applySyncPacket(input); });
    check(network);
    settle(network);
}

void runScenarioFile(std::span<const u8> input) {
    std::istringstream text(std::string(input.begin(), input.end()));
    scenario::runScenario(text, [](std::string_view) {});
}

u32 wordOf(Input& bytes) {
    const u32 high = bytes.byte();
    return high << 8U | bytes.byte();
}

/// One thing that happens: its kind and what belongs to it come from the input.
void happen(Network& network, Input& bytes) {
    Node& node = network.node(0);
    const u8 kind = bytes.byte();
    const u32 unit = 1 + bytes.byte() % (kPorts + 1);
    const u32 value = wordOf(bytes);
    network.act(0, [&] {
        switch (kind % 10) {
            case 0:
                return queueFrame(node, unit, false, bytes.bytes(value % 64), 0);
            case 1:
                return queueFrame(node, unit, true, bytes.bytes(value % 64), 0);
            case 2:
                return queueWireFrame(node, unit, bytes.bytes(value % 96));
            case 3:
                return queueRoute(node, bytes.bytes(value % 96));
            case 4:
                simulation::setPort(unit, kind / 10U % 9, value);
                return;
            case 5:
                simulation::setScalar(1 + (kind / 10U) % 3, 1 + value % 2);
                return;
            case 6:
                return applySyncPacket(bytes.bytes(value % 64));
            case 7:
                return value % 2 == 0 ? simulation::makeVlanStatic(node, 2 + value % 38)
                                      : simulation::deleteVlan(node, 2 + value % 38);
            case 8:
                return simulation::setLink(node, 1 + unit % kPorts, value % 2 == 0);
            default:
                return;
        }
    });
    if (kind % 10 == 9 && !network.run(value))
        fail("what happens has no end");
}

void runHappenings(Network& network, Input& bytes) {
    constexpr u32 kMostHappenings = 100;
    for (u32 count = 0; count < kMostHappenings && !bytes.empty(); count++) {
        happen(network, bytes);
        check(network);
    }
}

void runStateful(std::span<const u8> input) {
    Network network(1);
    setUp(network);
    Input bytes(input);
    runHappenings(network, bytes);
}

/// The same with corrections: the first word says which, the next byte which VLANs are admitted.
void runCorrected(std::span<const u8> input) {
    Network network(1);
    Input bytes(input);
    setUp(network, CorrectionSet::ofBits(wordOf(bytes)));
    const u32 refused = bytes.byte();
    auto& ports = network.node(0).host.switchState.ports;
    for (auto& [unit, port] : ports)
        for (u32 vid = unit; refused != 0 && vid <= kLastPermitted; vid += 1 + refused % 16)
            port.admitted.reset(vid);
    runHappenings(network, bytes);
}

constexpr Target kTargets[] = {
    {"mvrp_pdu", runMvrpPdu},           {"gvrp_pdu", runGvrpPdu},
    {"route_message", runRouteMessage}, {"sync_packet", runSyncPacket},
    {"scenario_file", runScenarioFile}, {"stateful", runStateful},
    {"corrected", runCorrected},
};

}  // namespace

std::span<const Target> targets() {
    return kTargets;
}

}  // namespace fuzz
