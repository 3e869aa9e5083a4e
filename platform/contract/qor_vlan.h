// SPDX-License-Identifier: MIT
//
// VLAN service: the VLANs of the switch and their kinds.
#pragma once

#include "platform/contract/types.h"

/// VLAN attributes for qorVlanGetApi(), and scalars for qorVlanScalarSyncApi().
enum class QorVlanAttribute : u32 {
    CreateDynamic = 20,  ///< scalar, QorBuffer: create those that do not exist, as dynamic
    DeleteDynamic = 21,  ///< scalar, QorBuffer: delete those that are dynamic and without member
    Exists = 37,         ///< read, u32: succeeds for any VLAN that exists
    Type = 3501,         ///< read, u32 QorVlanType
};

enum class QorVlanType : u32 { Static = 2, Dynamic = 6 };

/// Fails for a VLAN that does not exist, and leaves the output untouched then.
u32 qorVlanGetApi(u32 vid, u32 attribute, void* value);
/// All of a call happens or none of it.
u32 qorVlanScalarSyncApi(u32 unit, u32 attribute, void* descriptor);
