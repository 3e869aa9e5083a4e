// SPDX-License-Identifier: MIT
//
// The program mvrp from outside: its start, at rest with everything registered, its command
// channel, and frames that arrive faster than a network would send them.
//
// usage: mvrp-bench-whole MVRP RESULTS.json [--quick] [PART...]
// Parts, of which all are measured unless some are named: start requests reaction load rest
#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <span>
#include <stop_token>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/join_pdu.h"
#include "bench/whole_figures.h"
#include "bench/whole_peers.h"
#include "bench/whole_reaction.h"

namespace {

using bench::Channel;
using bench::Clock;
using bench::Daemon;
using bench::Figures;
using bench::Peers;
using bench::secondsSince;
using bench::Usage;
using platform::Descriptor;
using platform::Request;

constexpr u32 kPorts = 48;
constexpr u32 kVlans = 4094;
constexpr u32 kPendingCount = 7;         // attribute of ScalarGet
constexpr u32 kLeaveAllTime = 7;         // attribute of PortGet, which takes the daemon's lock
constexpr double kLeaveAllsAnHour = 30;  // of a port with the default time

struct Options {
    std::string program;
    bool quick;
};

void pause(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

std::vector<u8> joinFrame(u32 first, u32 count) {
    return bench::nativeFrame(bench::mvrpJoinPdu(bench::vlansFrom(first, count)));
}

u32 wordOf(const std::vector<u8>& value) {
    u32 word = 0;
    std::memcpy(&word, value.data(), std::min(value.size(), sizeof(word)));
    return word;
}

// Start ------------------------------------------------------------------------------------------

void measureStart(const Options& options, Figures& figures) {
    constexpr double kGoalMs = 50;
    double best = std::numeric_limits<double>::max();
    for (int turn = 0; turn < (options.quick ? 5 : 15); ++turn)
        best = std::min(best, Daemon({options.program, kPorts, 0}).readyAfterMs());
    figures.figure("start/ready", "ms", best, kGoalMs);
}

// At rest ----------------------------------------------------------------------------------------

/// Dynamic memberships of all ports.
u64 membershipsOf(Channel& channel) {
    u64 members = 0;
    for (u32 unit = 1; unit <= kPorts; ++unit)
        for (const u8 byte : channel.request(Request::PortVlans, unit,
                                             static_cast<u32>(platform::VlanSet::Dynamic)))
            members += static_cast<u64>(__builtin_popcount(byte));
    return members;
}

/// Has every port register every VLAN, and waits until all is applied.
void registerAll(const Daemon& daemon, Peers& peers, const std::vector<u8>& join) {
    constexpr double kWithinSeconds = 120;
    constexpr u64 kAll = u64{kPorts} * (kVlans - 1);  // VLAN 1 is static
    Channel channel = daemon.channel();
    const Clock::time_point begin = Clock::now();
    for (u32 unit = 1; unit <= kPorts; ++unit)
        while (!peers.send(unit, join) && secondsSince(begin) < kWithinSeconds)
            ;
    while (wordOf(channel.request(Request::ScalarGet, 0, kPendingCount)) != 0 ||
           membershipsOf(channel) != kAll) {
        if (secondsSince(begin) > kWithinSeconds)
            throw std::runtime_error(
                "not everything gets registered: " + std::to_string(membershipsOf(channel)) +
                " memberships of " + std::to_string(kAll));
        pause(0.1);
    }
}

void measureRest(const Options& options, Figures& figures) {
    constexpr double kJoinsGoOut = 3;  // seconds until the join timers are done
    constexpr double kGoalKib = 16 * 1024;
    constexpr double kGoalWakeUps = 2;
    constexpr double kSecondsAnHour = 3600;
    const u32 leaveAllSeconds = options.quick ? 20 : 60;
    const double idleSeconds = options.quick ? 5 : 30;

    const Clock::time_point begin = Clock::now();
    const Daemon daemon({options.program, kPorts, leaveAllSeconds});
    const std::vector<u8> join = joinFrame(1, kVlans);
    Peers peers(daemon, kPorts, join);
    registerAll(daemon, peers, join);
    figures.figure("rest/register", "s", secondsSince(begin), std::nullopt);
    pause(kJoinsGoOut);

    const Usage idleBegin = daemon.usage();
    const Clock::time_point idle = Clock::now();
    pause(idleSeconds);
    const Usage idleEnd = daemon.usage();
    const double idleLength = secondsSince(idle);
    const double idleCpu = (idleEnd.cpuSeconds - idleBegin.cpuSeconds) / idleLength;

    // The time of one leave-all: each port sends one, and its neighbour answers.
    const Clock::time_point round = Clock::now();
    pause(leaveAllSeconds);
    const Usage end = daemon.usage();
    const double roundCpu = end.cpuSeconds - idleEnd.cpuSeconds - idleCpu * secondsSince(round);

    figures.figure("rest/wake-ups", "1/s",
                   static_cast<double>(idleEnd.wakeUps - idleBegin.wakeUps) / idleLength,
                   kGoalWakeUps);
    figures.figure("rest/memory", "KiB", static_cast<double>(end.residentKib), kGoalKib);
    figures.figure("rest/cpu-idle", "s/hour", idleCpu * kSecondsAnHour, std::nullopt);
    figures.figure("rest/cpu-leave-alls", "s/hour", roundCpu * kLeaveAllsAnHour, std::nullopt);
}

// Command channel --------------------------------------------------------------------------------

/// Answers like the daemon, and does nothing else: what the socket and the two processes cost.
class BareServer {
  public:
    BareServer() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            throw std::runtime_error("no pair of sockets");
        client_ = Descriptor(ends[0]);
        server_ = std::thread([end = Descriptor(ends[1])] { serve(end.get()); });
    }
    ~BareServer() { server_.join(); }
    BareServer(const BareServer&) = delete;
    BareServer& operator=(const BareServer&) = delete;
    BareServer(BareServer&&) = delete;
    BareServer& operator=(BareServer&&) = delete;
    /// Once. It has to go before the server does.
    Channel channel() { return Channel(std::move(client_)); }

  private:
    struct Reply {
        platform::ReplyHeader header;
        u32 word;
    };

    static void serve(int socket) {
        constexpr size_t kMost = 1024;
        std::array<platform::RequestHeader, kMost> requests;
        std::array<Reply, kMost> replies;
        replies.fill({{0, sizeof(u32)}, 0});
        size_t kept = 0;  // bytes of a request that is not whole yet
        for (;;) {
            const ssize_t got = recv(socket, reinterpret_cast<u8*>(requests.data()) + kept,
                                     sizeof(requests) - kept, 0);
            if (got <= 0)
                return;
            const size_t bytes = kept + static_cast<size_t>(got);
            const size_t whole = bytes / sizeof(platform::RequestHeader);
            kept = bytes % sizeof(platform::RequestHeader);
            if (whole != 0 && send(socket, replies.data(), whole * sizeof(Reply), MSG_NOSIGNAL) < 0)
                return;
        }
    }

    Descriptor client_;
    std::thread server_;
};

/// Keeps the processors from falling asleep, whose waking is most of what a request by itself
/// takes. Anybody else goes first.
class Spinner {
  public:
    Spinner() {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i)
            threads_.emplace_back([](const std::stop_token& stop) { spin(stop); });
    }

  private:
    static void spin(const std::stop_token& stop) {
        const sched_param none{};
        pthread_setschedparam(pthread_self(), SCHED_IDLE, &none);
        while (!stop.stop_requested())
            ;
    }
    std::vector<std::jthread> threads_;
};

/// @return ns a request
double oneByOne(Channel& channel, u32 count) {
    const Clock::time_point begin = Clock::now();
    for (u32 i = 0; i < count; ++i)
        channel.request(Request::PortGet, 1, kLeaveAllTime);
    return secondsSince(begin) * 1e9 / count;
}

double pipelined(Channel& channel, u32 turns) {
    constexpr size_t kAhead = 256;
    constexpr size_t kReplyBytes = sizeof(platform::ReplyHeader) + sizeof(u32);
    const std::vector<platform::RequestHeader> requests(
        kAhead, {static_cast<u32>(Request::PortGet), 1, kLeaveAllTime, 0});
    const std::span<const u8> bytes(reinterpret_cast<const u8*>(requests.data()),
                                    kAhead * sizeof(platform::RequestHeader));
    const Clock::time_point begin = Clock::now();
    for (u32 i = 0; i < turns; ++i)
        channel.pipeline(bytes, kAhead, kReplyBytes);
    return secondsSince(begin) * 1e9 / (turns * static_cast<double>(kAhead));
}

void measureRequests(const Options& options, Figures& figures) {
    const Daemon daemon({options.program, kPorts, 0});
    BareServer server;
    Channel bare = server.channel();
    Channel channel = daemon.channel();
    std::array<double, 6> best;
    best.fill(std::numeric_limits<double>::max());
    const int turns = options.quick ? 10 : 50;
    for (int turn = 0; turn < turns; ++turn) {
        best[0] = std::min(best[0], oneByOne(channel, 500));
        best[1] = std::min(best[1], oneByOne(bare, 500));
        best[2] = std::min(best[2], pipelined(channel, 20));
        best[3] = std::min(best[3], pipelined(bare, 20));
    }
    const Spinner spinner;
    for (int turn = 0; turn < turns; ++turn) {
        best[4] = std::min(best[4], oneByOne(channel, 500));
        best[5] = std::min(best[5], oneByOne(bare, 500));
    }
    figures.pair("request/one-by-one", best[0], best[1]);
    figures.pair("request/pipelined", best[2], best[3]);
    figures.pair("request/one-by-one-awake", best[4], best[5]);
}

// Load -------------------------------------------------------------------------------------------

struct LoadResult {
    double rate;       ///< PDUs sent in a second
    u64 lost;          ///< of those
    double longestMs;  ///< of a request meanwhile
    double middleMs;   ///< half of the requests took less
    double cpuUs;      ///< of the daemon's processor time, for each PDU that was sent
};

/// Sends a frame into port 1 at a rate, in bursts a millisecond apart.
u64 sendAtRate(Peers& peers, std::span<const u8> frame, double rate, double seconds) {
    constexpr double kBurstSeconds = 0.001;
    u64 sent = 0;
    const Clock::time_point begin = Clock::now();
    while (secondsSince(begin) < seconds) {
        const auto due = static_cast<u64>(secondsSince(begin) * rate);
        while (sent < due && peers.send(1, frame))
            ++sent;
        pause(kBurstSeconds);
    }
    return sent;
}

/// Frames that reached the daemon through port 1, and those for which its ring had no room.
platform::PortCountersRecord countersOf(Channel& channel) {
    platform::PortCountersRecord counters{};
    const std::vector<u8> value = channel.request(Request::PortCounters, 1);
    std::memcpy(&counters, value.data(), std::min(value.size(), sizeof(counters)));
    return counters;
}

/// Waits until what was sent has come out of the cable.
u64 lostOf(Channel& channel, const platform::PortCountersRecord& before, u64 sent) {
    for (int look = 0; look < 100; ++look) {
        const platform::PortCountersRecord now = countersOf(channel);
        if (now.framesIn - before.framesIn + now.droppedOverflow - before.droppedOverflow >= sent)
            break;
        pause(0.02);
    }
    return sent - (countersOf(channel).framesIn - before.framesIn);
}

LoadResult load(const Daemon& daemon, Peers& peers, double rate, double seconds) {
    const std::vector<u8> frame = joinFrame(100, 30);
    Channel channel = daemon.channel();
    const platform::PortCountersRecord before = countersOf(channel);
    std::atomic<bool> ends{false};
    std::vector<double> delays;
    std::thread asking([&] {
        Channel own = daemon.channel();
        while (!ends) {
            const Clock::time_point begin = Clock::now();
            own.request(Request::PortGet, 2, kLeaveAllTime);
            delays.push_back(secondsSince(begin) * 1000);
            pause(0.001);
        }
    });
    const Usage begin = daemon.usage();
    const u64 sent = sendAtRate(peers, frame, rate, seconds);
    const double cpuSeconds = daemon.usage().cpuSeconds - begin.cpuSeconds;
    ends = true;
    asking.join();
    std::ranges::sort(delays);
    return {static_cast<double>(sent) / seconds, lostOf(channel, before, sent), delays.back(),
            delays[delays.size() / 2], cpuSeconds * 1e6 / static_cast<double>(sent)};
}

/// The highest of growing rates, up to the relay's, at which nothing is lost.
double lossless(const Daemon& daemon, Peers& peers, double most, double seconds) {
    constexpr double kFirstRate = 1'000;
    constexpr double kStep = 1.25;
    double best = kFirstRate / kStep;
    while (best < most) {
        const double rate = std::min(best * kStep, most);
        const LoadResult result = load(daemon, peers, rate, seconds);
        if (result.lost != 0 || result.rate < 0.95 * rate)
            break;
        best = rate;
    }
    return best;
}

void measureLoad(const Options& options, Figures& figures, u32 ports) {
    constexpr double kRate = 10'000;
    const double seconds = options.quick ? 2 : 10;
    const Daemon daemon({options.program, ports, 0});
    Peers peers(daemon, ports, {});
    load(daemon, peers, 100, 0.5);  // the VLANs of the load get registered
    pause(1.5);
    const LoadResult result = load(daemon, peers, kRate, seconds);
    const double relay =
        bench::bareRelayRate(daemon, ports, joinFrame(100, 30).size(), seconds / 4);
    const std::string name = "load-" + std::to_string(ports) + "-ports/";
    figures.figure(name + "sent", "PDU/s", result.rate, std::nullopt);
    figures.figure(name + "lost", "PDUs", static_cast<double>(result.lost), 0);
    figures.figure(name + "processor", "us/PDU", result.cpuUs, std::nullopt);
    figures.figure(name + "request-middle", "ms", result.middleMs, std::nullopt);
    figures.figure(name + "request-longest", "ms", result.longestMs, std::nullopt);
    const double taken = lossless(daemon, peers, relay, options.quick ? 0.5 : 2);
    figures.figure(name + "bare-relay", "PDU/s", relay, std::nullopt);
    figures.figure(name + "lossless", "PDU/s", taken, std::nullopt);
    figures.pair("load/" + std::to_string(ports), 1e9 / taken, 1e9 / relay);
}

void measureReactions(const Options& options, Figures& figures) {
    for (const u32 ports : {8U, kPorts, 256U})
        bench::measureReaction(options.program, ports, options.quick ? 200 : 2000, figures);
}

void measureLoads(const Options& options, Figures& figures) {
    for (const u32 ports : {2U, kPorts})
        measureLoad(options, figures, ports);
}

struct Part {
    std::string_view name;
    void (*measure)(const Options& options, Figures& figures);
};
constexpr std::array kParts = {
    Part{"start", measureStart},        Part{"requests", measureRequests},
    Part{"reaction", measureReactions}, Part{"load", measureLoads},
    Part{"rest", measureRest},
};

bool isPart(std::string_view name) {
    return std::ranges::find(kParts, name, &Part::name) != kParts.end();
}

/// @param names  of parts; none: all
void measure(const Options& options, const std::string& results,
             std::span<const std::string_view> names) {
    Figures figures;
    for (const Part& part : kParts)
        if (names.empty() || std::ranges::find(names, part.name) != names.end())
            part.measure(options, figures);
    figures.write(results);
}

}  // namespace

int main(int count, char** arguments) {
    const std::vector<std::string_view> words(arguments + 1, arguments + count);
    const bool quick = words.size() > 2 && words[2] == "--quick";
    const std::span<const std::string_view> parts =
        std::span(words).subspan(std::min(words.size(), quick ? size_t{3} : size_t{2}));
    if (words.size() < 2 || !std::ranges::all_of(parts, isPart)) {
        std::fprintf(stderr,
                     "usage: mvrp-bench-whole MVRP RESULTS.json [--quick] [PART...]\n"
                     "PART: start, requests, reaction, load, rest; without one all are measured\n");
        return 2;
    }
    try {
        measure({std::string(words[0]), quick}, std::string(words[1]), parts);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "mvrp-bench-whole: %s\n", error.what());
        return 1;
    }
    return 0;
}
