// SPDX-License-Identifier: MIT
#include "tests/scenario/lang/lookup_joiner.h"

#include "platform/virtual/state/vlan_set.h"
#include "tests/scenario/lang/text.h"

namespace scenario {

std::optional<LookupJoiner::Lookup> LookupJoiner::parse(std::string_view line) {
    const auto words = splitWords(line);
    if (words.size() == 3 && words[0] == "vlanget" && numberOf(words[1]))
        return Lookup{"  vlanget ", *numberOf(words[1]), " " + words[2] + "\n"};
    if (words.size() == 4 && words[0] == "ifget" && numberOf(words[3]))
        return Lookup{"  ifget " + words[1] + " " + words[2] + " ", *numberOf(words[3]), "\n"};
    return std::nullopt;
}

void LookupJoiner::take(std::string_view line) {
    auto lookup = parse(line);
    if (lookup && held_ && lookup->before == held_->before && lookup->after == held_->after &&
        lookup->vid == lastVid_ + 1) {
        lastVid_ = lookup->vid;
        return;
    }
    flush();
    if (!lookup) {
        sink_(line);
        return;
    }
    lastVid_ = lookup->vid;
    held_ = std::move(lookup);
}

void LookupJoiner::flush() {
    if (!held_)
        return;
    sink_(held_->before + formatRun(held_->vid, lastVid_) + held_->after);
    held_.reset();
}

}  // namespace scenario
