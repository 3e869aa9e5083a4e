// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include "cli/client/observed.h"
#include "cli/client/safe_text.h"
#include "cli/commands/commands.h"
#include "cli/commands/passed_file.h"
#include "cli/config/linux_rules.h"
#include "cli/config/plan.h"
#include "cli/config/running_config.h"
#include "cli/config/toml_text.h"
#include "cli/views/json.h"
#include "platform/config/load.h"

namespace cli {

namespace {

constexpr const char* kDefaultFile = "/etc/mvrp/mvrp.toml";
constexpr u32 kWrongFile = 22;

/// The file that the daemon was started with, or the one that it would be started with.
std::string daemonsFile(const Context& context) {
    const Reply reply = context.client.exchange({platform::Request::ConfigSource});
    throwIfRefused(reply);
    const std::string file = textOf(reply);
    return file.empty() ? kDefaultFile : file;
}

std::string fileOf(const Context& context) {
    return context.count() > 0 ? context.text(0) : daemonsFile(context);
}

std::string problemsText(const std::string& file, const platform::LoadedConfig& loaded) {
    std::string text;
    for (const platform::ConfigProblem& problem : loaded.problems)
        text += (text.empty() ? "" : "\n") + platform::formatProblem(file, problem);
    return text;
}

platform::HostConfig load(const std::string& file) {
    const platform::LoadedConfig loaded = platform::loadConfig(file);
    if (!loaded.config)
        throw RefusedError(kWrongFile, problemsText(file, loaded));
    return *loaded.config;
}

RunningConfig running(const Context& context) {
    return {queryGlobal(context.client), queryVlans(context.client, kConfigParts)};
}

bool isSoft(const RunningConfig& config) {
    return config.global.host.driver == static_cast<u32>(platform::DriverKind::SoftwareSwitch);
}

void check(const Context& context) {
    std::string file;
    try {
        file = fileOf(context);
    } catch (const ConnectionError&) {
        file = kDefaultFile;  // no daemon is needed to check a file
    }
    load(file);
    context.print(context.json ? fileJson(file) : file + ": right\n");
}

/// What a file says, with what its fragments say.
std::string readWhole(const std::string& file) {
    std::vector<std::string> texts;
    for (platform::ConfigDocument& document : platform::readConfigDocuments(file).files)
        texts.push_back(std::move(document.text));
    return texts.size() == 1 ? texts.front() : joinDocuments(texts);
}

/// Has a file written only where it says everything: with fragments nobody knows where a setting
/// belongs.
void refuseFragments(const std::string& file) {
    const std::size_t fragments = platform::readConfigDocuments(file).files.size() - 1;
    if (fragments > 0)
        throw RefusedError(kWrongFile,
                           file + " has " + std::to_string(fragments) + " fragments in " +
                               platform::fragmentDirectory(file) +
                               ", and what runs does not say which of them it belongs to; allowed "
                               "is a file without a directory " +
                               platform::kFragmentDirectory + " beside it");
}

/// Refuses a text that would be refused as a configuration file.
std::string checked(const std::string& file, std::string text) {
    const platform::LoadedConfig loaded = platform::parseConfig(text);
    if (!loaded.config)
        throw RefusedError(kWrongFile, "what runs can not be written as a configuration file: " +
                                           problemsText(file, loaded));
    return text;
}

/// What runs on a Linux bridge, written into what its file says.
std::string linuxDocument(const std::string& file, const RunningConfig& config) {
    return checked(file, runningDocument(readWhole(file), load(file), config));
}

void show(const Context& context) {
    const RunningConfig config = running(context);
    if (!isSoft(config) && !context.json)
        return context.print(linuxDocument(daemonsFile(context), config));
    const std::string text = formatOptions(config) +
                             (isSoft(config) ? formatSwitch(config, nullptr) : "") +
                             formatManagement(config);
    context.print(context.json ? configJson(config.global, config.vlans.ports) : text.substr(1));
}

void diff(const Context& context) {
    const std::string file = fileOf(context);
    const auto differences = compareConfig(load(file), running(context));
    context.print(context.json ? differencesJson(file, differences)
                               : differencesText(differences, context.style));
    context.setExitStatus(differences.empty() ? 0 : 1);
}

[[noreturn]] void refuseWrite(const std::string& file, int error) {
    throw RefusedError(static_cast<u32>(error), "cannot write " + file + ": " +
                                                    std::strerror(error) +
                                                    "; allowed is a file in a directory that you "
                                                    "may write to");
}

/// Writes the file as a whole or not at all; what was there stays as FILE~.
void replaceFile(const std::string& file, const std::string& text) {
    const std::string fresh = file + ".new";
    std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
    stream << text;
    stream.close();
    if (!stream)
        refuseWrite(fresh, errno == 0 ? EIO : errno);
    const std::string backup = file + "~";
    unlink(backup.c_str());
    if (access(file.c_str(), F_OK) == 0 && link(file.c_str(), backup.c_str()) != 0)
        refuseWrite(backup, errno);
    if (std::rename(fresh.c_str(), file.c_str()) != 0)
        refuseWrite(file, errno);
}

/// What runs on the software switch, written into a file, or as a new one.
std::string softDocument(const std::string& file, bool isNew, const RunningConfig& config) {
    const std::string before = isNew ? "[switch]\ndriver = \"soft\"\nname = \"" +
                                           std::string(config.global.host.name.data()) + "\"\n"
                                     : readWhole(file);
    const platform::HostConfig old = isNew ? platform::HostConfig{} : load(file);
    std::vector<std::string> tables = {"management"};
    std::string text = formatManagement(config);
    bool ports = isNew;
    for (const ConfigDifference& difference : compareConfig(old, config))
        ports = ports || difference.ofSwitch;
    if (ports) {
        tables.insert(tables.end(), {"port", "vlan"});
        text = formatSwitch(config, isNew ? nullptr : &old) + text;
    }
    if (isNew)
        text = formatOptions(config) + text;
    return checked(file, replaceTables(before, tables, text));
}

void save(const Context& context) {
    const std::string file = fileOf(context);
    const RunningConfig config = running(context);
    refuseFragments(file);
    const bool isNew = access(file.c_str(), F_OK) != 0;
    // A bridge's file also says what can not be asked of the daemon.
    const std::string after = isSoft(config)
                                  ? softDocument(file, isNew, config)
                                  : linuxDocument(isNew ? daemonsFile(context) : file, config);
    replaceFile(file, after);
    context.print(context.json ? fileJson(file)
                               : file + ": saved" + (isNew ? "" : "; it was " + file + "~") + "\n");
}

/// The lines of a reply, without their ends.
std::vector<std::string> linesOf(const Reply& reply) {
    const std::string text(reinterpret_cast<const char*>(reply.value.data()), reply.value.size());
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

void apply(const Context& context) {
    const auto force =
        context.has("force") ? platform::ConfigForce::Yes : platform::ConfigForce::No;
    const Reply reply =
        context.client.exchange({platform::Request::ConfigApply, 0, static_cast<u32>(force)});
    std::string text;
    for (const std::string& line : linesOf(reply))
        text += line + "\n";
    if (reply.status != kStatusOk)
        throw RefusedError(reply.status, text.substr(0, text.empty() ? 0 : text.size() - 1));
    context.print(context.json   ? changesJson(linesOf(reply))
                  : text.empty() ? std::string("Nothing is different.\n")
                                 : text);
}

/// A file with the fragments that lie beside it; where there is no directory of them, with those of
/// the daemon's file, in whose place it would be.
platform::ConfigDocuments documentsFor(const Context& context, const std::string& file) {
    std::string directory = platform::fragmentDirectory(file);
    if (access(directory.c_str(), F_OK) != 0)
        directory = platform::fragmentDirectory(daemonsFile(context));
    return platform::readConfigDocuments(file, directory);
}

std::vector<std::string> pathsOf(const platform::ConfigDocuments& documents) {
    std::vector<std::string> paths;
    for (const platform::ConfigDocument& document : documents.files)
        paths.push_back(document.path);
    return paths;
}

/// The files as Request::ConfigPlan takes them.
std::string planBytes(const platform::ConfigDocuments& documents) {
    std::string bytes;
    for (const auto& [path, text] : documents.files) {
        const platform::PlanDocument head{static_cast<u32>(path.size()),
                                          static_cast<u32>(text.size())};
        bytes.append(reinterpret_cast<const char*>(&head), sizeof head);
        bytes += path + text;
    }
    return bytes;
}

std::vector<std::string> askForPlan(const Context& context,
                                    const platform::ConfigDocuments& documents) {
    const std::string bytes = planBytes(documents);
    if (bytes.size() > platform::kMaxPlanBytes)
        throw RefusedError(kWrongFile, "the files have " + std::to_string(bytes.size()) +
                                           " bytes together; a plan takes at most " +
                                           std::to_string(platform::kMaxPlanBytes));
    const platform::Descriptor memory = memoryOf(bytes);
    const auto force =
        context.has("force") ? platform::ConfigForce::Yes : platform::ConfigForce::No;
    const Reply reply = context.client.exchange(
        {platform::Request::ConfigPlan, 0, static_cast<u32>(force), {}, memory.get()});
    throwIfRefused(reply);
    return linesOf(reply);
}

void plan(const Context& context) {
    const std::string file = fileOf(context);
    const platform::ConfigDocuments documents = documentsFor(context, file);
    Plan plan;
    if (documents.problems.empty())
        plan = readPlan(pathsOf(documents), askForPlan(context, documents));
    else
        plan.files = {file};
    for (const platform::ConfigProblem& problem : documents.problems)
        plan.refused.push_back(platform::formatProblem(file, problem));
    context.print(context.json ? planJson(plan) : planText(plan, context.style));
    context.setExitStatus(static_cast<int>(exitOf(plan)));
}

std::string planDetails() {
    return "Nothing is changed. A fragment belongs to the file beside whose directory conf.d it "
           "lies; without one\n"
           "beside FILE those of the daemon's file are taken. What only the attempt shows, a "
           "cable\n"
           "that can not be opened, is not foreseen. Exit status 0: nothing would change, 1: "
           "something\n"
           "would, 3: it would be refused.\n";
}

std::string forceDetails() {
    return "What would leave nothing of the driver, the bridge or the ports, or looks like a file\n"
           "that was cut off, is refused without --force. All of a file is applied, or nothing.\n";
}

constexpr Argument kFile = {"file", "a configuration file; the daemon's when absent", true};

constexpr Command kCommands[] = {
    {"config check", "check a configuration file; no daemon is needed", {{kFile}}, check},
    {"config show", "what runs, as a configuration file", {}, show},
    {"config diff",
     "what runs and is not what the file says; exit status 1 when there is any",
     {{kFile}},
     diff},
    {"config plan",
     "what `config apply` would change with this file, and whether it would be refused",
     {{kFile}},
     plan,
     planDetails,
     {{{"--force", nullptr, "as with `config apply --force`"}}}},
    {"config apply",
     "have the daemon read its file again and apply it, as SIGHUP does; prints the changes",
     {},
     apply,
     forceDetails,
     {{{"--force", nullptr, "also when it takes down the driver, the bridge or the ports"}}}},
    {"config save",
     "write what runs into the file; what it does not set in the file stays, comments too",
     {{kFile}},
     save},
};

}  // namespace

constinit const std::span<const Command> kConfigCommands = kCommands;

}  // namespace cli
