// SPDX-License-Identifier: MIT
#include "platform/host/host.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

#include "platform/contract/corrections.h"
#include "platform/contract/sil.h"
#include "platform/host/apply_management.h"
#include "platform/host/corrections.h"
#include "platform/host/debug_socket.h"
#include "platform/host/descriptors.h"
#include "platform/host/metrics/exporter_process.h"
#include "platform/host/service.h"
#include "platform/replication/adoption.h"
#include "platform/requests/correction_requests.h"
#include "platform/requests/host_requests.h"
#include "platform/requests/log_requests.h"
#include "platform/requests/plan_requests.h"
#include "platform/requests/reply.h"
#include "platform/requests/standby_requests.h"
#include "platform/requests/switch_requests.h"
#include "platform/runtime/ending.h"
#include "platform/runtime/files/paths.h"
#include "platform/runtime/files/places.h"
#include "platform/runtime/log.h"
#include "platform/runtime/process_runtime.h"
#include "platform/runtime/tasks/log_writer.h"
#include "platform/runtime/tasks/sem.h"
#include "platform/runtime/tasks/start_gate.h"

namespace platform {
namespace {

constexpr u32 kCommandTaskStack = 512 * 1024;

bool isLinux(const HostConfig& config) {
    return config.network.driver == DriverKind::LinuxBridge;
}

CommandAccess accessOf(const HostConfig& config) {
    const auto group = [](const std::string& name) {
        return name.empty() ? std::nullopt : groupOf(name);
    };
    return {group(config.commandGroup), group(config.readGroup)};
}

/// The socket for those who may only read, beside the one of the command channel.
std::string readSocketBeside(const std::string& commandPath) {
    return commandPath.substr(0, commandPath.rfind('/') + 1) + kReadSocketName;
}

/// What reading and applying the configuration took and gave back goes to the system, too: the
/// daemon will not need as much again before the next reload.
void returnFreeMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace

Host::Host(HostConfig config, std::string configFile)
    : config_(std::move(config)),
      configFile_(std::move(configFile)),
      soft_(isLinux(config_) ? nullptr : std::make_unique<SoftSwitch>(config_.network)),
      linux_(isLinux(config_) ? std::make_unique<LinuxHost>(config_.network.linuxBridge) : nullptr),
      switch_(isLinux(config_) ? static_cast<StateSwitch&>(linux_->driver()) : *soft_),
      corrections_(config_.corrections),
      frames_(switch_, sockets_),
      observation_(switch_, frames_),
      requestLog_(dispatcher_, switch_, frames_),
      server_(
          [this](const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) {
              carrier_.newRequest();
              return requestLog_.serve(server_.servingWho(), header, value, reply);
          },
          accessOf(config_)),
      role_(config_.standby, config_.corrections, server_,
            [this](HostRole role) { changeRole(role); }),
      carrier_(config_.storeFile, config_.standby, config_.corrections, role_.linkOwner()) {}

void Host::registerRequests() {
    registerSwitchRequests(dispatcher_,
                           {switch_, &frames_, [this] { return server_.takeDescriptor(); }});
    frames_.setPlaces(RequestPlaces(config_.requestDirectories.value_or(standardPlaces())));
    HostFacts facts;
    facts.switchName = [this] { return config_.network.name; };
    facts.driver = switch_.kind();
    facts.role = [this] { return role_.role(); };
    facts.standbyConnected = [this] { return carrier_.standbyConnected() || role_.otherThere(); };
    facts.portCount = [this] {
        return static_cast<u32>(
            switch_.listPorts(0, std::numeric_limits<std::size_t>::max()).size());
    };
    facts.losses = [this] {
        const FrameLosses frames = frames_.losses();
        return LossesRecord{lostLogLines(), frames.recorded, frames.forwarded};
    };
    registerHostRequests(dispatcher_, std::move(facts));
    registerCorrectionRequests(dispatcher_, corrections_);
    registerLogRequests(dispatcher_, logBook());
    dispatcher_.registerRequest(
        Request::ConfigSource,
        [this](const RequestHeader&, std::span<const u8>, std::vector<u8>& reply) {
            reply.insert(reply.end(), configFile_.begin(), configFile_.end());
            return kStatusOk;
        });
    dispatcher_.registerRequest(
        Request::ConfigApply,
        [this](const RequestHeader& header, std::span<const u8>, std::vector<u8>& reply) {
            const Reloaded reloaded = reload(static_cast<ConfigForce>(header.attribute));
            std::string text;
            for (const std::string& line : reloaded.lines)
                text += line + "\n";
            appendText(reply, text.substr(0, kMaxValueBytes));
            return reloaded.done ? kStatusOk : kBadArgument;
        });
    registerPlanRequest(dispatcher_,
                        {config_, switch_, [this] { return server_.takeDescriptor(); }});
    registerStandbyRequests(dispatcher_, role_);
}

bool Host::start(std::string& error) {
    raiseDescriptors(config_);
    registerRequests();
    switch_.setRole(config_.standby.role);
    switch_.setRouteSink(&sockets_);
    switch_.setNews(&observation_.news());
    sockets_.setTransmitter(&frames_);
    setPutOffWork(&frames_);
    installSwitchDriver(&switch_);
    installSocketLayer(&sockets_);
    installCorrections(&corrections_);
    switch_.setAdmission(correctionsWanted().has(Correction::Admission));
    switch_.setLinkListener([this](u32 unit) { frames_.linkCameUp(unit); });
    frames_.setHold([this](u32 unit, bool held) { switch_.hold(unit, held); });
    observation_.install(dispatcher_);
    dispatcher_.onDone([this](const RequestHeader& header) { settingChanged(header); });
    if (!startDriver(error))
        return false;

    if (linux_ != nullptr)
        carrier_.store().keepByName([this](u32 unit) {
            std::string name;
            switch_.portName(unit, name);
            return name;
        });
    observation_.startLog();
    carrier_.start();
    installRuntime();
    closeStartGate();
    return true;
}

bool Host::startDriver(std::string& error) {
    if (linux_ == nullptr)
        return frames_.start(config_.network, error);
    const auto changed = [this] { server_.post([this] { portsChanged(); }); };
    return linux_->start(changed, error) &&
           frames_.start(linux_->withPorts(config_, OpenPorts::Configured), error);
}

void Host::installRuntime() {
    ProcessRuntime& runtime = processRuntime();
    runtime.options = config_.options;
    if (linux_ != nullptr)
        runtime.options.try_emplace(kPortNumberOption, std::to_string(kLinuxPortNumber));
    runtime.commandSync = [this](u32 unit, u32 command, void* value, void*) {
        return carrier_.carry(unit, command, value);
    };
    runtime.standbyState = [this] { return carrier_.standbyConnected() ? 0U : kStatusFailed; };
    runtime.startCommands = [this](const char* task, const char* path,
                                   std::span<const IcmFunc> map) {
        return startCommands(task, path, map);
    };
    runtime.onReload = [this] { server_.post([this] { onReload(); }); };
    runtime.onEnd = [this](Ending ending) { end(ending); };
}

void Host::serveCommands() {
    carrier_.newRequest();
    if (linux_ != nullptr) {
        applyPorts();
        keepAdopted();
    } else {
        applyManagement(dispatcher_, {}, carrier_.store().appliedTo(config_.management));
        applied_ = config_.management;
    }
    carrier_.setSource(CommandSource::Management);
    settleService();
    if (config_.debugSocket)
        startDebugSocket();
    returnFreeMemory();
    server_.run();
}

bool Host::startCommands(const char* task, const char* path, std::span<const IcmFunc> map) {
    std::string error;
    dispatcher_.setTable(map);
    const std::string ownPath = runtimePath(path);
    const auto body = [](void* host) { static_cast<Host*>(host)->serveCommands(); };
    if (!server_.open(ownPath, error) || !role_.start(error))
        logMessage(LogPriority::Error, "command channel: %s", error.c_str());
    else if (silCreateTask(task, 0, kCommandTaskStack, body, this, 0, nullptr) != kStatusOk)
        logMessage(LogPriority::Error, "command channel: no thread for it");
    else
        commandPath_ = ownPath;
    if (!commandPath_.empty() && openReaders() && !config_.metricsListen.empty())
        startExporter(config_.metricsListen, readPath_);
    if (!commandPath_.empty())
        return true;
    // The daemon does not look at the result, and is of no use without its command channel.
    leaveProcess(1);
}

bool Host::openReaders() {
    if (config_.readGroup.empty() && config_.metricsListen.empty())
        return false;
    std::string error;
    const std::string path = readSocketBeside(commandPath_);
    if (!server_.openForReaders(path, error)) {
        logMessage(LogPriority::Error,
                   "command channel: %s; nobody can read only: the daemon's user has to be of the "
                   "group '%s'",
                   error.c_str(), config_.readGroup.c_str());
        return false;
    }
    readPath_ = path;
    return true;
}

void Host::changeRole(HostRole role) {
    switch_.setRole(role);
    if (role == HostRole::Active)
        keepAdopted();
}

void Host::keepAdopted() {
    const auto time = timeToClaim(dispatcher_);
    logMessage(LogPriority::Notice,
               "the memberships found on the switch are kept for %lld ms, and longer if the "
               "neighbours declare them",
               static_cast<long long>(time.count()));
    clearUnclaimedAfter(time, switch_, server_);
}

std::string Host::status() const {
    const std::string awaited = linux_ == nullptr ? "" : linux_->driver().awaited();
    if (!awaited.empty())
        return "waiting for " + awaited;
    const auto ports = switch_.listPorts(0, std::numeric_limits<std::size_t>::max());
    const auto taking = std::ranges::count_if(
        ports, [](const PortSummary& port) { return port.mvrp || port.gvrp; });
    return std::string(role_.role() == HostRole::Active ? "active" : "standby") + ", " +
           std::to_string(taking) + " of " + std::to_string(ports.size()) + " ports take part";
}

PortManagement Host::settingsOf(u32 unit) const {
    if (linux_ != nullptr) {
        std::string name;
        switch_.portName(unit, name);
        return config_.network.linuxBridge.ruleOf(name).management;
    }
    const auto found = config_.management.ports.find(unit);
    return found == config_.management.ports.end() ? config_.otherPorts : found->second;
}

void Host::settingChanged(const RequestHeader& header) {
    const std::optional<ChangedSetting> changed = changedSetting(header);
    if (linux_ != nullptr && changed == ChangedSetting::Enable)
        linux_->driver().setMvrpOn(isMvrpOn(dispatcher_));
    if (changed == ChangedSetting::Enable || changed == ChangedSetting::PortEnable)
        followProtocols();
    if (changed != ChangedSetting::PortEnable && changed != ChangedSetting::PortTimes)
        return;
    const std::optional<PortTimes> times = timesOf(dispatcher_, header.unit);
    if (!times)
        return;
    if (changed == ChangedSetting::PortEnable && times->areTheDaemons()) {
        const CommandSource source = carrier_.source();
        if (config_.otherPorts != PortManagement{}) {
            // At a start, file and store are applied together: the store stays as it is.
            if (source == CommandSource::Management)
                carrier_.setSource(CommandSource::ConfigFile);
            applyPortSettings(dispatcher_, header.unit, settingsOf(header.unit));
            carrier_.setSource(source);
        }
        frames_.beganToTakePart(header.unit);
    } else if (linux_ != nullptr) {
        linux_->driver().setTimes(header.unit, times->joinMs, times->leaveMs);
    }
}

void Host::end(Ending ending) {
    notifyService("STOPPING=1");
    frames_.stop();  // completes the captures
    if (linux_ != nullptr)
        linux_->stop(ending);
    role_.end();
    if (config_.debugSocket)
        removeDebugSocket();
    for (const std::string& path : {commandPath_, readPath_})
        if (!path.empty())
            unlink(path.c_str());
    constexpr std::chrono::milliseconds kLastSettings{400};
    if (!carrier_.store().flush(kLastSettings))
        logMessage(LogPriority::Error, "%s: the last settings are not in it: the disk is too slow",
                   config_.storeFile.c_str());
}

}  // namespace platform
