// SPDX-License-Identifier: MIT
#include "cli/commands/passed_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <span>

namespace cli {

namespace {

using platform::Descriptor;

constexpr std::size_t kLargestReplay = std::size_t{64} << 20;

bool writeAll(int to, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t part = write(to, bytes.data(), bytes.size());
        if (part < 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(part));
    }
    return true;
}

bool copyAll(int from, int to) {
    std::array<std::byte, 65536> chunk;
    std::size_t copied = 0;
    ssize_t count = 0;
    while ((count = read(from, chunk.data(), chunk.size())) > 0) {
        const auto length = static_cast<std::size_t>(count);
        copied += length;
        if (copied > kLargestReplay || !writeAll(to, std::span(chunk).first(length)))
            return false;
    }
    return count == 0;
}

Descriptor newMemory() {
    return Descriptor(memfd_create("mvrpctl", MFD_CLOEXEC | MFD_ALLOW_SEALING));
}

bool seal(const Descriptor& memory) {
    return fcntl(memory.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_SHRINK | F_SEAL_GROW) == 0;
}

}  // namespace

Descriptor fileToRead(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    Descriptor memory = newMemory();
    if (!file.isOpen() || !memory.isOpen() || !copyAll(file.get(), memory.get()) || !seal(memory))
        return Descriptor();
    return memory;
}

Descriptor memoryOf(std::string_view text) {
    Descriptor memory = newMemory();
    if (!memory.isOpen() || !writeAll(memory.get(), std::as_bytes(std::span(text))) ||
        !seal(memory))
        return Descriptor();
    return memory;
}

Descriptor fileToWrite(const std::string& path) {
    constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    return Descriptor(
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_CLOEXEC, kMode));
}

}  // namespace cli
