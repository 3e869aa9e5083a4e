// SPDX-License-Identifier: MIT
//
// Failures that a scenario injects into platform calls. A call is matched by its name and a key; a
// call has several keys, from general to precise, and any of them may be named.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/contract/types.h"

namespace scenario {

/// A key made of numbers, in its canonical text.
std::string failureKey(std::initializer_list<u64> numbers);

class FailureList {
  public:
    struct Injection {
        std::string call;
        std::string key;            ///< as written, or "*"
        u64 count = 0;              ///< calls left to fail
        u64 skip = 0;               ///< matching calls that pass first
        std::optional<u32> status;  ///< what the call answers; none: its usual failure
    };

    /// Adds an injection. Throws UsageError for an unknown call.
    void add(Injection injection);
    void clear() { injections_.clear(); }

    /// Takes one failure of a call that has these canonical keys: the oldest match with a count
    /// left.
    /// @return what the call answers, `usual` when the scenario does not say; none: it does not
    /// fail
    std::optional<u32> take(std::string_view call, std::initializer_list<std::string> keys,
                            u32 usual = kStatusFailed);

  private:
    std::vector<Injection> injections_;  // oldest first
};

}  // namespace scenario
