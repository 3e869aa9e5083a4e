// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <limits>
#include <set>
#include <thread>

#include "cli/client/observed.h"
#include "cli/client/port_ranges.h"
#include "cli/commands/commands.h"
#include "cli/views/json.h"
#include "cli/views/vlan_groups.h"
#include "cli/watch/change_stream.h"
#include "cli/watch/screen.h"
#include "cli/watch/watch_output.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;
using platform::VlanBitmap;

constexpr auto kLookEvery = std::chrono::milliseconds(250);
constexpr auto kWaitEvery = std::chrono::milliseconds(100);
constexpr auto kTryAgainEvery = std::chrono::seconds(1);
constexpr int kScreenMs = 500;
constexpr std::size_t kChangesKept = 100;
constexpr u64 kMostSeconds = u64{86'400} * 30;
constexpr u64 kMostChanges = 1'000'000'000;
constexpr u64 kMostSequence = std::numeric_limits<u64>::max() - 1;

PortNames namesOf(const VlansView& view) {
    PortNames names;
    for (const PortView& port : view.ports)
        names[port.port.unit] = port.port.name.data();
    return names;
}

/// When a watch ends by itself.
class Limits {
  public:
    explicit Limits(const Context& context)
        : most_(context.has("count") ? context.number("count", 1, kMostChanges) : kMostChanges),
          end_(Clock::now() + std::chrono::seconds(context.has("seconds")
                                                       ? context.number("seconds", 1, kMostSeconds)
                                                       : kMostSeconds)) {}

    u64 most() const { return most_; }
    bool isOver() const { return Clock::now() >= end_; }
    bool reached(u64 changes) const { return changes >= most_ || isOver(); }
    /// How long to wait, ms: `wanted`, or less where the end comes before.
    int waitMs(int wanted) const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
        return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, wanted));
    }

  private:
    u64 most_;
    Clock::time_point end_;
};

/// The ports that a watch is about: those of --ports, by unit, so that one may go and come; or all.
class ChosenPorts {
  public:
    explicit ChosenPorts(const Context& context) : client_(context.client) {
        if (!context.has("ports"))
            return;
        units_.emplace();
        for (const auto& port : choosePorts(queryPortList(client_), context.value("ports")))
            units_->insert(port.unit);
    }

    /// What is about the switch as a whole (unit 0) is always of interest.
    bool has(u32 unit) const { return !units_ || unit == 0 || units_->contains(unit); }
    std::vector<platform::SwitchPortRecord> ports() const {
        std::vector<platform::SwitchPortRecord> ports = queryPortList(client_);
        std::erase_if(ports, [this](const auto& port) { return !has(port.unit); });
        return ports;
    }

  private:
    Client& client_;
    std::optional<std::set<u32>> units_;
};

/// Prints changes as lines until it is ended.
class LineWatch {
  public:
    explicit LineWatch(const Context& context)
        : context_(context), stream_(context.client, true), limits_(context), chosen_(context) {}

    void run() {
        if (!context_.has("since"))
            snapshot("start");
        else if (stream_.resume(context_.number("since", 0, kMostSequence)))
            names_ = namesOf(queryVlans(context_.client, kNameParts));
        else
            snapshot("gap");
        while (!limits_.reached(printed_))
            if (!printNew())
                std::this_thread::sleep_for(kLookEvery);
    }

  private:
    void snapshot(const char* reason) {
        stream_.begin();
        const VlansView view = queryVlans(context_.client, chosen_.ports(), kRunningParts);
        names_ = namesOf(view);
        print(context_.json ? snapshotJson(stream_.sequence(), reason, view)
                            : snapshotText(reason, compareRunning(view), context_.style));
    }

    /// A reader at the other end of a pipe sees each line at once, or has gone.
    void print(const std::string& text) const {
        context_.print(text);
        if (std::fflush(stdout) != 0)
            throw UsageError("nobody reads the output any more");
    }

    /// @return whether there was anything
    bool printNew() {
        std::optional<std::vector<platform::ChangeRecord>> changes;
        try {
            changes = stream_.next();
        } catch (const ConnectionError& error) {
            reconnect(error.what());
            return true;
        }
        if (!changes) {
            snapshot("gap");
            return true;
        }
        for (const platform::ChangeRecord& change : *changes) {
            if (printed_ == limits_.most())
                break;
            printChange(change);
        }
        return !changes->empty();
    }

    void printChange(const platform::ChangeRecord& change) {
        if (static_cast<platform::ChangeKind>(change.kind) == platform::ChangeKind::PortAdded)
            names_ = namesOf(queryVlans(context_.client, kNameParts));
        if (!chosen_.has(change.unit) || (!context_.has("states") && !isNotable(change)))
            return;
        print(context_.json ? changeJson(change, names_)
                            : changeText(change, names_, context_.style) + "\n");
        ++printed_;
    }

    /// Tries until the daemon is back; the stream then goes on where it was, or says that it can
    /// not.
    void reconnect(const std::string& message) {
        if (context_.json)
            print(lostJson(message));
        else
            std::cerr << "mvrpctl: " << message << "; trying again\n";
        while (!limits_.isOver()) {
            std::this_thread::sleep_for(kTryAgainEvery);
            try {
                context_.client.disconnect();
                names_ = namesOf(queryVlans(context_.client, kNameParts));
                return;
            } catch (const ConnectionError&) {
                continue;
            }
        }
    }

    const Context& context_;
    ChangeStream stream_;
    PortNames names_;
    const Limits limits_;
    const ChosenPorts chosen_;
    u64 printed_ = 0;
};

u64 wallClockMs() {
    return static_cast<u64>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::system_clock::now().time_since_epoch())
                                .count());
}

/// The full-screen form.
class ScreenWatch {
  public:
    explicit ScreenWatch(const Context& context)
        : context_(context), stream_(context.client, true), limits_(context), chosen_(context) {}

    void run() {
        look();
        const Screen screen;
        for (;;) {
            const ScreenDrawing drawn = screen.show(view_, context_.style.colour);
            if (limits_.reached(seen_))
                return;
            const std::vector<Key> keys = screen.wait(limits_.waitMs(kScreenMs));
            if (std::ranges::find(keys, Key::End) != keys.end())
                return;
            for (const Key key : keys)
                scroll(view_, drawn, key);
            if (keys.empty())
                refresh();
        }
    }

  private:
    void look() {
        if (!begun_)
            stream_.begin();
        begun_ = true;
        const GlobalView global = queryGlobal(context_.client);
        view_.vlans = queryVlans(context_.client, chosen_.ports(), kRunningParts);
        view_.timeMs = wallClockMs();
        view_.title = std::string(global.host.name.data()) + "  MVRP " +
                      (global.enabled ? "on" : "off") +
                      (global.compliance ? ", speaking GVRP" : "") + "  " +
                      std::to_string(global.pendingPairs) +
                      (global.pendingPairs == 1 ? " change waits  " : " changes wait  ") +
                      clockText(view_.timeMs).substr(0, 8);
        view_.problem.clear();
        addChanges();
    }

    void addChanges() {
        const auto changes = stream_.next();
        if (!changes) {
            view_.changes.emplace_back("some changes were lost");
            stream_.begin();
            return;
        }
        const PortNames names = namesOf(view_.vlans);
        std::vector<platform::ChangeRecord> wanted;
        for (const platform::ChangeRecord& change : *changes)
            if (chosen_.has(change.unit) && (context_.has("states") || isNotable(change)))
                wanted.push_back(change);
        seen_ += wanted.size();
        for (const GatheredChange& gathered : gather(wanted))
            view_.changes.push_back(changeText(gathered, names, {}));
        while (view_.changes.size() > kChangesKept)
            view_.changes.pop_front();
    }

    void refresh() {
        try {
            look();
        } catch (const ConnectionError& error) {
            view_.problem = error.what();
            context_.client.disconnect();
        }
    }

    const Context& context_;
    ChangeStream stream_;
    const Limits limits_;
    const ChosenPorts chosen_;
    bool begun_ = false;
    u64 seen_ = 0;  ///< changes that were shown
    ScreenView view_;
};

void watchCommand(const Context& context) {
    if (context.format == Format::Csv)
        throw UsageError("changes have no columns in common; allowed are table, json or yaml");
    if (!context.has("screen")) {
        LineWatch(context).run();
        return;
    }
    if (context.json || isatty(STDOUT_FILENO) != 1)
        throw UsageError(
            "--screen needs a terminal, and none of -j and -o; without it changes are printed as "
            "lines");
    if (context.has("since"))
        throw UsageError("--screen begins now: --since is for changes that are printed as lines");
    ScreenWatch(context).run();
}

// wait -------------------------------------------------------------------------------------------

VlanBitmap bitmapOf(const Reply& reply) {
    throwIfRefused(reply);
    VlanBitmap vlans{};
    if (reply.value.size() == vlans.size())
        std::copy_n(reinterpret_cast<const u8*>(reply.value.data()), vlans.size(), vlans.begin());
    return vlans;
}

/// VLANs that the port is a member of: learnt, or static and permitted.
VlanBitmap vlansOnPort(const Context& context, u32 unit) {
    const std::vector<Request> requests = {
        {platform::Request::PortVlans, unit, static_cast<u32>(platform::VlanSet::Dynamic)},
        {platform::Request::PortVlans, unit, static_cast<u32>(platform::VlanSet::Permitted)},
        {platform::Request::SwitchVlans, 0, static_cast<u32>(QorVlanType::Static)},
    };
    const std::vector<Reply> replies = context.client.exchange(requests);
    return platform::vlanUnion(
        bitmapOf(replies[0]),
        platform::vlanIntersection(bitmapOf(replies[1]), bitmapOf(replies[2])));
}

/// "VLAN 10 is" or "VLANs 10-12 are".
std::string vlansAre(const VlanBitmap& vlans) {
    const std::string text = platform::formatVlanRanges(vlans);
    return countVlans(vlans) == 1 ? "VLAN " + text + " is" : "VLANs " + text + " are";
}

[[noreturn]] void giveUp(const std::string& port, const VlanBitmap& awaited, bool wanted,
                         u64 seconds) {
    u32 first = platform::kFirstVlan;
    while (!platform::vlanContains(awaited, first))
        ++first;
    throw RefusedError(kStatusTimedOut, vlansAre(awaited) + (wanted ? " not" : " still") +
                                            " on port " + port + " after " +
                                            std::to_string(seconds) + " s; `mvrpctl explain " +
                                            port + " " + std::to_string(first) + "` says why");
}

void waitCommand(const Context& context) {
    const VlanBitmap vlans = context.vlans("vlan");
    if (platform::vlanIsEmpty(vlans))
        throw UsageError(
            "--vlan names no VLAN; allowed are VLAN IDs 1 to 4094 as ranges, for "
            "example \"1-10,20\"");
    const u64 seconds = context.has("timeout") ? context.number("timeout", 0, kMostSeconds) : 30;
    const bool wanted = !context.has("gone");
    const platform::SwitchPortRecord port = findPort(context.client, context.value("port"));
    const auto begin = Clock::now();
    const auto waitedMs = [begin] {
        return static_cast<u64>(
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count());
    };
    for (;;) {
        const VlanBitmap there = vlansOnPort(context, port.unit);
        const VlanBitmap awaited = wanted ? platform::vlanDifference(vlans, there)
                                          : platform::vlanIntersection(vlans, there);
        if (platform::vlanIsEmpty(awaited))
            break;
        if (waitedMs() >= seconds * 1000)
            giveUp(port.name.data(), awaited, wanted, seconds);
        std::this_thread::sleep_for(kWaitEvery);
    }
    if (context.json)
        context.print(waitJson(port.name.data(), vlans, wanted, waitedMs()));
}

std::string watchDetails() {
    return "First what runs now, then each change with a sequence number. With -j one JSON object "
           "a\n"
           "line. When the daemon goes away it is tried again; --since goes on after a change "
           "that\n"
           "was seen before, or says with a new snapshot that the changes since are no longer "
           "kept.";
}

constexpr Command kCommands[] = {
    {"watch",
     "show changes as they happen",
     {},
     watchCommand,
     watchDetails,
     {{{"--since", "SEQ", "go on after this sequence number"},
       {"--states", nullptr, "every change of an applicant or registrar too"},
       {"--count", "N", "end after so many changes"},
       {"--seconds", "S", "end after so many seconds"},
       {"--ports", "PORTS", "these ports only: names, units, ranges; swp1-8,uplink"},
       {"--screen", nullptr, "VLANs by ports on the whole screen; arrows scroll, q ends"}}}},
    {"wait",
     "wait until VLANs are on a port, for scripts; exit status 1 when they do not come",
     {},
     waitCommand,
     nullptr,
     {{{"--port", "PORT", "name or unit of a port", true},
       {"--vlan", "VLANS", "VLAN IDs as ranges; it waits for all of them", true},
       {"--timeout", "S", "seconds; default: 30"},
       {"--gone", nullptr, "wait until none of them is there any more"}}}},
};

}  // namespace

constinit const std::span<const Command> kWatchCommands = kCommands;

}  // namespace cli
