// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>

#include "cli/snapshot/snapshot.h"
#include "platform/runtime/files/descriptor.h"

extern char** environ;

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;
using platform::Descriptor;

constexpr std::chrono::seconds kPatience{2};
constexpr std::size_t kMostBytes = std::size_t{4} << 20;

/// Starts the program with its standard output in `output`. @return its process, -1: it is not
/// there
pid_t start(int output) {
    std::array<const char*, 6> words = {"lldpcli", "-f", "json0", "show", "neighbors", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = -1;
    const int error = posix_spawnp(&process, words[0], &actions, nullptr,
                                   const_cast<char* const*>(words.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? process : -1;
}

/// Reads to the end. @return false when that takes too long or is too much
bool readAll(int input, std::string& text) {
    const Clock::time_point end = Clock::now() + kPatience;
    std::array<char, 65536> chunk;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd readable{input, POLLIN, 0};
        if (left <= 0 || text.size() > kMostBytes ||
            poll(&readable, 1, static_cast<int>(left)) <= 0)
            return false;
        const ssize_t count = read(input, chunk.data(), chunk.size());
        if (count <= 0)
            return count == 0;
        text.append(chunk.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace

std::string askLldp() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return {};
    const Descriptor input(ends[0]);
    Descriptor output(ends[1]);
    const pid_t process = start(output.get());
    output = Descriptor();
    if (process < 0)
        return {};
    std::string text;
    const bool whole = readAll(input.get(), text);
    if (!whole)
        kill(process, SIGKILL);
    int status = 0;
    waitpid(process, &status, 0);
    return whole && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? text : std::string();
}

}  // namespace cli
