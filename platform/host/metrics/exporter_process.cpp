// SPDX-License-Identifier: MIT
#include "platform/host/metrics/exporter_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/contract/types.h"
#include "platform/runtime/files/descriptor.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kStack = 64 * 1024;
/// Between the end of one and the start of the next.
constexpr std::chrono::seconds kPause{3};
constexpr const char* kName = "mvrp-exporter";

/// Beside this program, as a build has it, or where it is installed.
std::optional<std::string> findProgram() {
    std::array<char, PATH_MAX> own{};
    const ssize_t length = readlink("/proc/self/exe", own.data(), own.size());
    std::vector<std::string> places;
    if (length > 0) {
        const std::string path(own.data(), static_cast<std::size_t>(length));
        places.push_back(path.substr(0, path.rfind('/') + 1) + kName);
    }
    places.push_back(std::string(MVRP_LIBEXEC "/") + kName);
    for (std::string& place : places)
        if (access(place.c_str(), X_OK) == 0)
            return std::move(place);
    return std::nullopt;
}

/// What posix_spawn() is told of the child: its standard input is `input`, it has no other
/// descriptor of ours but output and error, and signals as a program finds them.
class SpawnRules {
  public:
    explicit SpawnRules(int input) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
        posix_spawnattr_init(&attributes_);
        sigset_t set;
        sigemptyset(&set);
        posix_spawnattr_setsigmask(&attributes_, &set);
        sigfillset(&set);
        posix_spawnattr_setsigdefault(&attributes_, &set);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnRules() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnRules(const SpawnRules&) = delete;
    SpawnRules& operator=(const SpawnRules&) = delete;
    SpawnRules(SpawnRules&&) = delete;
    SpawnRules& operator=(SpawnRules&&) = delete;

    /// @return 0, or an errno value
    int spawn(std::vector<std::string> words, pid_t& child) const {
        closeOnExec();
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        return posix_spawn(&child, words[0].c_str(), &actions_, &attributes_, arguments.data(),
                           environ);
    }

  private:
    /// What this process opens is closed by exec; what it was itself started with may not be.
    /// Without an action of posix_spawn() that closes all, which not every C library has. Refused
    /// before Linux 5.11.
    static void closeOnExec() {
        syscall(SYS_close_range, unsigned{STDERR_FILENO + 1}, ~0U, unsigned{CLOSE_RANGE_CLOEXEC});
    }

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

/// How a process ended, for the log.
std::string endOf(int status) {
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "status " + std::to_string(WEXITSTATUS(status));
}

/// Runs it once. It reads from a pipe whose other end is open in this process alone, so the end of
/// this process ends it.
void runOnce(const std::vector<std::string>& words) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        logMessage(LogPriority::Error, "metrics: %s", errorText(errno).c_str());
        return;
    }
    Descriptor input(ends[0]);
    const Descriptor held(ends[1]);
    pid_t child = 0;
    if (const int error = SpawnRules(input.get()).spawn(words, child); error != 0) {
        logMessage(LogPriority::Error, "metrics: %s: %s", words[0].c_str(),
                   errorText(error).c_str());
        return;
    }
    input = Descriptor();
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    logMessage(LogPriority::Warning, "metrics: %s ended with %s; it is started again in %lld s",
               kName, endOf(status).c_str(), static_cast<long long>(kPause.count()));
}

}  // namespace

void startExporter(const std::string& listen, const std::string& commandSocket) {
    const auto program = findProgram();
    if (!program) {
        logMessage(LogPriority::Error,
                   "metrics: [metrics] listen has no effect: there is no %s beside mvrp or in %s",
                   kName, MVRP_LIBEXEC);
        return;
    }
    std::vector<std::string> words = {*program,   "--listen",    listen,
                                      "--socket", commandSocket, "--until-input-ends"};
    const bool started = startThread("mvrpmetrics", kStack, [words = std::move(words)] {
        for (;;) {
            runOnce(words);
            std::this_thread::sleep_for(kPause);
        }
    });
    if (!started)
        logMessage(LogPriority::Error, "metrics: no thread to wait for %s", kName);
}

}  // namespace platform
