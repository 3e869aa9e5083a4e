// SPDX-License-Identifier: MIT
//
// What a scenario's switch shows in place, where it is to show anything: made anew each time the
// daemon looks, from the state that answers its questions. Within what the daemon does with one
// received PDU that state does not change.
#pragma once

#include "platform/contract/qor_facts.h"
#include "platform/virtual/state/switch_state.h"

namespace scenario {

class ShownFacts {
  public:
    /// @return what is shown of a unit until the next call; null for one that is no port, or where
    /// there are facts that can not be shown: other types of VLANs, or a PVID that does not fit
    const QorPortFacts* show(const SwitchState& state, u32 unit);

  private:
    QorVlanTypeFacts types_;
    QorPortFacts port_;
};

}  // namespace scenario
