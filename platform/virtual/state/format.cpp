// SPDX-License-Identifier: MIT
#include "platform/virtual/state/format.h"

#include <cstdio>

namespace scenario {

std::string formatText(const char* format, std::va_list arguments) {
    std::va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length <= 0)
        return {};
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

}  // namespace scenario
