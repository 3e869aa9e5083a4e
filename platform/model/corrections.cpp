// SPDX-License-Identifier: MIT
#include "platform/model/corrections.h"

namespace platform {

std::string formatCorrections(CorrectionSet set) {
    if (set.empty())
        return "none";
    if (set == CorrectionSet::all())
        return "all";
    std::string text;
    for (u32 value = 0; value < kCorrectionCount; value++) {
        const auto which = static_cast<Correction>(value);
        if (set.has(which))
            text += (text.empty() ? "" : ", ") + std::string(correctionName(which));
    }
    return text;
}

}  // namespace platform
