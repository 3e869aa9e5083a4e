// SPDX-License-Identifier: MIT
//
// The full-screen form of `mvrpctl watch`: VLANs by ports, and the latest changes below. Drawing is
// a pure function; Screen owns the terminal while it lives.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "cli/watch/watch_output.h"

namespace cli {

struct ScreenView {
    std::string title;
    std::string problem;  ///< the daemon can not be reached: why; empty: it can
    VlansView vlans;
    u64 timeMs = 0;                   ///< of the view
    std::deque<std::string> changes;  ///< latest last, without colours
    std::size_t firstRow = 0;         ///< rows of VLANs that are scrolled away above
    std::size_t firstPort = 0;        ///< ports that are scrolled away on the left
};

/// A screen, and how much of the view it shows.
struct ScreenDrawing {
    std::vector<std::string> lines;
    std::size_t rows = 0;  ///< of VLANs that there are; VLANs that look alike share one
    std::size_t rowsShown = 0;
    std::size_t portsShown = 0;
};

/// A screen of this size; no line is longer than `columns`, as it is seen. Where the names of the
/// ports find no room their units stand for them, then a column a port with its number on end.
ScreenDrawing drawScreen(const ScreenView& view, std::size_t columns, std::size_t rows,
                         const Style& style);

/// What a person asks for at the keyboard.
enum class Key { End, Up, Down, Left, Right, PageUp, PageDown, First, Last };
/// What the bytes that a terminal sends mean: arrows and Page keys, h j k l, space and b, g and G,
/// q. Others mean nothing.
std::vector<Key> keysOf(std::string_view bytes);
/// Scrolls the view by a key, as far as there is something to see.
void scroll(ScreenView& view, const ScreenDrawing& drawn, Key key);

/// Takes the terminal over, and gives it back at its end.
class Screen {
  public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    Screen(Screen&&) = delete;
    Screen& operator=(Screen&&) = delete;

    ScreenDrawing show(const ScreenView& view, bool colour) const;
    /// Waits for keys, ms. @return those that came; End for Ctrl-C or a signal, too
    std::vector<Key> wait(int ms) const;
};

}  // namespace cli
