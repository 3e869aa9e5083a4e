// SPDX-License-Identifier: MIT
//
// The corrections that a scenario asks for. Neither call is part of the trace.
#include "platform/contract/corrections.h"

#include "platform/virtual/state/host.h"

CorrectionSet correctionsWanted() {
    return scenario::scenarioHost().corrections;
}

void correctionActed(Correction which, u32, u32) {
    scenario::scenarioHost().correctionsActed[static_cast<u32>(which)]++;
}
