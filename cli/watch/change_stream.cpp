// SPDX-License-Identifier: MIT
#include "cli/watch/change_stream.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "cli/client/observed.h"

namespace cli {

namespace {

constexpr std::array kNames = {
    "unknown",    "portAdded",      "portRemoved", "linkUp",         "linkDown",
    "protocolOn", "protocolOff",    "memberAdded", "memberRemoved",  "memberRefused",
    "vlanLearnt", "vlanLearntGone", "vlanStatic",  "vlanStaticGone", "state",
};

}  // namespace

platform::ChangesHeader ChangeStream::ask(u64 since, std::vector<platform::ChangeRecord>& changes) {
    const platform::ChangesQuery query{since, states_ ? 1U : 0U, 0};
    const Reply reply = client_.exchange({platform::Request::Changes, 0, 0, valueOfRecord(query)});
    throwIfRefused(reply);
    platform::ChangesHeader header{};
    const std::size_t size = reply.value.size();
    if (size >= sizeof header)
        std::memcpy(&header, reply.value.data(), sizeof header);
    if (size != sizeof header + header.count * sizeof(platform::ChangeRecord))
        throw ConnectionError(
            "the daemon's answer has a wrong size; mvrpctl and mvrp are of "
            "different versions");
    changes.resize(header.count);
    if (header.count != 0)
        std::memcpy(changes.data(), reply.value.data() + sizeof header, size - sizeof header);
    return header;
}

bool ChangeStream::resume(u64 since) {
    std::vector<platform::ChangeRecord> ignored;
    sequence_ = since;
    return ask(since, ignored).gap == 0;
}

void ChangeStream::begin() {
    std::vector<platform::ChangeRecord> none;
    sequence_ = ask(platform::kNever, none).newest;
}

std::optional<std::vector<platform::ChangeRecord>> ChangeStream::next() {
    std::vector<platform::ChangeRecord> changes;
    if (ask(sequence_, changes).gap != 0)
        return std::nullopt;
    if (!changes.empty())
        sequence_ = changes.back().sequence;
    return changes;
}

std::vector<platform::ChangeRecord> ChangeStream::latest(u64 most) {
    std::vector<platform::ChangeRecord> changes;
    const platform::ChangesHeader kept = ask(platform::kNever, changes);
    const u64 there = kept.newest + 1 - kept.oldest;
    if (there != 0)
        ask(kept.newest - std::min({most, there, u64{platform::kChangesPerReply}}), changes);
    return changes;
}

const char* changeName(u32 kind) {
    return kind < kNames.size() ? kNames.at(kind) : kNames.front();
}

}  // namespace cli
