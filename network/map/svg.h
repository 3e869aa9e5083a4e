// SPDX-License-Identifier: MIT
//
// The picture of a network as SVG. Whatever names hold, they are text and nothing else.
#pragma once

#include <optional>
#include <string>

#include "network/map/drawing.h"

namespace network {

/// Text as it may stand in a document of XML or HTML, and between quotes there.
std::string escapeXml(const std::string& text);

/// A picture as an element of a page, which has its styles.
/// @param vid   what it is about; nothing: the network as such
/// @param name  class of the element
std::string svgPicture(const MapFacts& facts, const Drawing& drawing, std::optional<u32> vid,
                       const std::string& name);

/// A file of its own, of a usual width, with its styles for light and dark paper.
std::string svgFile(const MapFacts& facts, std::optional<u32> vid);

/// Places of a network's switches.
std::vector<Place> placesOf(const Network& network);

/// Rooms in a wide window and in a narrow one.
Room wideRoom(const Network& network);
Room narrowRoom(const Network& network);

}  // namespace network
