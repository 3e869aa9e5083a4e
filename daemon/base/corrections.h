// SPDX-License-Identifier: MIT
//
// Which corrections are on: named amendments of single rules, which a host may ask for. Each is
// asked about where its rule stands, so that the rule and its amendment are read side by side;
// tests/checks/corrections.py counts the places.
//
// Lock: the set is written at the start alone, so it is read with or without gMvrpInfo.sem.
#pragma once

#include "daemon/base/info.h"
#include "platform/contract/corrections.h"

/// Whether a correction is on. Ask once for many VLANs, not for each.
inline bool mvrpCorrects(Correction which) {
    return gMvrpInfo.corrections.has(which);
}

/// The same where a yes changes what happens, of which the host is told: to a VLAN on a port, or to
/// a port (`vid` 0), or to the switch (`unit` 0). Lock: held.
inline bool mvrpCorrectsNow(Correction which, u32 unit, u32 vid) {
    if (!mvrpCorrects(which))
        return false;
    correctionActed(which, unit, vid);
    return true;
}
