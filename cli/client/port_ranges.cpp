// SPDX-License-Identifier: MIT
#include "cli/client/port_ranges.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "cli/client/mistakes.h"
#include "cli/client/queries.h"

namespace cli {

namespace {

using platform::SwitchPortRecord;

constexpr const char* kDigits = "0123456789";
constexpr std::size_t kMostDigits = 9;

std::optional<u32> numberOf(std::string_view digits) {
    u32 number = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
    const bool whole = error == std::errc() && end == digits.end() && digits.size() <= kMostDigits;
    if (!whole || (digits.size() > 1 && digits.front() == '0'))
        return std::nullopt;
    return number;
}

/// A list of ports that is read.
class Choice {
  public:
    explicit Choice(const std::vector<SwitchPortRecord>& all) : all_(all) {}

    void add(const std::string& word) {
        if (!addOne(word) && !addRange(word))
            refuse(word);
    }

    std::vector<SwitchPortRecord> ports() const {
        std::vector<SwitchPortRecord> ports;
        for (const SwitchPortRecord& port : all_)
            if (units_.contains(port.unit))
                ports.push_back(port);
        return ports;
    }

  private:
    /// An interface may be called by a number, which is what a person sees of it.
    bool addOne(std::string_view word) {
        const auto named = std::ranges::find_if(
            all_, [word](const SwitchPortRecord& port) { return word == port.name.data(); });
        if (named != all_.end())
            return units_.insert(named->unit), true;
        const auto number = numberOf(word);
        const auto numbered = std::ranges::find_if(
            all_, [number](const SwitchPortRecord& port) { return port.unit == number; });
        return numbered != all_.end() && (units_.insert(numbered->unit), true);
    }

    bool addRange(const std::string& word) {
        const std::size_t dash = word.rfind('-');
        if (dash == std::string::npos)
            return false;
        const NumberedName first = numberedName(std::string_view(word).substr(0, dash));
        const auto last = numberOf(std::string_view(word).substr(dash + 1));
        if (!first.number || !last || *last < *first.number)
            return false;
        for (u32 number = *first.number; number <= *last; ++number)
            if (!addOne(std::string(first.word) + std::to_string(number)))
                return false;
        return true;
    }

    [[noreturn]] void refuse(const std::string& word) const {
        std::vector<std::string> names;
        for (const SwitchPortRecord& port : all_)
            names.emplace_back(port.name.data());
        throw RefusedError(static_cast<u32>(platform::HostStatus::NoSuchPort),
                           "the switch has no port '" + word + "'" + guess(word, names) +
                               "; its ports are: " + portRangesText(names, ", ", "none"));
    }

    const std::vector<SwitchPortRecord>& all_;
    std::set<u32> units_;
};

}  // namespace

NumberedName numberedName(std::string_view name) {
    const std::size_t last = name.find_last_not_of(kDigits);
    const std::size_t length = last == std::string_view::npos ? 0 : last + 1;
    const auto number = numberOf(name.substr(length));
    return number ? NumberedName{name.substr(0, length), number} : NumberedName{name, {}};
}

std::vector<std::string> portRanges(const std::vector<std::string>& names) {
    std::vector<std::string> ranges;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const NumberedName first = numberedName(names[i]);
        std::size_t end = i;
        const auto follows = [&](std::size_t index) {
            const NumberedName next = numberedName(names[index]);
            return first.number && !first.word.empty() && next.word == first.word &&
                   next.number == *first.number + static_cast<u32>(index - i);
        };
        while (end + 1 < names.size() && follows(end + 1))
            ++end;
        ranges.push_back(end == i
                             ? names[i]
                             : names[i] + "-" + std::to_string(*numberedName(names[end]).number));
        i = end;
    }
    return ranges;
}

std::string portRangesText(const std::vector<std::string>& names, const char* between,
                           const char* none) {
    std::string text;
    for (const std::string& range : portRanges(names))
        text += (text.empty() ? "" : between) + range;
    return text.empty() ? none : text;
}

std::vector<SwitchPortRecord> choosePorts(const std::vector<SwitchPortRecord>& all,
                                          const std::string& list) {
    Choice choice(all);
    for (std::size_t start = 0; start <= list.size();) {
        const std::size_t comma = std::min(list.find(',', start), list.size());
        choice.add(list.substr(start, comma - start));
        start = comma + 1;
    }
    return choice.ports();
}

}  // namespace cli
