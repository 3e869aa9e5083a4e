// SPDX-License-Identifier: MIT
#include "platform/linux/linux_monitor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>

namespace platform {
namespace {

constexpr std::chrono::milliseconds kBurst{50};
/// Others' changes wait no longer than so many times kBurst, and the kernel's notifications of the
/// driver's changes have room in the socket meanwhile.
constexpr int kMostPauses = 5;
/// How soon what failed is tried again.
constexpr int kRetryMs = 500;
constexpr u32 kLongestWaitMs = 60'000;

}  // namespace

LinuxMonitor::LinuxMonitor(const Kernel& kernel, LinuxSwitch& driver)
    : kernel_(kernel), driver_(driver), wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

LinuxMonitor::~LinuxMonitor() {
    stop();
}

bool LinuxMonitor::start() {
    if (!wakeUp_.isOpen())
        return false;
    running_ = true;
    thread_ = std::thread([this] { loop(); });
    return true;
}

void LinuxMonitor::stop() {
    running_ = false;
    wake();
    if (thread_.joinable())
        thread_.join();
}

void LinuxMonitor::wake() const {
    const u64 one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeUp_.get(), &one, sizeof one);
}

void LinuxMonitor::loop() {
    while (running_) {
        std::array<pollfd, 2> items = {
            {{kernel_.waitDescriptor(), POLLIN, 0}, {wakeUp_.get(), POLLIN, 0}}};
        const int ready = poll(items.data(), items.size(), waitMs());
        if ((items[1].revents & POLLIN) != 0) {
            u64 signals = 0;
            [[maybe_unused]] const ssize_t cleared = read(wakeUp_.get(), &signals, sizeof signals);
            // Woken to try again in a while, or to end.
            if (items[0].revents == 0)
                continue;
        }
        if (ready != 0)
            letBurstEnd();
        if (running_)
            driver_.handleEvents();
    }
}

int LinuxMonitor::waitMs() const {
    const std::optional<u32> linger = driver_.lingerMs();
    const int retry = driver_.hasUnfinished() ? kRetryMs : -1;
    if (!linger)
        return retry;
    const int left = static_cast<int>(std::min<u32>(*linger, kLongestWaitMs));
    return retry < 0 ? left : std::min(left, retry);
}

void LinuxMonitor::letBurstEnd() const {
    bool goesOn = true;
    for (int pause = 0; running_ && goesOn && pause < kMostPauses; pause++) {
        const u32 before = driver_.changesAsked();
        std::this_thread::sleep_for(kBurst);
        goesOn = driver_.changesAsked() != before;
    }
}

}  // namespace platform
