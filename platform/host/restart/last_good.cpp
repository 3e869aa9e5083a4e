// SPDX-License-Identifier: MIT
#include "platform/host/restart/last_good.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>

#include "platform/host/service.h"
#include "platform/runtime/files/atomic_file.h"
#include "platform/runtime/files/paths.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

bool hasRuntimeDirectory() {
    const char* const directory = std::getenv(kRuntimeDirVariable);
    return directory != nullptr && *directory != '\0';
}

std::string goodPath() {
    return runtimePath("/tmp/last-good.toml");
}

/// There after a start that failed for the file.
std::string refusedPath() {
    return runtimePath("/tmp/refused.toml");
}

std::optional<std::string> textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace

void keepLastGood(const std::string& configFile) {
    const std::optional<std::string> text = textOf(configFile);
    if (!hasRuntimeDirectory() || !text)
        return;
    unlink(refusedPath().c_str());
    std::string error;
    if (textOf(goodPath()) != text && !replaceFile(goodPath(), *text, error))
        logMessage(LogPriority::Warning,
                   "the configuration can not be kept for a restart with one that is refused: %s: "
                   "%s",
                   goodPath().c_str(), error.c_str());
}

std::string lastGoodInstead(const std::string& configFile) {
    const std::optional<std::string> refused = textOf(configFile);
    if (!hasRuntimeDirectory() || std::getenv(kNotifySocketVariable) == nullptr || !refused ||
        access(goodPath().c_str(), R_OK) != 0)
        return {};
    if (textOf(refusedPath()) == refused) {
        // Whoever restarts it by hand again is to see the mistake again.
        unlink(refusedPath().c_str());
        return goodPath();
    }
    std::string error;
    replaceFile(refusedPath(), *refused, error);
    return {};
}

}  // namespace platform
