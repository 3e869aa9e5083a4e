// SPDX-License-Identifier: MIT
#include "platform/host/descriptors.h"

#include <cstdlib>

#include "platform/channel/server.h"
#include "platform/runtime/files/descriptor_limit.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

/// What every daemon has: logs, events, netlink, ledger, store, standby, and files that are read.
constexpr u64 kOwn = 64;
/// A cable receives and sends on sockets of their own; a recording and a capture to be fed.
constexpr u64 kOfSoftPort = 4;
/// The packet socket, and a recording.
constexpr u64 kOfLinuxPort = 2;

u64 linuxPorts(const HostConfig& config) {
    const auto option = config.options.find(kPortNumberOption);
    return option == config.options.end() ? kLinuxPortNumber
                                          : std::strtoull(option->second.c_str(), nullptr, 10);
}

}  // namespace

u64 descriptorsNeeded(const HostConfig& config) {
    const u64 ofPorts = config.network.driver == DriverKind::LinuxBridge
                            ? kOfLinuxPort * linuxPorts(config)
                            : kOfSoftPort * config.network.ports.size();
    return kOwn + kMaxClients + ofPorts;
}

void raiseDescriptors(const HostConfig& config) {
    const u64 needed = descriptorsNeeded(config);
    const u64 limit = raiseDescriptorLimit(needed);
    if (limit < needed)
        logMessage(LogPriority::Warning,
                   "this configuration may need %llu file descriptors, and the system allows %llu "
                   "(LimitNOFILE= of the unit): a port that gets none is named and tried again",
                   static_cast<unsigned long long>(needed), static_cast<unsigned long long>(limit));
}

}  // namespace platform
