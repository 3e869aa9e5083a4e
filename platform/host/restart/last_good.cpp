// SPDX-License-Identifier: MIT
#include "platform/host/restart/last_good.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/config/fragments/config_documents.h"
#include "platform/host/service.h"
#include "platform/runtime/files/atomic_file.h"
#include "platform/runtime/files/paths.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMainName = "mvrp.toml";

bool hasRuntimeDirectory() {
    const char* const directory = std::getenv(kRuntimeDirVariable);
    return directory != nullptr && *directory != '\0';
}

/// The directory of the files that were good last: the main one, and its fragments beside it.
std::string goodDirectory() {
    return runtimePath("/tmp/last-good");
}

/// There after a start that failed for the files: their texts.
std::string refusedPath() {
    return runtimePath("/tmp/refused.toml");
}

std::string goodPath() {
    return goodDirectory() + "/" + kMainName;
}

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The names of the fragments and all texts in one.
std::string allOf(const ConfigDocuments& documents) {
    std::string all;
    for (const ConfigDocument& file : documents.files)
        all += (&file == &documents.files.front() ? "" : "# " + fragmentName(file.path) + "\n") +
               file.text;
    return all;
}

/// Writes the files into a directory that is not there. @return whether all are
bool writeInto(const std::string& directory, const ConfigDocuments& documents, std::string& error) {
    const std::string main = directory + "/" + kMainName;
    std::error_code failure;
    if (!fs::create_directories(fragmentDirectory(main), failure)) {
        error = failure.message();
        return false;
    }
    for (const ConfigDocument& file : documents.files) {
        const bool isMain = &file == &documents.files.front();
        const std::string path =
            isMain ? main : fragmentDirectory(main) + "/" + fragmentName(file.path);
        if (!replaceFile(path, file.text, error))
            return false;
    }
    return true;
}

/// Puts the files in the place of those that are kept. @return whether they are
bool keep(const ConfigDocuments& documents, std::string& error) {
    const std::string fresh = goodDirectory() + ".new";
    std::error_code failure;
    fs::remove_all(fresh, failure);
    if (!writeInto(fresh, documents, error))
        return false;
    fs::remove_all(goodDirectory(), failure);
    fs::rename(fresh, goodDirectory(), failure);
    error = failure.message();
    return !failure;
}

}  // namespace

void keepLastGood(const std::string& configFile) {
    if (!hasRuntimeDirectory())
        return;
    const ConfigDocuments documents = readConfigDocuments(configFile);
    unlink(refusedPath().c_str());
    std::string error;
    if (documents.problems.empty() && allOf(readConfigDocuments(goodPath())) != allOf(documents) &&
        !keep(documents, error))
        logMessage(LogPriority::Warning,
                   "the configuration can not be kept for a restart with one that is refused: %s: "
                   "%s",
                   goodDirectory().c_str(), error.c_str());
}

std::string lastGoodInstead(const std::string& configFile) {
    const ConfigDocuments documents = readConfigDocuments(configFile);
    if (!hasRuntimeDirectory() || std::getenv(kNotifySocketVariable) == nullptr ||
        !documents.problems.empty() || access(goodPath().c_str(), R_OK) != 0)
        return {};
    const std::string refused = allOf(documents);
    if (textOf(refusedPath()) == refused) {
        // Whoever restarts it by hand again is to see the mistake again.
        unlink(refusedPath().c_str());
        return goodPath();
    }
    std::string error;
    replaceFile(refusedPath(), refused, error);
    return {};
}

}  // namespace platform
