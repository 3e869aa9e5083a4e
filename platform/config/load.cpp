// SPDX-License-Identifier: MIT
#include "platform/config/load.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "platform/config/load_sections.h"
#include "platform/config/reload/setting_names.h"

namespace platform {
namespace {

/// The trees of the files, each with its number in its places, and what each sets.
std::optional<ConfigValue> parseTrees(const ConfigDocuments& documents, LoadedConfig& loaded,
                                      std::vector<ConfigPart>& parts) {
    std::vector<ConfigValue> trees;
    for (const ConfigDocument& document : documents.files) {
        const auto file = static_cast<u32>(parts.size());
        ConfigProblem problem;
        auto tree = parseConfigTree(document.text, problem, file);
        problem.place.file = file;
        parts.push_back({file == 0 ? std::string() : fragmentName(document.path),
                         tree ? settingNames(*tree) : std::vector<std::string>()});
        if (tree)
            trees.push_back(std::move(*tree));
        else
            loaded.problems.push_back(std::move(problem));
    }
    if (!loaded.problems.empty())
        return std::nullopt;
    return mergeConfigTrees(std::move(trees), documents.files, loaded.problems);
}

/// Sorts problems as the files are, and gives them the names of these.
void settle(std::vector<ConfigProblem>& problems, const ConfigDocuments& documents) {
    std::ranges::stable_sort(problems, [](const auto& a, const auto& b) {
        return std::tuple(a.place.file, a.place.line, a.place.column) <
               std::tuple(b.place.file, b.place.line, b.place.column);
    });
    for (ConfigProblem& problem : problems)
        if (problem.place.file != 0)
            problem.file = documents.files[problem.place.file].path;
}

void loadSections(const ConfigValue& tree, HostConfig& config,
                  std::vector<ConfigProblem>& problems) {
    ConfigReader top(tree, "the file", problems);
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
}

}  // namespace

LoadedConfig parseConfig(ConfigDocuments documents) {
    LoadedConfig loaded;
    if (!documents.problems.empty())
        return {std::nullopt, std::move(documents.problems)};
    HostConfig config;
    const auto tree = parseTrees(documents, loaded, config.parts);
    if (tree)
        loadSections(*tree, config, loaded.problems);
    settle(loaded.problems, documents);
    if (loaded.problems.empty())
        loaded.config = std::move(config);
    return loaded;
}

LoadedConfig parseConfig(std::string_view document) {
    return parseConfig(ConfigDocuments{{{{}, std::string(document)}}, {}});
}

LoadedConfig loadConfig(const std::string& path) {
    return parseConfig(readConfigDocuments(path));
}

std::string formatProblem(const std::string& path, const ConfigProblem& problem) {
    std::string place = (problem.file.empty() ? path : problem.file) + ":";
    if (problem.place.line != 0)
        place +=
            std::to_string(problem.place.line) + ":" + std::to_string(problem.place.column) + ":";
    return place + " " + problem.text;
}

}  // namespace platform
