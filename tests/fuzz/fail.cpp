// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <iostream>

#include "tests/fuzz/targets.h"

namespace fuzz {

void fail(std::string_view problem) {
    std::cerr << "fuzz: " << problem << '\n';
    std::abort();
}

}  // namespace fuzz
