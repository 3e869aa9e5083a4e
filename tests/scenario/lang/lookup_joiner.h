// SPDX-License-Identifier: MIT
//
// Shortens a trace for people and for the record: look-ups that follow each other and differ only
// in a VLAN ID that rises by one become one line, `vlanget 2-4095 3501`.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/contract/types.h"
#include "platform/virtual/state/trace.h"

namespace scenario {

class LookupJoiner {
  public:
    explicit LookupJoiner(Trace::Sink sink) : sink_(std::move(sink)) {}

    /// Takes one line with its line end.
    void take(std::string_view line);
    /// Hands on what is held back. Call it after the last line.
    void flush();

  private:
    /// One line of a look-up, around its VLAN ID.
    struct Lookup {
        std::string before;
        u64 vid = 0;
        std::string after;
    };

    static std::optional<Lookup> parse(std::string_view line);

    Trace::Sink sink_;
    std::optional<Lookup> held_;  // the first of the run that is being joined
    u64 lastVid_ = 0;
};

}  // namespace scenario
