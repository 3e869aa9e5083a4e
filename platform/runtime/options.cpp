// SPDX-License-Identifier: MIT
//
// Start-up options, as the configuration file gives them.
#include <cstring>

#include "platform/contract/sil.h"
#include "platform/runtime/process_runtime.h"

s32 silOptRead(u32, const char* key, u32, u32, u32, char* buffer, u32 size) {
    const auto& options = platform::processRuntime().options;
    const auto found = options.find(key);
    if (found == options.end() || buffer == nullptr || size == 0)
        return 0;
    const std::string& text = found->second;
    const std::size_t length = text.copy(buffer, size - 1);
    buffer[length] = '\0';
    return 1;
}
