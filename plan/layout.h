// SPDX-License-Identifier: MIT
//
// What a network that is planned looks like: switches, the cables between them, timers. Read from a
// topology file of the lab, or made up in a shape. Values, owned by whoever holds them; no lock.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/config/config_tree.h"
#include "platform/contract/corrections.h"
#include "platform/contract/types.h"
#include "platform/model/vlan_ranges.h"

namespace plan {

inline constexpr u32 kMostSwitches = 1000;
inline constexpr u32 kMostPorts = 48;
inline constexpr u32 kLeastTreePorts = 3;  ///< with two a tree is a line
inline constexpr u32 kMostVlans = 4093;    ///< 2 to 4094

/// Timer settings of a port in ms; what is not given is the daemon's default.
struct Timers {
    std::optional<u32> joinMs;
    std::optional<u32> leaveMs;
    std::optional<u32> leaveAllMs;

    /// These, and where one is not given that of `others`.
    Timers over(const Timers& others) const;
};

struct Cable {
    std::array<u32, 2> ends{};  ///< numbers of switches
    Timers timers;
};

struct Layout {
    std::vector<std::string> names;                 ///< of the switches
    std::vector<platform::VlanBitmap> staticVlans;  ///< by switch, from the start
    std::vector<Cable> cables;
    Timers timers;
    std::optional<CorrectionSet> corrections;  ///< of all switches, where the file says so
    u32 leastPorts = 0;  ///< ports of each switch, if its cables do not need more
};

/// What is wrong with a layout: with a file its line, with an option what is allowed.
struct LayoutError {
    std::string text;
};

enum class Shape : u8 { Line, Star, Tree };

/// A network of `switches` in a shape. A tree gives each switch as many cables as it has ports.
/// @param ports  of each switch, kLeastTreePorts at least for a tree
Layout makeShape(Shape shape, u32 switches, u32 ports);

/// Reads the switches, cables and timers of a topology file; cables that are down, hosts and steps
/// are left out. @return the layout, or what is wrong
std::optional<Layout> parseTopology(std::string_view document, std::string_view name,
                                    LayoutError& error);

/// @return what keeps the layout from being planned: how many switches, their timers, a ring, two
///         parts; empty when nothing does
std::string layoutProblem(const Layout& layout);

}  // namespace plan
