// SPDX-License-Identifier: MIT
#include "platform/replication/agreement.h"

#include "platform/model/corrections.h"

namespace platform {

std::string disagreement(CorrectionSet ofActive, CorrectionSet ofStandby) {
    if (ofActive == ofStandby)
        return {};
    return "the active runs with the corrections " + formatCorrections(ofActive) +
           ", the standby with " + formatCorrections(ofStandby) +
           "; allowed: the same [mvrp] corrections in both";
}

}  // namespace platform
