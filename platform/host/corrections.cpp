// SPDX-License-Identifier: MIT
//
// The corrections of this host: none.
#include "platform/contract/corrections.h"

CorrectionSet correctionsWanted() {
    return {};
}

void correctionActed(Correction, u32, u32) {}
