// SPDX-License-Identifier: MIT
#include "platform/channel/version.h"

namespace platform {

std::string unknownRequest(u32 request) {
    return "this daemon is mvrp " MVRP_VERSION " with version " + std::to_string(kChannelVersion) +
           " of the command channel and does not know request " + std::to_string(request) +
           "; a client of a later version asks such a thing: restart the daemon after an upgrade, "
           "or use the mvrpctl that came with it";
}

}  // namespace platform
