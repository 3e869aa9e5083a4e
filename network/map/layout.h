// SPDX-License-Identifier: MIT
//
// Where the switches of a network stand in its picture: distances on paper come near to the number
// of cables between them (stress majorisation), and the longest way through the network lies level.
#pragma once

#include <utility>
#include <vector>

#include "platform/contract/types.h"

namespace network {

/// In lengths of a cable.
struct Place {
    double x = 0;
    double y = 0;
};

/// By number, what each switch has a cable to.
using Adjacency = std::vector<std::vector<std::size_t>>;

/// A place for each; the same network has the same ones every time. Switches that no cable reaches
/// stand a little further away than the two that are furthest apart.
std::vector<Place> placesOf(const Adjacency& neighbours);

}  // namespace network
