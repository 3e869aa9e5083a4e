// SPDX-License-Identifier: MIT
#include "platform/replication/link_protocol.h"

#include <cstring>

namespace platform {
namespace {

template <typename Record>
std::optional<Record> readRecord(std::span<const u8> value, std::string& problem) {
    if (value.size() != sizeof(Record)) {
        problem = "the value has " + std::to_string(value.size()) +
                  " bytes; allowed: " + std::to_string(sizeof(Record));
        return std::nullopt;
    }
    Record record;
    std::memcpy(&record, value.data(), sizeof record);
    return record;
}

bool stateIsRight(const LinkState& state, std::string& problem) {
    if (state.version != kLinkVersion)
        problem = versionProblem(state.version);
    else if (!isActive(state) && state.role != static_cast<u32>(HostRole::Standby))
        problem = "role " + std::to_string(state.role) +
                  " of the other end; allowed: 1 active, "
                  "2 standby";
    else
        return true;
    return false;
}

}  // namespace

std::string versionProblem(u32 version) {
    return "the other end speaks version " + std::to_string(version) +
           " of the standby link; allowed: " + std::to_string(kLinkVersion) +
           ", the same program at both ends";
}

std::optional<LinkState> readState(std::span<const u8> value, std::string& problem) {
    auto state = readRecord<LinkState>(value, problem);
    if (state && !stateIsRight(*state, problem))
        state.reset();
    return state;
}

std::optional<LinkHello> readHello(std::span<const u8> value, std::string& problem) {
    // Another version may have another size.
    u32 version = 0;
    if (value.size() >= sizeof version)
        std::memcpy(&version, value.data(), sizeof version);
    if (value.size() >= sizeof version && version != kLinkVersion) {
        problem = versionProblem(version);
        return std::nullopt;
    }
    auto hello = readRecord<LinkHello>(value, problem);
    if (hello && !stateIsRight(hello->state, problem))
        hello.reset();
    return hello;
}

std::optional<LinkBeat> readBeat(std::span<const u8> value, std::string& problem) {
    auto beat = readRecord<LinkBeat>(value, problem);
    if (beat && !stateIsRight(beat->state, problem))
        beat.reset();
    return beat;
}

bool goesOn(const LinkState& first, const LinkState& second, bool firstListens) {
    if (first.forcedAtNs != second.forcedAtNs)
        return first.forcedAtNs > second.forcedAtNs;
    if (first.activeSinceNs != second.activeSinceNs)
        return first.activeSinceNs < second.activeSinceNs;
    return firstListens;
}

}  // namespace platform
