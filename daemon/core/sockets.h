// SPDX-License-Identifier: MIT
//
// The three protocol sockets: MVRP frames, GVRP frames, and the platform's notifications. Opened
// once at start, before any other thread exists.
#pragma once

#include "platform/contract/types.h"

/// Opens and sets up the sockets that are not open yet, and stores them in gMvrpInfo. The first
/// failure is traced and ends it. @return whether all are open
bool mvrpSocketsOpen();

/// Closes and zeroes those of the four sockets of gMvrpInfo that are open.
void mvrpSocketsClose();

/// Traces an error of the start.
void mvrpStartTrace(const char* message);
