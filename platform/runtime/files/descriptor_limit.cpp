// SPDX-License-Identifier: MIT
#include "platform/runtime/files/descriptor_limit.h"

#include <sys/resource.h>

#include <algorithm>

namespace platform {

u64 raiseDescriptorLimit(u64 needed) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    rlimit raised = limit;
    const auto granted = static_cast<rlim_t>(std::min<u64>(needed, limit.rlim_max));
    raised.rlim_cur = std::max(limit.rlim_cur, granted);
    if (raised.rlim_cur != limit.rlim_cur && setrlimit(RLIMIT_NOFILE, &raised) == 0)
        limit = raised;
    return limit.rlim_cur;
}

}  // namespace platform
