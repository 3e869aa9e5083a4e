// SPDX-License-Identifier: MIT
#include "network/read/read.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <thread>

#include "cli/client/safe_text.h"
#include "cli/print/words.h"
#include "network/read/snapshot_text.h"
#include "network/read/sources.h"

namespace network {

namespace {

/// Snapshots that are older than the newest by more than this are spoken of.
constexpr u64 kOldMs = 15ULL * 60 * 1000;

/// Either a switch or a problem.
struct Outcome {
    std::optional<Switch> found;
    std::string problem;
};

Outcome readSource(Source& source) {
    const std::string name = cli::safeText(source.name);
    std::string content = std::move(source.content);
    if (content.empty() && !readFile(source.path, content))
        return {{}, name + ": can not be read: " + std::strerror(errno)};
    try {
        Outcome outcome{parseSnapshot(content), {}};
        outcome.found->source = name;
        return outcome;
    } catch (const SnapshotError& error) {
        return {{}, name + ": " + error.what()};
    }
}

std::vector<Outcome> readSources(std::vector<Source>& sources) {
    std::vector<Outcome> outcomes(sources.size());
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t at = next++; at < sources.size(); at = next++)
            outcomes[at] = readSource(sources[at]);
    };
    std::vector<std::jthread> threads;
    for (unsigned i = 1;
         i < std::min<std::size_t>(std::thread::hardware_concurrency(), sources.size()); ++i)
        threads.emplace_back(work);
    work();
    threads.clear();  // waits for them
    return outcomes;
}

/// What tells a switch from all others: the addresses of its ports.
std::vector<Mac> addressesOf(const Switch& each) {
    std::vector<Mac> macs;
    for (const Port& port : each.ports)
        macs.push_back(port.mac);
    std::ranges::sort(macs);
    return macs;
}

/// Keeps the newer of two snapshots of one switch: same name, same addresses.
void dropOlder(std::vector<Switch>& switches, Problems& problems) {
    std::ranges::stable_sort(switches, std::greater<>(), &Switch::takenMs);
    std::map<std::pair<std::string, std::vector<Mac>>, const Switch*> known;
    std::vector<Switch> kept;
    kept.reserve(switches.size());
    for (Switch& each : switches) {
        const Switch*& newer = known[{each.name, addressesOf(each)}];
        if (newer != nullptr) {
            problems.push_back(each.source + ": an older snapshot of " + each.name + " than " +
                               newer->source + "; not used");
            continue;
        }
        kept.push_back(std::move(each));
        newer = &kept.back();
    }
    switches = std::move(kept);
}

std::string hostText(const Switch& each) {
    return each.hostName.empty() ? each.source : each.hostName;
}

void makeNamesUnique(std::vector<Switch>& switches) {
    std::map<std::string, std::vector<Switch*>> byName;
    for (Switch& each : switches) {
        if (each.name.empty())
            each.name = hostText(each);
        byName[each.name].push_back(&each);
    }
    for (auto& [name, all] : byName)
        for (Switch* each : all)
            if (all.size() > 1)
                each->name = name + "@" + hostText(*each);
    std::map<std::string, u32> taken;
    for (Switch& each : switches)
        if (const u32 before = taken[each.name]++; before != 0)
            each.name += "#" + std::to_string(before + 1);
}

void sayOld(const std::vector<Switch>& switches, Problems& problems) {
    u64 newest = 0;
    for (const Switch& each : switches)
        newest = std::max(newest, each.takenMs);
    for (const Switch& each : switches)
        if (newest - each.takenMs > kOldMs)
            problems.push_back(each.source + ": was taken " +
                               cli::durationText(newest - each.takenMs) +
                               " before the newest; is " + each.name + " gone?");
}

}  // namespace

Collection readCollection(const std::vector<std::string>& paths) {
    Collection collection;
    std::vector<Source> sources = findSources(paths, collection.problems);
    for (Outcome& outcome : readSources(sources)) {
        if (outcome.found)
            collection.switches.push_back(std::move(*outcome.found));
        else
            collection.problems.push_back(outcome.problem);
    }
    dropOlder(collection.switches, collection.problems);
    makeNamesUnique(collection.switches);
    std::ranges::sort(collection.switches, {}, &Switch::name);
    sayOld(collection.switches, collection.problems);
    return collection;
}

}  // namespace network
