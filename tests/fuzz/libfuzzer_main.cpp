// SPDX-License-Identifier: MIT
//
// The entry point that libFuzzer calls; FUZZ_TARGET names the target of this binary.
#include <algorithm>

#include "tests/fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size) {
    static const auto* target = [] {
        const auto all = fuzz::targets();
        const auto found = std::find_if(all.begin(), all.end(),
                                        [](const auto& row) { return row.name == FUZZ_TARGET; });
        return found == all.end() ? nullptr : &*found;
    }();
    if (target == nullptr)
        fuzz::fail("there is no target " FUZZ_TARGET);
    target->run({data, size});
    return 0;
}
