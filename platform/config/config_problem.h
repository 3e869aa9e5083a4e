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
    u32 file = 0;  ///< index of the file among those of a configuration
};

/// What is wrong with a configuration file, and where.
struct ConfigProblem {
    ConfigPlace place;
    std::string text;
    std::string file = {};  ///< path of the fragment that it is in; empty: the main file
};

}  // namespace platform
