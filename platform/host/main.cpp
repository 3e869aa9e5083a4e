// SPDX-License-Identifier: MIT
//
// The program `mvrp`: reads its command line and configuration, puts the host in place, and becomes
// the daemon. Exit status: 0 after SIGTERM, SIGINT or SIGUSR1, or when the configuration is right
// (--check); 1 when it could not start; 2 for a wrong command line.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "platform/config/load.h"
#include "platform/contract/process.h"
#include "platform/host/host.h"
#include "platform/host/privileges.h"
#include "platform/host/restart/last_good.h"
#include "platform/host/service.h"
#include "platform/runtime/ending.h"
#include "platform/runtime/files/paths.h"
#include "platform/runtime/log.h"
#include "platform/runtime/log_line.h"
#include "platform/runtime/tasks/log_writer.h"
#include "platform/runtime/tasks/signals.h"

namespace {

using namespace platform;

constexpr const char* kDefaultConfig = "/etc/mvrp/mvrp.toml";
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
/// What the log may take at an end before the start.
constexpr std::chrono::milliseconds kLastLines{200};

struct Arguments {
    std::string configFile;
    bool check = false;
    bool isRefused = false;  ///< the file; the last good one is read instead
};

/// @return nothing when the program is to end with `status`
std::optional<Arguments> parseArguments(int argc, char** argv, int& status) {
    Arguments arguments;
    CLI::App app("VLAN registration daemon (IEEE 802.1Q MVRP, and GVRP in compliance mode)",
                 "mvrp");
    app.set_version_flag("--version", "mvrp " MVRP_VERSION);
    app.add_option("--config", arguments.configFile,
                   std::string("Configuration file, instead of ") + kDefaultConfig)
        ->type_name("FILE");
    app.add_flag("--check", arguments.check, "Check the configuration file and end");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? 0 : kExitUsage;
        return std::nullopt;
    }
    return arguments;
}

/// The default file may be missing: everything has a default.
bool defaultIsMissing(Arguments& arguments) {
    if (!arguments.configFile.empty())
        return false;
    struct stat found {};
    if (stat(kDefaultConfig, &found) != 0)
        return true;
    arguments.configFile = kDefaultConfig;
    return false;
}

std::optional<HostConfig> readConfig(Arguments& arguments) {
    LoadedConfig loaded = loadConfig(arguments.configFile);
    for (const ConfigProblem& problem : loaded.problems)
        std::fprintf(stderr, "%s\n", formatProblem(arguments.configFile, problem).c_str());
    const std::string before =
        loaded.config || arguments.check ? "" : lastGoodInstead(arguments.configFile);
    if (before.empty())
        return loaded.config;
    loaded = loadConfig(before);
    arguments.isRefused = true;
    if (loaded.config)
        logMessage(LogPriority::Error,
                   "%s is refused, as said above: it goes on with the configuration of the last "
                   "start, which is kept in %s, until the file is right and `mvrpctl config apply` "
                   "reads it",
                   arguments.configFile.c_str(), before.c_str());
    return loaded.config;
}

/// Gives up what the configuration does not need, and says what is left.
bool becomeLeast(const HostConfig& config, const std::string& configFile) {
    std::string error;
    if (!dropPrivileges(privilegesFor(config), error)) {
        std::fprintf(stderr, "mvrp: %s\n", error.c_str());
        return false;
    }
    logMessage(LogPriority::Notice, "running as %s", heldPrivileges().c_str());
    if (geteuid() == 0 && !config.process.keepRoot && config.process.user.empty())
        logMessage(LogPriority::Warning,
                   "it stays root, since this system has no user '%s': name another ([process] "
                   "user), or say that this is meant (keep-root = true)",
                   kOwnUser);
    if (!configFile.empty() && access(configFile.c_str(), R_OK) != 0)
        logMessage(LogPriority::Warning,
                   "%s is not readable for this user: SIGHUP will not be able to read it again",
                   configFile.c_str());
    const std::string directory = runtimePath("/tmp/");
    if (access(directory.c_str(), W_OK | X_OK) == 0)
        return true;
    std::fprintf(stderr,
                 "mvrp: %s: %s; the directory of the sockets has to exist and be writable for the "
                 "user that mvrp runs as ($%s)\n",
                 directory.c_str(), errorText(errno).c_str(), kRuntimeDirVariable);
    return false;
}

int run(const Arguments& arguments, HostConfig config, int argc, char** argv) {
    holdSignals();
    keepLog();
    const auto enabled = config.options.find("mvrp.enable");
    if (enabled != config.options.end() && enabled->second == "false") {
        std::fprintf(stderr, "%s: [mvrp] enable is false: not started\n",
                     arguments.configFile.c_str());
        return kExitFailed;
    }
    if (!becomeLeast(config, arguments.configFile))
        return kExitFailed;
    startLogWriter();
    auto host = std::make_unique<Host>(std::move(config), arguments.configFile);
    std::string error;
    if (!host->start(error)) {
        flushConsole(kLastLines);
        std::fprintf(stderr, "mvrp: %s\n", error.c_str());
        return kExitFailed;
    }
    if (!arguments.configFile.empty() && !arguments.isRefused)
        keepLastGood(arguments.configFile);
    startService([running = host.get()] { return running->status(); },
                 [running = host.get()] { return running->commandsBusyFor(); });
    mvrpProcessMain(argc, argv);
    // The daemon has said in the log what it could not do. Its tasks may run.
    leaveProcess(kExitFailed);
}

int start(int argc, char** argv) {
    int status = 0;
    auto arguments = parseArguments(argc, argv, status);
    if (!arguments)
        return status;
    std::optional<HostConfig> config;
    if (defaultIsMissing(*arguments)) {
        logMessage(LogPriority::Notice, "there is no %s: starting with defaults", kDefaultConfig);
        config = parseConfig("").config;
    } else {
        config = readConfig(*arguments);
    }
    if (!config)
        return kExitFailed;
    if (arguments->check) {
        std::fprintf(stdout, "%s: right\n", arguments->configFile.c_str());
        return 0;
    }
    return run(*arguments, std::move(*config), argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return start(argc, argv);
    } catch (const std::exception& error) {
        flushConsole(kLastLines);
        std::fprintf(stderr, "mvrp: %s\n", error.what());
        return kExitFailed;
    }
}
