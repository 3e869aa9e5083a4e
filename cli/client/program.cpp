// SPDX-License-Identifier: MIT
#include "cli/client/program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/runtime/files/descriptor.h"

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;

/// Tools of root's are not on everybody's path.
constexpr const char* kPath = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

/// @return an errno value, or 0
int spawn(const ProgramRun& run, int output, pid_t& child) {
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (run.mistakesToo)
        posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> copies = {"/usr/bin/env"};
    copies.insert(copies.end(), run.words.begin(), run.words.end());
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
bool readAll(const ProgramRun& run, int from, std::string& text) {
    const auto end = Clock::now() + run.patience;
    std::array<char, 65536> chunk;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd ready{from, POLLIN, 0};
        if (left <= 0 || poll(&ready, 1, static_cast<int>(left)) <= 0 ||
            text.size() > run.mostBytes)
            return false;
        const ssize_t count = read(from, chunk.data(), chunk.size());
        if (count <= 0)
            return count == 0;
        text.append(chunk.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace

std::string outputOfProgram(const ProgramRun& run, std::string& problem) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        problem = std::strerror(errno);
        return {};
    }
    const platform::Descriptor input(ends[0]);
    platform::Descriptor output(ends[1]);
    pid_t child = 0;
    if (const int error = spawn(run, output.get(), child); error != 0) {
        problem = std::strerror(error);
        return {};
    }
    output = platform::Descriptor();
    std::string text;
    if (!readAll(run, input.get(), text)) {
        kill(child, SIGKILL);
        problem = "it did not end in " + std::to_string(run.patience.count()) +
                  " s, or printed more than " + std::to_string(run.mostBytes >> 20U) + " MiB";
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (problem.empty() && status != 0)
        problem = "exit status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    return text;
}

}  // namespace cli
