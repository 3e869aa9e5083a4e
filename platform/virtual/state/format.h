// SPDX-License-Identifier: MIT
//
// printf formatting into a string.
#pragma once

#include <cstdarg>
#include <string>

namespace scenario {

std::string formatText(const char* format, std::va_list arguments)
    __attribute__((format(printf, 1, 0)));

}  // namespace scenario
