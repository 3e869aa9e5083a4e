// SPDX-License-Identifier: MIT
//
// The trace of a run: echoed commands, the events of the platform, state and results. One line
// each, written to a sink in the order of the calls.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/contract/types.h"

namespace scenario {

class Trace {
  public:
    /// Receives whole lines, each with its line end.
    using Sink = std::function<void(std::string_view)>;

    /// Without a sink nothing is written.
    explicit Trace(Sink sink) : sink_(std::move(sink)) {}

    bool on() const { return static_cast<bool>(sink_); }

    /// The echo of a command.
    void echo(std::string_view command);
    /// An event at a virtual time; a line with that time precedes it when it is another than that
    /// of the event before.
    void event(u64 nowMs, std::string_view text);
    /// State or a result: indented like an event, without regard to the time.
    void line(std::string_view text);

  private:
    void write(std::string_view indent, std::string_view text);

    Sink sink_;
    u64 printedMs_ = 0;  // virtual time of the last event
};

/// `text` in double quotes, with \r \n \t \" \\ written as escapes, other control characters as
/// \xNN.
std::string quoteText(std::string_view text);

std::string toHex(const u8* bytes, std::size_t count);

/// A result: decimal below 256, -1, else hexadecimal.
std::string formatStatus(u32 status);

}  // namespace scenario
