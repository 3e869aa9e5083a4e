// SPDX-License-Identifier: MIT
#include "network/read/sources.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace network {

namespace {

namespace fs = std::filesystem;

constexpr const char* kArchive = ".tar";
constexpr const char* kSnapshot = ".json";

void addArchive(const std::string& path, std::vector<Source>& sources, Problems& problems) {
    std::string archive;
    if (!readFile(path, archive)) {
        problems.push_back(path + ": can not be read: " + std::strerror(errno));
        return;
    }
    const std::string wrong = readTar(archive, [&](std::string name, std::string content) {
        if (fs::path(name).extension() == kSnapshot)
            sources.push_back({path + ":" + name, path, std::move(content)});
    });
    if (!wrong.empty())
        problems.push_back(path + ": " + wrong);
}

void addFile(const std::string& path, std::vector<Source>& sources, Problems& problems) {
    if (fs::path(path).extension() == kArchive)
        addArchive(path, sources, problems);
    else
        sources.push_back({path, path, {}});
}

void addDirectory(const std::string& path, std::vector<Source>& sources, Problems& problems) {
    std::vector<std::string> files;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(path, error)) {
        const fs::path extension = entry.path().extension();
        if (entry.is_regular_file(error) && (extension == kSnapshot || extension == kArchive))
            files.push_back(entry.path().string());
    }
    if (error)
        problems.push_back(path + ": can not be read: " + error.message());
    else if (files.empty())
        problems.push_back(path +
                           ": holds no snapshots; allowed are files that end in .json or .tar");
    std::ranges::sort(files);
    for (const std::string& file : files)
        addFile(file, sources, problems);
}

}  // namespace

bool readFile(const std::string& path, std::string& content) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return false;
    constexpr std::size_t kAtATime = std::size_t{1} << 16;
    content.clear();
    do {
        const std::size_t before = content.size();
        content.resize(before + std::max(kAtATime, before));
        file.read(content.data() + before, static_cast<std::streamsize>(content.size() - before));
        content.resize(before + static_cast<std::size_t>(file.gcount()));
    } while (file);
    return !file.bad();
}

std::vector<Source> findSources(const std::vector<std::string>& paths, Problems& problems) {
    std::vector<Source> sources;
    for (const std::string& path : paths) {
        std::error_code error;
        if (fs::is_directory(path, error))
            addDirectory(path, sources, problems);
        else
            addFile(path, sources, problems);
    }
    return sources;
}

}  // namespace network
