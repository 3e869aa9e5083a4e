// SPDX-License-Identifier: MIT
//
// The questions that several rooms ask the platform about VLANs and ports, in the daemon's words.
// Answered from memory; a query that fails is the caller's to judge.
#pragma once

#include <optional>

#include "daemon/base/bitmap.h"
#include "platform/contract/qor_if.h"
#include "platform/contract/qor_vlan.h"

/// Type of a VLAN; nothing for a VLAN the platform does not know.
inline std::optional<QorVlanType> mvrpVlanType(u32 vid) {
    u32 type = 0;
    if (qorVlanGetApi(vid, static_cast<u32>(QorVlanAttribute::Type), &type) != kStatusOk)
        return std::nullopt;
    return static_cast<QorVlanType>(type);
}

/// The VLAN exists and is of another type than `type`.
inline bool mvrpVlanKnownAndNot(u32 vid, QorVlanType type) {
    const std::optional<QorVlanType> known = mvrpVlanType(vid);
    return known.has_value() && *known != type;
}

/// Whether the port carries the VLAN by its static configuration.
inline bool mvrpPortCarriesVlan(u32 portUnit, u32 vid) {
    // The platform may write more than the VLAN ID back into the record.
    u32 record[4] = {vid, 0, 0, 0};
    return qorIfGetApi(portUnit, static_cast<u32>(QorIfAttribute::PermittedVlan), record) ==
           kStatusOk;
}

/// Whether the host lets the port register the VLAN.
inline bool mvrpPortMayRegister(u32 portUnit, u32 vid) {
    u32 record[4] = {vid, 0, 0, 0};
    return qorIfGetApi(portUnit, static_cast<u32>(QorIfAttribute::AdmittedVlan), record) ==
           kStatusOk;
}

/// Reads a set of VLANs of a port; the bitmap is untouched on failure. @return whether it worked
inline bool mvrpPortVlansRead(u32 portUnit, QorIfAttribute set, MvrpVlanBitmap* bitmap) {
    QorBuffer buffer = mvrpBitmapBuffer(*bitmap);
    return qorIfGetApi(portUnit, static_cast<u32>(set), &buffer) == kStatusOk;
}
