// SPDX-License-Identifier: MIT
//
// The standby card's side of synchronisation: what the active card tells is carried out on the
// switch. Lock: gMvrpInfo.sem held by the caller.
#pragma once

#include <span>

#include "daemon/sync/message.h"
#include "platform/contract/qor_if.h"

/// Takes a message from the active card. `command` is the QorBuffer with the received bytes.
/// @return 0 for a message of an unknown type too; MVRP_ERR_ARGUMENT when it is longer than
///         kMvrpSyncBufferBytes; else the result of mvrpVlanSyncRecv()
u32 mvrpSyncPktRecv(const QorBuffer* command);
/// Applies a message, kMvrpSyncMessageBytes long and of a known type, to the switch. @return 0;
/// MVRP_ERR_NO_PORT when the port has no entry
u32 mvrpVlanSyncRecv(std::span<u8> message);
