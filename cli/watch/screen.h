// SPDX-License-Identifier: MIT
//
// The full-screen form of `mvrpctl watch`: VLANs by ports, and the latest changes below. Drawing is
// a pure function; Screen owns the terminal while it lives.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "cli/watch/watch_output.h"

namespace cli {

struct ScreenView {
    std::string title;
    std::string problem;  ///< the daemon can not be reached: why; empty: it can
    VlansView vlans;
    u64 timeMs = 0;                   ///< of the view
    std::deque<std::string> changes;  ///< latest last, without colours
};

/// The lines of a screen of this size; none is longer than `columns`, as it is seen.
std::vector<std::string> drawScreen(const ScreenView& view, std::size_t columns, std::size_t rows,
                                    const Style& style);

/// Takes the terminal over, and gives it back at its end.
class Screen {
  public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    Screen(Screen&&) = delete;
    Screen& operator=(Screen&&) = delete;

    void show(const ScreenView& view, bool colour) const;
    /// Waits. @return false when the person wants to end it: q, Ctrl-C, or a signal
    bool wait(int ms) const;
};

}  // namespace cli
