// SPDX-License-Identifier: MIT
//
// The entry points that libFuzzer calls. `--target=NAME` names the target; libFuzzer passes over
// arguments that begin like it.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/fuzz/targets.h"

extern "C" int LLVMFuzzerInitialize(int* count, char*** values);
extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size);

namespace {

constexpr int kExitUsage = 2;
constexpr std::string_view kOption = "--target=";

const fuzz::Target* chosen = nullptr;

const fuzz::Target* targetOf(std::span<char*> arguments) {
    const auto all = fuzz::targets();
    for (const std::string_view argument : arguments) {
        const auto found = std::find_if(all.begin(), all.end(), [argument](const auto& row) {
            return argument.starts_with(kOption) && argument.substr(kOption.size()) == row.name;
        });
        if (found != all.end())
            return &*found;
    }
    return nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** values) {
    chosen = targetOf({*values, static_cast<size_t>(*count)});
    if (chosen != nullptr)
        return 0;
    std::fputs("give --target=NAME and options of libFuzzer (-help=1); targets here:", stderr);
    for (const auto& row : fuzz::targets())
        std::fprintf(stderr, " %s", std::string(row.name).c_str());
    std::fputc('\n', stderr);
    std::exit(kExitUsage);
}

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size) {
    chosen->run({data, size});
    return 0;
}
