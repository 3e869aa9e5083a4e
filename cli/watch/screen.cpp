// SPDX-License-Identifier: MIT
#include "cli/watch/screen.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>

namespace cli {

namespace {

constexpr const char* kEnter = "\x1b[?1049h\x1b[?25l";  // second screen, no cursor
constexpr const char* kLeave = "\x1b[?25h\x1b[?1049l";

volatile std::sig_atomic_t gEnd = 0;
termios gBefore{};

void endRequested(int) {
    gEnd = 1;
}

void write(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

winsize sizeOfTerminal() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        size = {24, 80, 0, 0};
    return size;
}

}  // namespace

Screen::Screen() {
    if (tcgetattr(STDIN_FILENO, &gBefore) == 0) {
        termios raw = gBefore;
        raw.c_lflag &= static_cast<tcflag_t>(~static_cast<tcflag_t>(ICANON | ECHO));
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    struct sigaction action {};
    action.sa_handler = endRequested;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
    write(kEnter);
}

Screen::~Screen() {
    write(kLeave);
    tcsetattr(STDIN_FILENO, TCSANOW, &gBefore);
}

ScreenDrawing Screen::show(const ScreenView& view, bool colour) const {
    const winsize size = sizeOfTerminal();
    std::string text = "\x1b[H";
    ScreenDrawing drawn = drawScreen(view, size.ws_col, size.ws_row, {colour, size.ws_col});
    for (std::size_t i = 0; i < drawn.lines.size() && i < size.ws_row; ++i)
        text += (i == 0 ? "" : "\r\n") + drawn.lines[i] + "\x1b[K";
    write(text + "\x1b[J");
    return drawn;
}

std::vector<Key> Screen::wait(int ms) const {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    std::vector<Key> keys;
    if (poll(&input, 1, ms) > 0) {
        std::array<char, 64> bytes{};
        const ssize_t got = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (got <= 0)
            return {Key::End};
        keys = keysOf({bytes.data(), static_cast<std::size_t>(got)});
    }
    if (gEnd != 0)
        keys.push_back(Key::End);
    return keys;
}

}  // namespace cli
