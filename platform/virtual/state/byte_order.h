// SPDX-License-Identifier: MIT
//
// Scenarios, their traces and fuzz inputs write the numbers of route messages, debug requests and
// receive matches with the lowest byte first; to the daemon all are in the machine's byte order, as
// the contract says. The switch from the one to the other. Nothing is read or written beyond the
// bytes given.
#pragma once

#include <span>

#include "platform/contract/types.h"

namespace scenario {

/// Turns the fields of little-endian route messages around, one message after the other, up to the
/// first that is cut. Fields are those that the daemon reads: one that does not fit into its
/// message stays as it is. The value of an attribute is turned as if it were there, also when its
/// length says it is not, unless another attribute follows at its place.
void turnRouteMessages(std::span<u8> messages);

/// Turns each whole 32-bit word around; bytes of a last one that is cut stay.
void turnWords(std::span<u8> bytes);

/// Turns the fields of a QorReceiveMatch around, its value if that is a number. Other lengths stay.
void turnReceiveMatch(std::span<u8> match);

/// The same where this machine has the highest byte first, and nothing elsewhere.
void routeMessagesFromLittleEndian(std::span<u8> messages);
void wordsFromLittleEndian(std::span<u8> bytes);
void receiveMatchToLittleEndian(std::span<u8> match);

}  // namespace scenario
