// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/rtnl_kernel.h"

#include "platform/linux/netlink/bridge_vlan_message.h"
#include "platform/linux/netlink/guard.h"
#include "platform/linux/netlink/rtnl_dump.h"

namespace platform {

std::unique_ptr<RtnlKernel> RtnlKernel::open(const std::string& bridge, KernelResult& result) {
    std::unique_ptr<RtnlKernel> kernel(new RtnlKernel(bridge));
    result = kernel->requests_.open(true);
    if (result)
        result = kernel->events_.open();
    if (!result)
        kernel.reset();
    return kernel;
}

KernelResult RtnlKernel::readLinks(std::vector<KernelLink>& links) {
    return dumpLinks(requests_, links);
}

KernelResult RtnlKernel::readVlans(std::vector<KernelVlans>& vlans) {
    return dumpVlans(requests_, 0, vlans);
}

KernelResult RtnlKernel::changeVlans(u32 port, VlanChange change, const VlanBitmap& vlans) {
    if (vlans == VlanBitmap{})
        return {};
    VlanChangeRequest request(port, change, vlans);
    return requests_.request(request.bytes());
}

KernelResult RtnlKernel::setGuard(u32 port, bool on) {
    return on ? addGuard(requests_, port, bridge_) : removeGuard(requests_, port, bridge_);
}

KernelResult RtnlKernel::readGuards(std::span<const u32> ports, std::vector<u32>& guarded) {
    guarded.clear();
    for (const u32 port : ports) {
        GuardState state;
        if (KernelResult result = dumpGuard(requests_, port, bridge_, state); !result)
            return result;
        if (state.present)
            guarded.push_back(port);
    }
    return {};
}

}  // namespace platform
