// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/start_gate.h"

#include <condition_variable>
#include <mutex>

namespace platform {
namespace {

struct StartGate {
    std::mutex guard;
    std::condition_variable opened;
    bool open = true;
};

StartGate& startGate() {
    static auto* gate = new StartGate;
    return *gate;
}

void setOpen(bool open) {
    StartGate& gate = startGate();
    const std::lock_guard lock(gate.guard);
    gate.open = open;
    gate.opened.notify_all();
}

}  // namespace

void closeStartGate() {
    setOpen(false);
}

void openStartGate() {
    setOpen(true);
}

void passStartGate() {
    StartGate& gate = startGate();
    std::unique_lock lock(gate.guard);
    gate.opened.wait(lock, [&gate] { return gate.open; });
}

}  // namespace platform
