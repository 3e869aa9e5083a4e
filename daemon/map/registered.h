// SPDX-License-Identifier: MIT
//
// Which VLANs the ports of the switch have registered because somebody behind them declares them:
// REG-BIT on an enabled port, with a registrar that is not fixed. Lock: gMvrpInfo.sem held by the
// caller.
#pragma once

#include "daemon/db/port.h"

/// Whether an enabled port of another unit has registered the VLAN.
bool mvrpRegisteredOnOther(u32 vid, const MvrpPortEntry* port);

/// The VLANs that the enabled ports of other units than one have registered, at one moment.
class MvrpRegisteredElsewhere {
  public:
    explicit MvrpRegisteredElsewhere(const MvrpPortEntry* source);

    const MvrpVlanBitmap& any() const { return once_; }
    /// Those that are needed on `target`: registered on a port that is not `target` either, or
    /// fixed on `target` itself.
    MvrpVlanBitmap neededOn(const MvrpPortEntry* target) const;

  private:
    MvrpVlanBitmap once_ = {};   ///< on a port at least
    MvrpVlanBitmap twice_ = {};  ///< on two at least
};

/// The same for one VLAN: whether it is needed on `target` though `source` lets go of it.
bool mvrpNeededOn(const MvrpPortEntry* target, u32 vid, const MvrpPortEntry* source);
