// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

#include "cli/support/support.h"
#include "platform/runtime/files/descriptor.h"

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(10);
constexpr std::size_t kMostBytes = std::size_t{16} << 20;

/// Tools of root's are not on everybody's path.
constexpr const char* kPath = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

int spawn(const std::vector<std::string>& words, int output, pid_t& child) {
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    std::vector<std::string> copies = {"/usr/bin/env"};
    copies.insert(copies.end(), words.begin(), words.end());
    std::vector<char*> arguments;
    arguments.reserve(copies.size() + 1);
    for (std::string& word : copies)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    std::array<std::string, 2> variables = {kPath, "LC_ALL=C.UTF-8"};
    std::array<char*, 3> environment = {variables[0].data(), variables[1].data(), nullptr};
    const int error = posix_spawn(&child, copies[0].c_str(), &actions, nullptr, arguments.data(),
                                  environment.data());
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

/// Reads until the other end is closed. @return false when that took too long, or was too much
bool readAll(int from, std::string& text) {
    const auto end = Clock::now() + kPatience;
    std::array<char, 65536> chunk;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd ready{from, POLLIN, 0};
        if (left <= 0 || poll(&ready, 1, static_cast<int>(left)) <= 0 || text.size() > kMostBytes)
            return false;
        const ssize_t count = read(from, chunk.data(), chunk.size());
        if (count <= 0)
            return count == 0;
        text.append(chunk.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace

std::string outputOfProgram(const std::vector<std::string>& words, std::string& problem) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        problem = std::strerror(errno);
        return {};
    }
    const platform::Descriptor input(ends[0]);
    platform::Descriptor output(ends[1]);
    pid_t child = 0;
    if (const int error = spawn(words, output.get(), child); error != 0) {
        problem = std::strerror(error);
        return {};
    }
    output = platform::Descriptor();
    std::string text;
    if (!readAll(input.get(), text)) {
        kill(child, SIGKILL);
        problem = "it did not end in 10 s, or printed more than 16 MiB";
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (problem.empty() && status != 0)
        problem = "exit status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    return text;
}

}  // namespace cli
