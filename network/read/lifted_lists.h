// SPDX-License-Identifier: MIT
//
// Long lists of VLANs are most of a snapshot where sets are no ranges, ten thousand characters each
// and the same again and again. They are read before the document is, each once, and the parser
// meets a short word in their place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/model/vlan_ranges.h"

namespace network {

class LiftedLists {
  public:
    /// Lifts what stands behind keys that begin with "vlans".
    /// @param text  a JSON document, or anything else
    explicit LiftedLists(std::string_view text);

    /// The document with words in place of lists. One that has texts like those words by itself is
    /// left as it is.
    const std::string& text() const { return text_; }
    /// The list that a word stands for; null for any other text.
    const platform::VlanBitmap* find(std::string_view word) const;

  private:
    void lift(std::string_view text);
    bool take(std::string_view list);

    std::string text_;
    std::vector<platform::VlanBitmap> lists_;
    std::vector<std::string_view> known_;  ///< as they stood in the document, by list
};

}  // namespace network
