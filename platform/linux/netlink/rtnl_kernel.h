// SPDX-License-Identifier: MIT
//
// The kernel of this machine, spoken to over netlink (rtnetlink(7)): requests and reads on one
// socket, notifications on another. Changes need CAP_NET_ADMIN in the network namespace; the
// sockets belong to the namespace that open() was called in.
//
// Locking: none; requests and reads belong to one thread, notifications to another (kernel.h).
#pragma once

#include <memory>
#include <string>

#include "platform/linux/kernel.h"
#include "platform/linux/netlink/netlink_socket.h"
#include "platform/linux/netlink/rtnl_events.h"

namespace platform {

class RtnlKernel : public Kernel {
  public:
    /// Opens the sockets; from then on notifications are kept, so that what happens after a read is
    /// not missed.
    /// @param bridge  name of the bridge that guards are for
    /// @param result  receives what was wrong when nothing is returned
    static std::unique_ptr<RtnlKernel> open(const std::string& bridge, KernelResult& result);

    KernelResult readLinks(std::vector<KernelLink>& links) override;
    KernelResult readVlans(std::vector<KernelVlans>& vlans) override;
    KernelResult changeVlans(u32 port, VlanChange change, const VlanBitmap& vlans) override;
    KernelResult setGuard(u32 port, bool on) override;
    KernelResult readGuards(std::span<const u32> ports, std::vector<u32>& guarded) override;
    int waitDescriptor() const override { return events_.descriptor(); }
    void readEvents(std::vector<KernelEvent>& events) override { events_.read(events); }

  private:
    explicit RtnlKernel(const std::string& bridge) : bridge_(bridge), events_(bridge) {}

    const std::string bridge_;
    NetlinkSocket requests_;
    RtnlEvents events_;
};

}  // namespace platform
