// SPDX-License-Identifier: MIT
#include "platform/linux/netlink/rtnl_kernel.h"

#include "platform/linux/netlink/bridge_vlan_message.h"
#include "platform/linux/netlink/guard.h"
#include "platform/linux/netlink/rtnl_dump.h"

namespace platform {

std::unique_ptr<RtnlKernel> RtnlKernel::open(KernelResult& result) {
    std::unique_ptr<RtnlKernel> kernel(new RtnlKernel);
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
    return on ? addGuard(requests_, port) : removeGuard(requests_, port);
}

KernelResult RtnlKernel::readGuard(u32 port, bool& on) {
    GuardState state;
    KernelResult result = dumpGuard(requests_, port, state);
    on = state.present;
    return result;
}

}  // namespace platform
