// SPDX-License-Identifier: MIT
//
// Places in a configuration file, and what is wrong there. Plain records.
#pragma once

#include <string>

#include "platform/contract/types.h"

namespace platform {

/// Place in a file, counted from 1; line 0: the file as a whole.
struct ConfigPlace {
    u32 line = 0;
    u32 column = 0;
};

/// What is wrong with a configuration file, and where.
struct ConfigProblem {
    ConfigPlace place;
    std::string text;
};

}  // namespace platform
