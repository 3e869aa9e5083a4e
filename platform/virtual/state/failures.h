// SPDX-License-Identifier: MIT
//
// Failures that a scenario injects into platform calls. A call is matched by its name and a key; a
// call has several keys, from general to precise, and any of them may be named.
#pragma once

#include <array>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/contract/types.h"

namespace scenario {

/// One key of a call: a name, or numbers. Its text is only made when an injection has to be
/// compared with it, so that a call which nothing can fail costs none. Holds no copy of a name.
class FailureKey {
  public:
    FailureKey(std::string_view name) : name_(name) {}
    FailureKey(const char* name) : name_(name) {}
    FailureKey(const std::string& name) : name_(name) {}
    /// At most three numbers.
    explicit FailureKey(std::initializer_list<u64> numbers) {
        for (const u64 number : numbers)
            if (count_ < numbers_.size())
                numbers_[count_++] = number;
    }

    /// In the canonical form.
    std::string text() const;

  private:
    std::string_view name_;
    std::array<u64, 3> numbers_{};
    std::size_t count_ = 0;  ///< of numbers; 0: the name is the key
};

/// A key made of numbers.
inline FailureKey failureKey(std::initializer_list<u64> numbers) {
    return FailureKey(numbers);
}

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
    bool empty() const { return injections_.empty(); }
    /// Whether a call of that name may still fail.
    bool concerns(std::string_view call) const;

    /// Takes one failure of a call that has these canonical keys: the oldest match with a count
    /// left.
    /// @return what the call answers, `usual` when the scenario does not say; none: it does not
    /// fail
    std::optional<u32> take(std::string_view call, std::initializer_list<FailureKey> keys,
                            u32 usual = kStatusFailed) {
        return injections_.empty() ? std::nullopt : takeMatch(call, keys, usual);
    }

  private:
    std::optional<u32> takeMatch(std::string_view call, std::initializer_list<FailureKey> keys,
                                 u32 usual);

    std::vector<Injection> injections_;  // oldest first; each has a count left
};

}  // namespace scenario
