// SPDX-License-Identifier: MIT
//
// What the daemon prints with printf and perror. A program that links platform_console_wrap has it
// pass through here: it goes to the console as always, and to the capture of the calling thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

/// Keeps what the calling thread prints while it exists. One at a time in a thread.
class ConsoleCapture {
  public:
    /// @param limit  most bytes kept; what follows is left out and kCaptureCut appended once
    explicit ConsoleCapture(std::size_t limit);
    ~ConsoleCapture();
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;
    ConsoleCapture(ConsoleCapture&&) = delete;
    ConsoleCapture& operator=(ConsoleCapture&&) = delete;

    const std::string& text() const { return text_; }

    /// The capture of the calling thread, or null.
    static ConsoleCapture* ofCaller();
    void append(std::string_view printed);

  private:
    std::string text_;
    std::size_t limit_;
    bool cut_ = false;
};

inline constexpr std::string_view kCaptureCut = "\n... more was printed than fits an answer\n";

}  // namespace platform
