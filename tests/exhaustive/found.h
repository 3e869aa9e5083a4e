// SPDX-License-Identifier: MIT
//
// The joint states that an exploration has found, numbered in the order of their finding. Exact:
// states are kept whole, in some 20 to 50 bytes each, and none is taken for another.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tests/exhaustive/system.h"

namespace exhaustive {

class Found {
  public:
    explicit Found(const System& system);

    /// @param from  the state that it was found from, by a move
    /// @return the number of a state, and whether it is new
    std::pair<u32, bool> add(const Joint& joint, u32 from, const Move& move);
    std::size_t size() const { return ways_.size(); }
    Joint operator[](u32 number) const;
    /// The number of a state that was found.
    u32 numberOf(const Joint& joint);

    /// The moves from the beginning to a state, a line each. Where states are alike, the numbers of
    /// ports and stations change from line to line.
    std::string way(const System& system, u32 number) const;

  private:
    /// How a state was found first; the move's fields by their bits.
    struct Way {
        u32 from;
        u32 move;
    };
    static constexpr std::size_t kChunk = 1U << 16U;  // states
    static constexpr u32 kFree = ~0U;

    void pack(const Joint& joint, u32* words);
    const u32* at(u32 number) const;
    u32 hash(const u32* words) const;
    std::size_t find(const u32* words) const;
    void grow();

    std::size_t stations_;
    std::size_t cables_;
    std::size_t width_;  ///< words of a state: one for each station and cable, and one more
    std::vector<std::unique_ptr<u32[]>> chunks_;
    std::vector<u32> index_;  ///< open addressing: numbers of states
    std::vector<Way> ways_;
    std::unordered_map<std::string, u32> cableIndex_;
    std::vector<std::array<Queue, 2>> cableStates_;  ///< by number: both directions of a cable
    std::vector<u32> packed_;
};

}  // namespace exhaustive
