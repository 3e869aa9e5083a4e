// SPDX-License-Identifier: MIT
//
// The one process-wide record of the host. The contract is a set of free functions, so what they
// stand on has to be found without an argument: here, and nowhere else.
//
// Filled in by the host before the daemon starts and constant from then on, but where a field says
// otherwise. Tests fill in what they need.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <span>
#include <string>

#include "platform/contract/icm.h"
#include "platform/contract/types.h"
#include "platform/runtime/ending.h"

namespace platform {

struct ProcessRuntime {
    /// Start-up options by name, as text: what silOptRead() answers.
    std::map<std::string, std::string> options;

    /// Takes a command of the daemon on to the configuration store and the standby. Runs in the
    /// daemon's tasks with its lock held, so it is bounded in time. Absent: nothing to do.
    /// Arguments and result are those of qorHwilCmdSyncApi().
    std::function<u32(u32 unit, u32 command, void* value, void* control)> commandSync;

    /// 0 on an active daemon while its standby is connected: what scalar 54 reads. It is asked on
    /// the frame path: no system call. Absent: there is no standby.
    std::function<u32()> standbyState;

    /// Starts the command server: what icmProcTcpInit() does. @return whether it was started
    std::function<bool(const char* task, const char* path, std::span<const IcmFunc> map)>
        startCommands;

    /// SIGHUP. Runs in the signal task.
    std::function<void()> onReload;
    /// SIGTERM, SIGINT and SIGUSR1: the last thing that runs, in the signal task, while the
    /// daemon's tasks still do.
    std::function<void(Ending)> onEnd;

    /// Rounds of the protocol task: how often it looked at its timers. An idle one does so about
    /// once a second, one that hangs does not. Written by silTimerListCheck(). Any thread.
    std::atomic<u64> protocolRounds{0};
    /// The protocol id that the daemon announced (scalar 499). Any thread.
    std::atomic<u32> announcedProtocol{0};
    /// Whether procShellInit() was called: the debug shell answers from then on. Any thread.
    std::atomic<bool> shellReady{false};
};

ProcessRuntime& processRuntime();

}  // namespace platform
