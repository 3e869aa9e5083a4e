// SPDX-License-Identifier: MIT
//
// The thread that waits for the kernel's notifications and has the driver act on them.
// Notifications come in bursts (each change of a VLAN makes two); a short pause lets a burst be
// handled at once. While the driver itself is changing VLANs the pause goes on for a while: a look
// at the bridge then would hold up the next batch and find nothing but the driver's own work.
//
// Locking: its own thread; wake() may be called by any.
#pragma once

#include <atomic>
#include <thread>

#include "platform/linux/kernel.h"
#include "platform/linux/linux_switch.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {

class LinuxMonitor {
  public:
    /// Both outlive it.
    LinuxMonitor(const Kernel& kernel, LinuxSwitch& driver);
    ~LinuxMonitor();
    LinuxMonitor(const LinuxMonitor&) = delete;
    LinuxMonitor& operator=(const LinuxMonitor&) = delete;
    LinuxMonitor(LinuxMonitor&&) = delete;
    LinuxMonitor& operator=(LinuxMonitor&&) = delete;

    /// @return false when there are no descriptors for it
    bool start();
    /// Ends the thread.
    void stop();
    /// Something is to be tried again.
    void wake() const;

  private:
    void loop();
    /// How long to wait for a notification, as poll(2) takes it.
    int waitMs() const;
    void letBurstEnd() const;

    const Kernel& kernel_;
    LinuxSwitch& driver_;
    Descriptor wakeUp_;
    std::atomic<bool> running_{false};
    std::thread thread_;
};

}  // namespace platform
