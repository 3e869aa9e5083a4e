// SPDX-License-Identifier: MIT
#include "platform/runtime/files/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/runtime/files/descriptor.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

bool writeAll(int descriptor, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        written += static_cast<std::size_t>(count);
    }
    return true;
}

/// The new name is on the disk once its directory is.
void syncDirectoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.isOpen())
        fsync(opened.get());
}

bool writeNew(const std::string& path, const std::string& text) {
    constexpr mode_t kMode = S_IRUSR | S_IWUSR;
    const Descriptor file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, kMode));
    return file.isOpen() && writeAll(file.get(), text) && fsync(file.get()) == 0;
}

}  // namespace

bool replaceFile(const std::string& path, const std::string& text, std::string& error) {
    const std::string fresh = path + ".new";
    if (!writeNew(fresh, text) || rename(fresh.c_str(), path.c_str()) != 0) {
        error = errorText(errno);
        unlink(fresh.c_str());
        return false;
    }
    syncDirectoryOf(path);
    return true;
}

}  // namespace platform
