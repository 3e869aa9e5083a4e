// SPDX-License-Identifier: MIT
#include "platform/virtual/state/failures.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "platform/virtual/state/words.h"

namespace scenario {
namespace {

constexpr std::string_view kEveryKey = "*";

constexpr auto kCalls = std::to_array<std::string_view>(
    {"ifget",     "ifset", "ifsync",  "vlanget",  "vlansync",  "ifname",     "indextrans", "hwget",
     "cmdsync",   "send",  "sockopt", "socket",   "bind",      "listen",     "accept",     "ioctl",
     "semcreate", "task",  "select",  "poolinit", "poolalloc", "pooldestroy"});

std::string lowered(std::string_view word) {
    std::string text(word);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

/// One key whichever way its numbers were written.
std::string canonical(std::string_view key) {
    std::string text;
    for (std::size_t start = 0; start <= key.size();) {
        const auto colon = std::min(key.find(':', start), key.size());
        const auto part = key.substr(start, colon - start);
        const auto number = numberOf(part);
        text += (start == 0 ? "" : ":") + (number ? std::to_string(*number) : lowered(part));
        start = colon + 1;
    }
    return text;
}

}  // namespace

std::string FailureKey::text() const {
    if (count_ == 0)
        return std::string(name_);
    std::string text = std::to_string(numbers_[0]);
    for (std::size_t index = 1; index < count_; index++)
        text += ":" + std::to_string(numbers_[index]);
    return text;
}

void FailureList::add(Injection injection) {
    if (std::find(kCalls.begin(), kCalls.end(), injection.call) == kCalls.end()) {
        std::string allowed;
        for (const auto call : kCalls)
            allowed += (allowed.empty() ? "" : ", ") + std::string(call);
        throw UsageError("'" + injection.call +
                         "' is not a call that can fail; allowed: " + allowed);
    }
    injection.key = canonical(injection.key);
    if (injection.count > 0)
        injections_.push_back(std::move(injection));
}

bool FailureList::concerns(std::string_view call) const {
    return std::ranges::any_of(
        injections_, [call](const Injection& injection) { return injection.call == call; });
}

std::optional<u32> FailureList::takeMatch(std::string_view call,
                                          std::initializer_list<FailureKey> keys, u32 usual) {
    for (auto injection = injections_.begin(); injection != injections_.end(); ++injection) {
        if (injection->call != call)
            continue;
        if (injection->key != kEveryKey &&
            std::none_of(keys.begin(), keys.end(), [&injection](const FailureKey& key) {
                return key.text() == injection->key;
            }))
            continue;
        if (injection->skip > 0) {
            injection->skip--;
            continue;
        }
        const u32 status = injection->status.value_or(usual);
        if (--injection->count == 0)
            injections_.erase(injection);
        return status;
    }
    return std::nullopt;
}

}  // namespace scenario
