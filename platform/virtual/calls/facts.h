// SPDX-License-Identifier: MIT
//
// What a scenario's switch shows in place, where it is to show anything. The switch itself has its
// state in another form, which anybody changes; so a fact is looked at each time the daemon looks,
// and made anew where the state is not what it was made from. Within what the daemon does with one
// received PDU that state does not change.
#pragma once

#include <map>

#include "platform/contract/qor_facts.h"
#include "platform/virtual/state/switch_state.h"

namespace scenario {

class ShownFacts {
  public:
    /// @return what is shown of a unit until the next call; null for one that is no port, or where
    /// there are facts that can not be shown: other types of VLANs, or a PVID that does not fit
    const QorPortFacts* show(const SwitchState& state, u32 unit);

  private:
    struct Shown {
        VlanSet permitted;  ///< that the facts were made from
        QorPortFacts facts;
    };

    void showTypes(const VlanTypes& types);

    u64 typesStamp_ = 0;
    bool typesFit_ = true;  ///< all VLANs are of types that can be shown
    QorVlanTypeFacts types_;
    std::map<u32, Shown> ports_;  ///< by unit
};

}  // namespace scenario
