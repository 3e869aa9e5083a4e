// SPDX-License-Identifier: MIT
#include "platform/runtime/close_hook.h"

namespace platform {
namespace {

thread_local void (*callersHook)() = nullptr;

}  // namespace

void setCloseHook(void (*hook)()) {
    callersHook = hook;
}

void runCloseHook() {
    if (callersHook != nullptr)
        callersHook();
}

}  // namespace platform
