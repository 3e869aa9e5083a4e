// SPDX-License-Identifier: MIT
//
// A network drawn to scale: places in px of switches, of names that cover as little as can be, and
// of marks. How it is written down is another file's.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "network/map/facts.h"
#include "network/map/layout.h"

namespace network {

/// The room that a picture has, in px.
struct Room {
    double width = 0;
    double height = 0;  ///< at most
};

/// A name beside its switch.
struct Label {
    std::string text;      ///< cut where it is too long
    Place at;              ///< of the middle of its line
    const char* anchor{};  ///< of SVG: "start", "middle", "end"
};

struct Drawing {
    double width = 0;
    double height = 0;
    double radius = 0;    ///< of a switch
    double fontSize = 0;  ///< of names
    std::vector<Place> switches;
    std::vector<Label> labels;  ///< by switch
    std::vector<std::array<Place, 2>>
        cables;                    ///< from the middle of one switch to that of the other
    std::vector<Place> marks;      ///< as the facts have them
    std::vector<Place> strangers;  ///< by switch: those beside it
};

/// Draws a network into its room; a long one stands upright where the room is narrow.
/// @param places  of the switches, see placesOf()
Drawing drawingOf(const MapFacts& facts, const std::vector<Place>& places, Room room);

}  // namespace network
