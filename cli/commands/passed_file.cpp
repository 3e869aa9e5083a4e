// SPDX-License-Identifier: MIT
#include "cli/commands/passed_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>

namespace cli {

namespace {

using platform::Descriptor;

constexpr std::size_t kLargestReplay = std::size_t{64} << 20;

bool copyAll(int from, int to) {
    std::array<std::byte, 65536> chunk;
    std::size_t copied = 0;
    ssize_t count = 0;
    while ((count = read(from, chunk.data(), chunk.size())) > 0) {
        copied += static_cast<std::size_t>(count);
        if (copied > kLargestReplay)
            return false;
        for (ssize_t done = 0; done < count;) {
            const ssize_t part =
                write(to, chunk.data() + done, static_cast<std::size_t>(count - done));
            if (part < 0)
                return false;
            done += part;
        }
    }
    return count == 0;
}

}  // namespace

Descriptor fileToRead(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    Descriptor memory(memfd_create("replay", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file.isOpen() || !memory.isOpen() || !copyAll(file.get(), memory.get()) ||
        fcntl(memory.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_SHRINK | F_SEAL_GROW) != 0)
        return Descriptor();
    return memory;
}

Descriptor fileToWrite(const std::string& path) {
    constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    return Descriptor(
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_CLOEXEC, kMode));
}

}  // namespace cli
