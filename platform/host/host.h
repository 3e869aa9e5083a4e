// SPDX-License-Identifier: MIT
//
// The host of one daemon: the switch, the frame layer and the command server that a configuration
// asks for, put in place behind the contract. Lives as long as the process.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/channel/dispatcher.h"
#include "platform/channel/server.h"
#include "platform/config/host_config.h"
#include "platform/host/linux_host.h"
#include "platform/host/port_settings.h"
#include "platform/net/frame_net.h"
#include "platform/observe/correction_book.h"
#include "platform/replication/command_carrier.h"
#include "platform/replication/role.h"
#include "platform/requests/observation.h"
#include "platform/requests/request_log.h"
#include "platform/runtime/ending.h"
#include "platform/switch/soft_switch.h"

namespace platform {

class Host {
  public:
    /// @param configFile  read again on SIGHUP; empty: there is none
    Host(HostConfig config, std::string configFile);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    Host(Host&&) = delete;
    Host& operator=(Host&&) = delete;
    ~Host() = default;

    /// Puts everything in place for the daemon to start. @param error  receives what was wrong
    bool start(std::string& error);
    /// What this daemon does, in a line, for the service manager. Any thread, after start().
    std::string status() const;
    /// How long the command task has been at one thing. Any thread.
    std::chrono::milliseconds commandsBusyFor() const { return server_.busyFor(); }

  private:
    void registerRequests();
    bool startDriver(std::string& error);
    void installRuntime();
    /// The body of the command task.
    void serveCommands();
    /// Begins to listen for the command channel and starts its task.
    bool startCommands(const char* task, const char* path, std::span<const IcmFunc> map);
    /// Begins to listen for those who may only read, where there are any. @return whether it does
    bool openReaders();
    /// What came of reading the file again.
    struct Reloaded {
        bool done = false;
        std::vector<std::string> lines;  ///< the changes, or why there are none
    };
    /// Reads the file again and applies the difference, or nothing when it is wrong, when it would
    /// leave nothing (see reloadRefusal(); not with `force`), or when a part of it fails.
    Reloaded reload(ConfigForce force);
    /// SIGHUP.
    void onReload();
    /// Applies all of a configuration or none of it. @param error  receives what failed
    bool applyConfig(HostConfig next, std::string& error);
    /// What there is besides `config_`, to go back to.
    struct Running;
    Running running() const;
    void goBack(Running before, HostConfig config);
    /// Brings the switch to the configuration.
    void reconfigureSwitch();
    // Frames and daemon are brought to the configuration, for the ports that are there.
    /// @param error  receives what could not be done
    bool applyFrames(OpenPorts open, std::string& error);
    /// On a Linux bridge: the frames of ports that take part, and of no others. Not while a
    /// configuration is applied, which does so at its end.
    void followProtocols();
    /// Of a Linux bridge: what a file sets otherwise than the one before leaves the store.
    void supersedeStored(const HostConfig& before, const HostConfig& next);
    /// @return how many settings were refused
    u32 applyManaged();
    void applyPorts();
    /// The Linux driver has others: in the command task.
    void portsChanged();
    /// A setting of the daemon was changed, by whomever: in the command task.
    void settingChanged(const RequestHeader& header);
    /// What the configuration says of a port.
    PortManagement settingsOf(u32 unit) const;
    /// What was found on the switch at the start, or by a standby, goes when nobody declares it.
    void keepAdopted();
    /// A standby takes over, or an active stands back: in the command task.
    void changeRole(HostRole role);
    void end(Ending ending);

    HostConfig config_;  ///< the command task's, once it runs
    std::string commandPath_;
    std::string readPath_;  ///< of the socket for those who may only read; empty: there is none
    const std::string configFile_;
    SocketLayer sockets_;
    // One of the two, by the configured driver.
    const std::unique_ptr<SoftSwitch> soft_;
    const std::unique_ptr<LinuxHost> linux_;
    StateSwitch& switch_;
    ManagementConfig applied_;  ///< the command task's
    bool applying_ = false;     ///< the command task's
    CorrectionBook corrections_;
    FrameNet frames_;
    Observation observation_;
    Dispatcher dispatcher_;
    RequestLog requestLog_;
    CommandServer server_;
    StandbyRole role_;
    CommandCarrier carrier_;
};

}  // namespace platform
