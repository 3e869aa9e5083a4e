// SPDX-License-Identifier: MIT
//
// Reaction: from a received PDU of 4094 VLANs, as its frame comes off the cable, through sockets,
// task and daemon, to the last frame that leaves on the cables of the other ports. Limit: sending
// the same frames into the same sockets at the other ends, and nothing else.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "bench/bench_switch.h"
#include "bench/pair.h"
#include "daemon/core/task.h"
#include "platform/net/frame_net.h"
#include "platform/runtime/files/descriptor.h"
#include "tests/scratch_directory.h"

namespace {

using platform::Descriptor;

constexpr std::array<u8, 22> kMvrpHeader = {0x01, 0x80, 0xC2, 0,    0, 0x21, 2, 0, 0,    0,   9, 9,
                                            0,    0,    0xAA, 0xAA, 3, 0,    0, 0, 0x88, 0xF5};

std::vector<u8> frameOf(std::span<const u8> pdu) {
    std::vector<u8> frame(kMvrpHeader.size() + pdu.size());
    std::copy(kMvrpHeader.begin(), kMvrpHeader.end(), frame.begin());
    std::copy(pdu.begin(), pdu.end(), frame.begin() + kMvrpHeader.size());
    const size_t length = frame.size() - 14;
    frame[12] = static_cast<u8>(length >> 8U);
    frame[13] = static_cast<u8>(length);
    return frame;
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

/// The other end of a port's cable, and a bare socket that sends into it.
class Peer {
  public:
    explicit Peer(const std::string& path)
        : end_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)),
          bare_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
        const sockaddr_un address = addressOf(path);
        const auto* plain = reinterpret_cast<const sockaddr*>(&address);
        if (bind(end_.get(), plain, sizeof(address)) != 0 ||
            connect(bare_.get(), plain, sizeof(address)) != 0)
            throw std::runtime_error("no socket at " + path);
    }

    /// Reads what came. @return the last frame
    std::vector<u8> drain() {
        std::vector<u8> last;
        std::array<u8, 3840> frame;
        for (ssize_t got = 0; (got = recv(end_.get(), frame.data(), frame.size(), 0)) > 0;)
            last.assign(frame.begin(), frame.begin() + got);
        return last;
    }

    void send(std::span<const u8> frame) {
        if (::send(bare_.get(), frame.data(), frame.size(), MSG_NOSIGNAL) < 0)
            throw std::runtime_error("a peer does not take its frame");
    }

  private:
    Descriptor end_;
    Descriptor bare_;
};

/// A socket of a port, or of its peer.
std::string pathOf(const ScratchDirectory& directory, const char* kind, u32 unit) {
    return directory.path(kind + std::to_string(unit));
}

void reaction(benchmark::State& state) {
    const u32 ports = static_cast<u32>(state.range(0));
    bench::BenchSwitch bridge(ports);
    const ScratchDirectory directory;
    platform::FrameNet net(bridge.soft, bridge.sockets);
    bridge.sockets.setTransmitter(&net);
    std::vector<Peer> peers;
    net.setPlaces(platform::RequestPlaces({directory.path("")}));
    for (u32 unit = 1; unit <= ports; ++unit) {
        peers.emplace_back(pathOf(directory, "peer", unit));
        std::string error;
        const std::string cable =
            "unix:" + pathOf(directory, "port", unit) + "," + pathOf(directory, "peer", unit);
        if (net.setCable(unit, cable, error) != platform::HostStatus::Ok)
            throw std::runtime_error(error);
    }
    const auto drain = [&peers] {
        for (Peer& peer : peers)
            peer.drain();
    };
    const std::vector<u8> frame = frameOf(bench::mvrpJoinPdu(bench::vlansFrom(1, 4094)));
    MvrpTask task = {};
    const auto react = [&] {
        net.frameArrived(1, frame, false);
        mvrpTaskPass(&task);
    };
    for (int i = 0; i < 4; ++i) {
        react();
        bridge.applyPending();
        drain();
    }
    react();
    std::vector<std::vector<u8>> frames;
    frames.reserve(peers.size());
    for (Peer& peer : peers)
        frames.push_back(peer.drain());

    bench::Pair pair;
    pair.units = ports - 1;
    pair.prepareWork = drain;
    pair.work = react;
    pair.prepareLimit = drain;
    pair.limit = [&] {
        for (u32 i = 1; i < ports; ++i)
            peers[i].send(frames[i]);
    };
    bench::measure(state, pair);
    drain();
    react();
    for (u32 i = 1; i < ports; ++i)
        if (const std::vector<u8> last = peers[i].drain(); last.empty() || last != frames[i])
            state.SkipWithError("what comes out in the end is not what came out first");
    state.counters["frames"] = ports - 1;
    state.counters["frame_bytes"] = static_cast<double>(frames.back().size());
    bridge.sockets.setTransmitter(&bridge.sink);
}
BENCHMARK(reaction)->Name("reaction-parts")->Arg(8)->Arg(48)->Arg(256)->UseManualTime();

}  // namespace
