// SPDX-License-Identifier: MIT
//
// The configuration while the daemon runs: read again, weighed, applied as a whole or not at all;
// and the same settings for ports of a bridge that come and go.
#include <limits>
#include <optional>
#include <utility>

#include "platform/config/load.h"
#include "platform/config/reload/config_changes.h"
#include "platform/config/reload/reload_check.h"
#include "platform/host/apply_management.h"
#include "platform/host/descriptors.h"
#include "platform/host/host.h"
#include "platform/host/restart/last_good.h"
#include "platform/host/service.h"
#include "platform/runtime/log_line.h"

namespace platform {
namespace {

std::vector<std::string> problemLines(const std::string& file, const LoadedConfig& loaded) {
    std::vector<std::string> lines;
    for (const ConfigProblem& problem : loaded.problems)
        lines.push_back(formatProblem(file, problem));
    return lines;
}

std::vector<u32> unitsOf(const SwitchDriver& driver) {
    std::vector<u32> units;
    for (const PortSummary& port : driver.listPorts(0, std::numeric_limits<std::size_t>::max()))
        units.push_back(port.unit);
    return units;
}

}  // namespace

struct Host::Running {
    std::optional<SwitchState> soft;  ///< of the software switch
    ManagementConfig settings;
    ManagementConfig applied;
};

void Host::onReload() {
    const ServiceReload reloading;
    carrier_.newRequest();
    reload(ConfigForce::No);
}

Host::Reloaded Host::reload(ConfigForce force) {
    Reloaded result;
    std::optional<HostConfig> next;
    std::vector<std::string> fixed;
    if (configFile_.empty()) {
        result.lines = {"there is no configuration file to read again"};
    } else {
        LoadedConfig loaded = loadConfig(configFile_);
        result.lines = problemLines(configFile_, loaded);
        next = std::move(loaded.config);
    }
    if (next) {
        std::string refusal =
            force == ConfigForce::Yes ? std::string() : reloadRefusal(config_, *next);
        std::vector<std::string> changes = configChanges(config_, *next);
        fixed = fixedChanges(config_, *next);
        result.done = refusal.empty() && applyConfig(std::move(*next), refusal);
        if (result.done)
            result.lines = std::move(changes);
        else
            result.lines = {configFile_ + ": " + refusal};
    }
    const LogPriority priority = result.done ? LogPriority::Notice : LogPriority::Error;
    const LogEvent event = result.done ? LogEvent::ConfigChanged : LogEvent::ConfigRefused;
    for (const std::string& line : result.lines)
        logEvent(priority, event, "configuration: %s", line.c_str());
    if (!result.done) {
        logEvent(priority, event, "configuration: it stays as it was");
        return result;
    }
    keepLastGood(configFile_);
    for (const std::string& line : fixed)
        logMessage(LogPriority::Warning, "%s", line.c_str());
    logEvent(priority, event, "configuration: %s was read again, %zu changes", configFile_.c_str(),
             result.lines.size());
    result.lines.insert(result.lines.end(), fixed.begin(), fixed.end());
    return result;
}

bool Host::applyConfig(HostConfig next, std::string& error) {
    Running before = running();
    HostConfig config = config_;
    const std::vector<ManagementCommand> kept = carrier_.store().kept();
    if (linux_ != nullptr)
        supersedeStored(config_, next);
    config_.parts = std::move(next.parts);
    config_.network = std::move(next.network);
    config_.management = std::move(next.management);
    config_.otherPorts = next.otherPorts;
    carrier_.setSource(linux_ == nullptr ? CommandSource::ConfigFile : CommandSource::StartUp);
    applying_ = true;
    raiseDescriptors(config_);
    // What can fail comes first. Frames of a port that the switch does not have yet go nowhere.
    bool done = applyFrames(OpenPorts::Configured, error);
    if (done) {
        reconfigureSwitch();
        done = applyManaged() == 0;
        if (!done)
            error = "the daemon refused a part of it, which the log names";
    }
    if (!done) {
        goBack(std::move(before), std::move(config));
        if (linux_ != nullptr)
            carrier_.store().restore(kept);
    }
    applying_ = false;
    followProtocols();
    carrier_.setSource(CommandSource::Management);
    return done;
}

void Host::supersedeStored(const HostConfig& before, const HostConfig& next) {
    const auto settingsIn = [](const HostConfig& config) {
        return [&bridge = config.network.linuxBridge](const std::string& name) {
            return bridge.ruleOf(name).management;
        };
    };
    carrier_.store().supersede(before.management, settingsIn(before), next.management,
                               settingsIn(next));
}

Host::Running Host::running() const {
    Running now;
    if (soft_ != nullptr)
        now.soft = soft_->snapshot();
    now.settings = readManagement(dispatcher_, unitsOf(switch_));
    now.applied = applied_;
    return now;
}

void Host::goBack(Running before, HostConfig config) {
    config_ = std::move(config);
    std::string error;
    if (!applyFrames(OpenPorts::Configured, error))
        logMessage(LogPriority::Error, "the ports' frames, as they were: %s", error.c_str());
    if (before.soft)
        soft_->restore(std::move(*before.soft));
    else
        reconfigureSwitch();
    applyManagement(dispatcher_, readManagement(dispatcher_, unitsOf(switch_)), before.settings);
    applied_ = std::move(before.applied);
}

void Host::reconfigureSwitch() {
    if (linux_ != nullptr)
        linux_->driver().reconfigure(config_.network.linuxBridge);
    else
        soft_->reconfigure(config_.network);
}

bool Host::applyFrames(OpenPorts open, std::string& error) {
    return frames_.reconfigure(
        linux_ == nullptr ? config_.network : linux_->withPorts(config_, open), error);
}

void Host::followProtocols() {
    std::string error;
    if (linux_ != nullptr && !applying_ && !applyFrames(OpenPorts::TakingPart, error))
        logMessage(LogPriority::Error, "the ports' frames: %s", error.c_str());
}

u32 Host::applyManaged() {
    ManagementConfig wanted = config_.management;
    if (linux_ != nullptr) {
        wanted = carrier_.store().appliedTo(
            linux_->withPorts(config_.management, config_.network.linuxBridge),
            [this](const std::string& name) { return linux_->unitOf(name); });
        applied_ = linux_->stillApplied(std::move(applied_), dispatcher_);
    }
    const u32 refused = applyManagement(dispatcher_, applied_, wanted);
    applied_ = std::move(wanted);
    return refused;
}

void Host::applyPorts() {
    std::string error;
    applying_ = true;
    if (!applyFrames(OpenPorts::Configured, error))
        logMessage(LogPriority::Error, "the ports' frames: %s", error.c_str());
    applyManaged();
    applying_ = false;
    followProtocols();
}

void Host::portsChanged() {
    carrier_.setSource(CommandSource::StartUp);
    applyPorts();
    carrier_.setSource(CommandSource::Management);
}

}  // namespace platform
