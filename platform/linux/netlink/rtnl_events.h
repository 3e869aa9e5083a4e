// SPDX-License-Identifier: MIT
//
// The kernel's notifications about links, VLAN entries and filters, turned into events. The kernel
// tells some things twice and some by halves: a bridge tells the spanning tree state of a port
// apart from its link, a change of the default PVID as a difference only, and of a qdisc that goes
// not which filters went with it. So the links are remembered, and what was told by halves is read.
//
// Locking: none; one thread. An event can be older than what another socket reads or has changed
// since; the last event about something is never older than its last change.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/kernel.h"
#include "platform/linux/netlink/link_message.h"
#include "platform/linux/netlink/netlink_socket.h"

namespace platform {

class RtnlEvents {
  public:
    /// @param bridge  name of the bridge that guards are for
    explicit RtnlEvents(std::string bridge) : bridge_(std::move(bridge)) {}

    /// Opens the sockets and joins the notifications.
    KernelResult open();
    int descriptor() const { return notifications_.descriptor(); }
    /// Appends what waits, without blocking on it.
    void read(std::vector<KernelEvent>& events);

  private:
    void take(const NetlinkMessage& message, std::vector<KernelEvent>& events);
    void takeLink(KernelLink link, std::vector<KernelEvent>& events);
    void takeLinkGone(KernelLink link, std::vector<KernelEvent>& events);
    void takeBridgePort(const BridgePortMessage& message, std::vector<KernelEvent>& events);
    void takeTrafficControl(const NetlinkMessage& message);
    /// Reads the entries of the ports of which nothing complete was told, and the guards of those
    /// whose filters changed.
    void readIncomplete(std::vector<KernelEvent>& events);
    void lose(std::vector<KernelEvent>& events);
    KernelResult remember();

    const std::string bridge_;
    NetlinkSocket notifications_;
    NetlinkSocket queries_;
    std::map<u32, KernelLink> links_;  ///< as last told, by index
    std::set<u32> incomplete_;         ///< ports whose entries changed, in a way that was not told
    std::set<u32> filtered_;           ///< ports whose filters may have changed
};

}  // namespace platform
