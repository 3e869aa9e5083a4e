// SPDX-License-Identifier: MIT
#include "platform/runtime/process_runtime.h"

namespace platform {

ProcessRuntime& processRuntime() {
    // Never destroyed: the daemon's tasks run until the process is gone.
    static auto* runtime = new ProcessRuntime;
    return *runtime;
}

}  // namespace platform
