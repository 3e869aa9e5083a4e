// SPDX-License-Identifier: MIT
//
// Interface service: attributes of ports, aggregations and VLAN interfaces, by unit.
//
// Every read is answered from memory in well under a microsecond, without a system call. A failing
// read leaves its output untouched; a failing write changes nothing.
#pragma once

#include "platform/contract/types.h"

/// Interface attributes. The comment gives the type behind `value`.
enum class QorIfAttribute : u32 {
    LinkState = 19,            ///< read, u32: 1 up
    MacAddress = 33,           ///< read, QorBuffer of 6 bytes
    ProtocolEnable = 56,       ///< write, u32 protocol id
    ProtocolDisable = 57,      ///< write, u32 protocol id
    Mtu = 78,                  ///< read, u32 bytes
    Eligible = 156,            ///< read, u32: 1 when the port may run the protocol
    Pvid = 159,                ///< read, u32
    PermittedTagged = 184,     ///< read, QorBuffer of 512 bytes: VLANs the port carries tagged
    AddDynamic = 192,          ///< sync, QorBuffer: add dynamic tagged membership
    RemoveDynamic = 195,       ///< sync, QorBuffer: remove dynamic membership
    Permitted = 196,           ///< read, QorBuffer: VLANs the port carries, tagged and untagged
    DynamicMembership = 198,   ///< read, QorBuffer
    PermittedVlan = 208,       ///< read, first u32 in: VLAN ID; succeeds when the port carries it
    VlanIdOfInterface = 3500,  ///< read, u32: VLAN ID of a VLAN interface
    AdmittedVlan = 0x10001,    ///< read, first u32 in: VLAN ID; succeeds when it may be registered
};

/// Protocol ids of the platform's numbering.
inline constexpr u32 kProtocolGvrp = 9;
inline constexpr u32 kProtocolMvrp = 32;

/// `kind` argument of qorIndexTrans() that fills a QorIndexInfo.
inline constexpr u32 kIndexTransEndType = 5;

/// What kind of interface an index is.
enum class QorEndType : u32 { None = 0, Port = 1, Aggregation = 2, Vlan = 3 };

struct QorIndexInfo {
    u32 reserved0[5];
    u32 endType;  ///< QorEndType
    u32 vid;      ///< VLAN ID of a VLAN interface
    u32 reserved1;
};
static_assert(sizeof(QorIndexInfo) == 32);

/// Index of the interface of a VLAN: this base plus the VLAN ID.
inline constexpr u32 kVlanInterfaceBase = 0x01000000;

u32 qorIfGetApi(u32 unit, u32 attribute, void* value);
u32 qorIfSetApi(u32 unit, u32 attribute, void* value);
/// Changes a set of VLANs of a port, all or none of it. `bitCount` bounds the bitmap where given.
u32 qorIfSyncApi(u32 unit, u32 attribute, void* descriptor, u32 bitCount = 0);
/// @param name  receives the terminated name, cut to `size` - 1 characters
u32 qorIfUnit2Name(u32 unit, char* name, u32 size);
/// Describes an index; answers for a VLAN that was just deleted too. @param out a QorIndexInfo.
u32 qorIndexTrans(u32 index, u32 kind, void* out);
