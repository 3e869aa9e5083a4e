// SPDX-License-Identifier: MIT
//
// Whether a thread of this process waits in the kernel: what a test waits for where it would
// otherwise give another thread some time to get there.
#pragma once

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

/// Longest that a test waits; only one that fails takes as long.
inline constexpr std::chrono::seconds kAsleepDeadline{20};

/// @param thread  its number in the kernel, gettid()
inline bool isAsleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name = text.rfind(") ");
    return name != std::string::npos && text[name + 2] == 'S';
}

/// The number of the thread of this name, 0 if there is none.
inline pid_t threadNamed(const std::string& name) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(entry.path() / "comm");
        std::string found;
        if (std::getline(file, found) && found == name)
            return std::stoi(entry.path().filename());
    }
    return 0;
}

/// Waits until `condition` holds. @return false when it did not before the deadline
template <typename Condition>
bool awaitCondition(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + kAsleepDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}
