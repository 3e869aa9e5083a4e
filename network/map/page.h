// SPDX-License-Identifier: MIT
//
// The map as a page: one file that needs nothing else, the pictures in it and the facts as JSON.
#pragma once

#include <optional>
#include <string>

#include "network/map/facts.h"

namespace network {

/// @param vid  what it opens on; nothing: the network as such
std::string mapPage(const MapFacts& facts, std::optional<u32> vid);

}  // namespace network
