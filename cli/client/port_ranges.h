// SPDX-License-Identifier: MIT
//
// Ports as people write and read many of them: "swp1-48,uplink".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/channel/protocol.h"

namespace cli {

/// "swp12" as "swp" and 12. A name whose number would not be written back the same ("swp01") is a
/// word as a whole.
struct NumberedName {
    std::string_view word;  ///< of the name that was given
    std::optional<u32> number;
};
NumberedName numberedName(std::string_view name);

/// Names that end in successive numbers, put together: {"swp1", "swp2", "uplink"} is
/// {"swp1-2", "uplink"}. The order stays.
std::vector<std::string> portRanges(const std::vector<std::string>& names);
/// The same as one text, "none" where there are none.
std::string portRangesText(const std::vector<std::string>& names, const char* between = ", ",
                           const char* none = "-");

/// Those of `all` that a list names, in the order of `all`: names and units, ranges of both
/// ("swp1-4", "1-4"), with commas. A name that looks like a range is that port's. Throws
/// RefusedError, with the ports that there are, for a name that is none, and for a range of which a
/// part is none.
std::vector<platform::SwitchPortRecord> choosePorts(
    const std::vector<platform::SwitchPortRecord>& all, const std::string& list);

}  // namespace cli
