// SPDX-License-Identifier: MIT
#include "platform/runtime/files/paths.h"

#include <cstdlib>
#include <string_view>

namespace platform {

std::string runtimePath(const std::string& path) {
    constexpr std::string_view kTemporary = "/tmp/";
    const char* directory = std::getenv(kRuntimeDirVariable);
    if (directory == nullptr || *directory == '\0' || !path.starts_with(kTemporary))
        return path;
    return std::string(directory) + "/" + path.substr(kTemporary.size());
}

}  // namespace platform
