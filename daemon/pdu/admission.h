// SPDX-License-Identifier: MIT
//
// Which VLANs a port may register. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include "daemon/base/corrections.h"
#include "daemon/db/facts.h"
#include "daemon/db/port.h"
#include "daemon/fsm/states.h"

/// Whether the host is asked which VLANs may be registered.
inline bool mvrpAdmissionAsked() {
    return mvrpCorrects(Correction::Admission);
}

/// Whether a port may hear a declaration of a VLAN: what it has registered it goes on hearing,
/// about the rest the host is asked, with the correction admission.
inline bool mvrpPortAdmits(const MvrpPortEntry* port, const MvrpFacts& facts, u32 vid) {
    if (mvrpBitTest(&port->madMachine[vid - 1], MVRP_REG_BIT) != 0 || !mvrpAdmissionAsked() ||
        mvrpPortMayRegister(facts, vid))
        return true;
    correctionActed(Correction::Admission, port->portunit, vid);
    return false;
}
