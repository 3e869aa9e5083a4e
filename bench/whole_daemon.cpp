// SPDX-License-Identifier: MIT
#include "bench/whole_daemon.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "bench/whole_cables.h"

namespace bench {
namespace {

constexpr int kReadyWithinMs = 10'000;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

/// The number behind `key` in a file of "key: number" lines.
u64 numberIn(const std::filesystem::path& file, const std::string& key) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(key))
            return std::stoull(line.substr(key.size()));
    return 0;
}

/// Whether MVRP is on at a port.
bool portRuns(Channel& channel, u32 unit) {
    constexpr u32 kEnabled = 1;
    try {
        return channel.request(platform::Request::PortGet, unit, kEnabled).at(0) == 1;
    } catch (const RequestRefused&) {
        return false;
    }
}

}  // namespace

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

Channel::Channel(const std::string& path)
    : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = addressOf(path);
    if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        fail("command socket " + path);
}

void Channel::write(std::span<const u8> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (written <= 0)
            fail("command socket, write");
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
}

void Channel::read(std::span<u8> bytes) {
    while (!bytes.empty()) {
        const ssize_t got = recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (got <= 0)
            fail("command socket, read");
        bytes = bytes.subspan(static_cast<size_t>(got));
    }
}

std::vector<u8> Channel::request(platform::Request number, u32 unit, u32 attribute) {
    const platform::RequestHeader header = {static_cast<u32>(number), unit, attribute, 0};
    write({reinterpret_cast<const u8*>(&header), sizeof(header)});
    platform::ReplyHeader reply{};
    read({reinterpret_cast<u8*>(&reply), sizeof(reply)});
    std::vector<u8> value(reply.length);
    read(value);
    if (reply.status != 0)
        throw RequestRefused("request " + std::to_string(header.request) + " of unit " +
                             std::to_string(unit) + ": status " + std::to_string(reply.status));
    return value;
}

void Channel::pipeline(std::span<const u8> requests, size_t count, size_t replyBytes) {
    write(requests);
    std::vector<u8> replies(count * replyBytes);
    read(replies);
}

Daemon::Daemon(const DaemonSetup& setup) {
    configure(setup);
    start(setup.program, setup.ports);
}

void Daemon::configure(const DaemonSetup& setup) const {
    std::ofstream file(directory_.path("mvrp.toml"));
    file << "[switch]\ndriver = \"soft\"\nname = \"bench\"\n";
    for (u32 unit = 1; unit <= setup.ports; ++unit)
        file << "\n[[port]]\nunit = " << unit << "\nname = \"port" << unit
             << "\"\ncable = \"unix:" << portPath(unit) << ',' << peerPath(unit) << "\"\n";
    file << "\n[mvrp]\nmaxifnum = " << setup.ports << "\n\n[management]\nenable = true\n";
    for (u32 unit = 1; unit <= setup.ports; ++unit) {
        file << "\n[[management.port]]\nunit = " << unit << "\nenable = true\n";
        if (setup.leaveAllSeconds != 0)
            file << "join-time = 1000\nleave-time = 5000\nleave-all-time = "
                 << setup.leaveAllSeconds * 1000 << '\n';
    }
}

void Daemon::start(const std::string& program, u32 ports) {
    const std::string notify = directory_.path("notify");
    const platform::Descriptor ready(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf(notify);
    if (bind(ready.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        fail("socket of the service manager");
    const std::string configuration = directory_.path("mvrp.toml");
    const std::string log = directory_.path("log");

    const Clock::time_point begin = Clock::now();
    process_ = fork();
    if (process_ < 0)
        fail("fork");
    if (process_ == 0) {
        setenv("NOTIFY_SOCKET", notify.c_str(), 1);
        setenv("MVRP_RUNTIME_DIR", directory_.path("").c_str(), 1);
        const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        execl(program.c_str(), program.c_str(), "--config", configuration.c_str(), nullptr);
        _exit(127);
    }
    pollfd item = {ready.get(), POLLIN, 0};
    if (poll(&item, 1, kReadyWithinMs) != 1) {
        std::stringstream text;
        text << std::ifstream(log).rdbuf();
        throw std::runtime_error(program + " does not get ready: " + text.str());
    }
    // The settings of the ports are applied behind that, in order.
    Channel own = channel();
    while (!portRuns(own, ports)) {
        if (secondsSince(begin) * 1000 > kReadyWithinMs)
            throw std::runtime_error(program + " does not switch MVRP on at its ports");
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    readyAfterMs_ = secondsSince(begin) * 1000;
}

Daemon::~Daemon() {
    if (process_ <= 0)
        return;
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

Channel Daemon::channel() const {
    return Channel(directory_.path("mvrpcmd.socket"));
}

Usage Daemon::usage() const {
    const std::filesystem::path process = "/proc/" + std::to_string(process_);
    Usage usage{0, 0, numberIn(process / "status", "VmRSS:")};
    for (const auto& thread : std::filesystem::directory_iterator(process / "task")) {
        u64 ranNs = 0;
        std::ifstream(thread.path() / "schedstat") >> ranNs;
        usage.cpuSeconds += static_cast<double>(ranNs) * 1e-9;
        usage.wakeUps += numberIn(thread.path() / "status", "voluntary_ctxt_switches:");
    }
    return usage;
}

}  // namespace bench
