// SPDX-License-Identifier: MIT
#include "platform/config/load.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/config/load_sections.h"
#include "platform/config/reload/setting_names.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {
namespace {

LoadedConfig refused(const std::string& text) {
    return {std::nullopt, {{ConfigPlace{}, text}}};
}

}  // namespace

LoadedConfig parseConfig(std::string_view document) {
    LoadedConfig loaded;
    ConfigProblem problem;
    const auto tree = parseConfigTree(document, problem);
    if (!tree) {
        loaded.problems.push_back(problem);
        return loaded;
    }
    HostConfig config;
    config.settings = settingNames(*tree);
    ConfigReader top(*tree, "the file", loaded.problems);
    loadSwitch(top, config.network);
    loadOptions(top, config);
    const bool isLinux = config.network.driver == DriverKind::LinuxBridge;
    if (!isLinux) {
        loadPorts(top, config);
        loadVlans(top, config.network);
    }
    loadManagement(top, config);
    if (isLinux)
        loadLinuxPorts(top, config);
    loadServices(top, config);
    loadProcess(top, config.process);
    loadMetrics(top, config.metricsListen);
    top.finish();
    std::ranges::stable_sort(loaded.problems, [](const auto& a, const auto& b) {
        return std::pair(a.place.line, a.place.column) < std::pair(b.place.line, b.place.column);
    });
    if (loaded.problems.empty())
        loaded.config = std::move(config);
    return loaded;
}

LoadedConfig loadConfig(const std::string& path) {
    // Whatever it is, nothing is waited for: a reload runs in the command task.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat facts {};
    if (!file.isOpen() || fstat(file.get(), &facts) != 0)
        return refused(std::string("can not be read: ") + std::strerror(errno));
    if (!S_ISREG(facts.st_mode))
        return refused("can not be read: not a file (a FIFO, a device or a directory is none)");
    std::string document(kMaxConfigBytes + 1, '\0');
    std::size_t length = 0;
    ssize_t count = 0;
    while (length < document.size() &&
           (count = read(file.get(), document.data() + length, document.size() - length)) > 0)
        length += static_cast<std::size_t>(count);
    if (count < 0)
        return refused(std::string("can not be read: ") + std::strerror(errno));
    document.resize(length);
    if (document.size() > kMaxConfigBytes)
        return refused("is larger than the " + std::to_string(kMaxConfigBytes) + " bytes allowed");
    return parseConfig(document);
}

std::string formatProblem(const std::string& path, const ConfigProblem& problem) {
    std::string place = path + ":";
    if (problem.place.line != 0)
        place +=
            std::to_string(problem.place.line) + ":" + std::to_string(problem.place.column) + ":";
    return place + " " + problem.text;
}

}  // namespace platform
