// SPDX-License-Identifier: MIT
#include "tests/exhaustive/found.h"

#include <algorithm>
#include <cstring>

namespace exhaustive {
namespace {

constexpr u32 kAgeBits = 3;
constexpr u32 kAgeMask = (1U << kAgeBits) - 1;
constexpr u32 kActsAt = kAgeBits * kMostStations;
constexpr u32 kFaultsAt = kActsAt + 4;
constexpr u32 kLeaveAllsAt = kFaultsAt + 4;
constexpr u32 kExcusedAt = kLeaveAllsAt + kMostEnds;
static_assert(kExcusedAt < 32);

u32 packMove(const Move& move) {
    return static_cast<u32>(move.kind) | static_cast<u32>(move.step) << 4U |
           u32{move.station} << 8U | u32{move.port} << 12U | u32{move.frame} << 16U |
           (move.lost ? 1U : 0U) << 24U;
}

Move unpackMove(u32 bits) {
    return {static_cast<Kindred>(bits & 15U),     static_cast<Step>(bits >> 4U & 15U),
            static_cast<u8>(bits >> 8U & 15U),    static_cast<u8>(bits >> 12U & 15U),
            static_cast<u8>(bits >> 16U & 0x7FU), (bits >> 24U & 1U) != 0};
}

}  // namespace

Found::Found(const System& system)
    : stations_(system.stationCount()),
      cables_(system.cableCount()),
      width_(stations_ + cables_ + 1),
      index_(1U << 12U, kFree),
      packed_(width_) {}

void Found::pack(const Joint& joint, u32* words) {
    std::copy_n(joint.stations.begin(), stations_, words);
    for (std::size_t c = 0; c < cables_; ++c) {
        const std::array<Queue, 2> cable = {joint.queues[2 * c], joint.queues[2 * c + 1]};
        static_assert(std::has_unique_object_representations_v<Queue>);
        const auto [place, fresh] = cableIndex_.try_emplace(
            std::string(reinterpret_cast<const char*>(&cable), sizeof(cable)),
            static_cast<u32>(cableStates_.size()));
        if (fresh)
            cableStates_.push_back(cable);
        words[stations_ + c] = place->second;
    }
    u32 rest = static_cast<u32>(joint.acts) << kActsAt |
               static_cast<u32>(joint.faults) << kFaultsAt |
               static_cast<u32>(joint.leaveAlls) << kLeaveAllsAt |
               static_cast<u32>(joint.excused) << kExcusedAt;
    for (u32 i = 0; i < kMostStations; ++i)
        rest |= static_cast<u32>(joint.age[i]) << i * kAgeBits;
    words[width_ - 1] = rest;
}

Joint Found::operator[](u32 number) const {
    const u32* words = at(number);
    Joint joint = {};
    std::copy_n(words, stations_, joint.stations.begin());
    for (std::size_t c = 0; c < cables_; ++c) {
        joint.queues[2 * c] = cableStates_[words[stations_ + c]][0];
        joint.queues[2 * c + 1] = cableStates_[words[stations_ + c]][1];
    }
    const u32 rest = words[width_ - 1];
    for (u32 i = 0; i < kMostStations; ++i)
        joint.age[i] = static_cast<u8>(rest >> i * kAgeBits & kAgeMask);
    joint.acts = static_cast<u8>(rest >> kActsAt & 15U);
    joint.faults = static_cast<u8>(rest >> kFaultsAt & 15U);
    joint.leaveAlls = static_cast<u8>(rest >> kLeaveAllsAt & ((1U << kMostEnds) - 1));
    joint.excused = static_cast<u8>(rest >> kExcusedAt & 1U);
    return joint;
}

const u32* Found::at(u32 number) const {
    return chunks_[number / kChunk].get() + number % kChunk * width_;
}

u32 Found::hash(const u32* words) const {
    u64 hash = 0x9E3779B97F4A7C15;
    for (std::size_t i = 0; i < width_; ++i) {
        hash = (hash ^ words[i]) * 0xFF51AFD7ED558CCD;
        hash ^= hash >> 32U;
    }
    return static_cast<u32>(hash);
}

/// The place of a state in the index, or the free one where it belongs.
std::size_t Found::find(const u32* words) const {
    const std::size_t mask = index_.size() - 1;
    for (std::size_t place = hash(words) & mask;; place = (place + 1) & mask)
        if (index_[place] == kFree || std::equal(words, words + width_, at(index_[place])))
            return place;
}

void Found::grow() {
    std::vector<u32> numbers(index_.size() * 2, kFree);
    numbers.swap(index_);
    for (const u32 number : numbers)
        if (number != kFree)
            index_[find(at(number))] = number;
}

std::pair<u32, bool> Found::add(const Joint& joint, u32 from, const Move& move) {
    pack(joint, packed_.data());
    std::size_t place = find(packed_.data());
    if (index_[place] != kFree)
        return {index_[place], false};
    const u32 number = static_cast<u32>(size());
    if (size() * 4 >= index_.size() * 3) {
        grow();
        place = find(packed_.data());
    }
    if (number % kChunk == 0)
        chunks_.push_back(std::make_unique<u32[]>(kChunk * width_));
    std::copy(packed_.begin(), packed_.end(), chunks_.back().get() + number % kChunk * width_);
    index_[place] = number;
    ways_.push_back({from, packMove(move)});
    return {number, true};
}

u32 Found::numberOf(const Joint& joint) {
    pack(joint, packed_.data());
    return index_[find(packed_.data())];
}

std::string Found::way(const System& system, u32 number) const {
    std::vector<u32> path;
    for (u32 at = number; ways_[at].from != at; at = ways_[at].from)
        path.push_back(at);
    std::string text;
    std::reverse(path.begin(), path.end());
    for (const u32 at : path)
        text += "  " + system.describe(unpackMove(ways_[at].move)) + "   " +
                system.describe((*this)[at]) + "\n";
    return text;
}

}  // namespace exhaustive
