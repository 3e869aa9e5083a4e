// SPDX-License-Identifier: MIT
//
// The keys of the full-screen watch, and what they scroll.
#include <algorithm>
#include <array>

#include "cli/watch/screen.h"

namespace cli {

namespace {

struct KeyBytes {
    std::string_view bytes;
    Key key;
};

/// As terminals send them; arrows in both of their modes.
constexpr std::array kKeys = {
    KeyBytes{"\x1b[A", Key::Up},      KeyBytes{"\x1bOA", Key::Up},
    KeyBytes{"\x1b[B", Key::Down},    KeyBytes{"\x1bOB", Key::Down},
    KeyBytes{"\x1b[C", Key::Right},   KeyBytes{"\x1bOC", Key::Right},
    KeyBytes{"\x1b[D", Key::Left},    KeyBytes{"\x1bOD", Key::Left},
    KeyBytes{"\x1b[5~", Key::PageUp}, KeyBytes{"\x1b[6~", Key::PageDown},
    KeyBytes{"\x1b[H", Key::First},   KeyBytes{"\x1bOH", Key::First},
    KeyBytes{"\x1b[1~", Key::First},  KeyBytes{"\x1b[F", Key::Last},
    KeyBytes{"\x1bOF", Key::Last},    KeyBytes{"\x1b[4~", Key::Last},
    KeyBytes{"k", Key::Up},           KeyBytes{"j", Key::Down},
    KeyBytes{"h", Key::Left},         KeyBytes{"l", Key::Right},
    KeyBytes{" ", Key::PageDown},     KeyBytes{"b", Key::PageUp},
    KeyBytes{"g", Key::First},        KeyBytes{"G", Key::Last},
    KeyBytes{"q", Key::End},          KeyBytes{"Q", Key::End},
};

/// Bytes of a sequence that begins here and means nothing to us.
std::size_t lengthOfUnknown(std::string_view bytes) {
    if (!bytes.starts_with("\x1b["))
        return 1;
    const auto last =
        std::ranges::find_if(bytes.substr(2), [](char c) { return c >= '@' && c <= '~'; });
    return std::min(bytes.size(), static_cast<std::size_t>(last - bytes.begin()) + 1);
}

/// Moves a first thing by `step`, so that the last page stays full.
void move(std::size_t& first, std::ptrdiff_t step, std::size_t shown, std::size_t all) {
    const auto last = static_cast<std::ptrdiff_t>(all > shown ? all - shown : 0);
    const auto now = std::min(static_cast<std::ptrdiff_t>(first), last);
    first = static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(now + step, 0, last));
}

}  // namespace

std::vector<Key> keysOf(std::string_view bytes) {
    std::vector<Key> keys;
    while (!bytes.empty()) {
        const auto* const found = std::ranges::find_if(
            kKeys, [bytes](const KeyBytes& key) { return bytes.starts_with(key.bytes); });
        if (found != kKeys.end())
            keys.push_back(found->key);
        bytes.remove_prefix(found != kKeys.end() ? found->bytes.size() : lengthOfUnknown(bytes));
    }
    return keys;
}

void scroll(ScreenView& view, const ScreenDrawing& drawn, Key key) {
    const std::size_t ports = view.vlans.ports.size();
    const auto page = static_cast<std::ptrdiff_t>(std::max<std::size_t>(drawn.rowsShown, 1));
    const auto all = static_cast<std::ptrdiff_t>(drawn.rows);
    const auto rows = [&](std::ptrdiff_t step) {
        move(view.firstRow, step, drawn.rowsShown, drawn.rows);
    };
    switch (key) {
        case Key::Up:
            return rows(-1);
        case Key::Down:
            return rows(1);
        case Key::PageUp:
            return rows(-page);
        case Key::PageDown:
            return rows(page);
        case Key::First:
            return rows(-all);
        case Key::Last:
            return rows(all);
        case Key::Left:
            return move(view.firstPort, -1, drawn.portsShown, ports);
        case Key::Right:
            return move(view.firstPort, 1, drawn.portsShown, ports);
        case Key::End:
            return;
    }
}

}  // namespace cli
