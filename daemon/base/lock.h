// SPDX-License-Identifier: MIT
//
// The daemon's one lock, gMvrpInfo.sem. Taken around each frame, each notification and each run of
// the timers by the protocol task, and by the handlers of requests; by nothing below those.
#pragma once

/// Takes gMvrpInfo.sem, waiting for ever. Not recursive.
void mvrpLock();
void mvrpUnlock();
