// SPDX-License-Identifier: MIT
#include "platform/runtime/files/sealed_memory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

bool isSealedMemory(int descriptor) {
    constexpr int kSeals = F_SEAL_WRITE | F_SEAL_SHRINK;
    const int seals = fcntl(descriptor, F_GET_SEALS);
    return seals >= 0 && (seals & kSeals) == kSeals;
}

std::optional<std::string> readSealedMemory(int descriptor, std::size_t mostBytes) {
    struct stat facts {};
    if (!isSealedMemory(descriptor) || fstat(descriptor, &facts) != 0 ||
        static_cast<std::size_t>(facts.st_size) > mostBytes)
        return std::nullopt;
    std::string text(static_cast<std::size_t>(facts.st_size), '\0');
    std::size_t length = 0;
    ssize_t count = 0;
    while (length < text.size() &&
           (count = pread(descriptor, text.data() + length, text.size() - length,
                          static_cast<off_t>(length))) > 0)
        length += static_cast<std::size_t>(count);
    return length == text.size() ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace platform
