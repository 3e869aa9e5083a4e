// SPDX-License-Identifier: MIT
//
// Targets of a platform that runs: descriptors that come with requests, and a configuration that
// follows on another.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <thread>

#include "platform/channel/client_connection.h"
#include "platform/channel/dispatcher.h"
#include "platform/config/load.h"
#include "platform/config/reload/config_changes.h"
#include "platform/config/reload/reload_check.h"
#include "platform/net/frame_net.h"
#include "platform/requests/switch_requests.h"
#include "platform/switch/soft_switch.h"
#include "tests/fuzz/targets.h"

namespace fuzz {
namespace {

using platform::Descriptor;

std::size_t openDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++count;
    return count;
}

/// A recording's thread closes its file when it has written what waits; nobody waits for that.
bool comesDownTo(std::size_t count) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (openDescriptors() != count) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::yield();
    }
    return true;
}

/// What a client may pass, and what none should.
enum class Passed : u8 { Nothing, Sealed, Unsealed, Sink, Pipe, Socket, ReadOnly, Count };

Descriptor memoryWith(std::span<const u8> bytes, int seals) {
    Descriptor memory(memfd_create("replay", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    (void)!write(memory.get(), bytes.data(), bytes.size());
    if (seals != 0)
        fcntl(memory.get(), F_ADD_SEALS, seals);
    return memory;
}

Descriptor anEnd(int (*make)(int*)) {
    std::array<int, 2> ends = {-1, -1};
    if (make(ends.data()) != 0)
        return Descriptor();
    const Descriptor other(ends[0]);
    return Descriptor(ends[1]);
}

Descriptor passed(Passed kind, std::span<const u8> rest) {
    switch (kind) {
        case Passed::Sealed:
            return memoryWith(rest, F_SEAL_WRITE | F_SEAL_SHRINK);
        case Passed::Unsealed:
            return memoryWith(rest, 0);
        case Passed::Sink:
            return Descriptor(open("/dev/null", O_WRONLY | O_CLOEXEC));
        case Passed::Pipe:
            return anEnd([](int* ends) { return pipe2(ends, O_CLOEXEC); });
        case Passed::Socket:
            return anEnd(
                [](int* ends) { return socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends); });
        case Passed::ReadOnly:
            return Descriptor(open("/dev/zero", O_RDONLY | O_CLOEXEC));
        case Passed::Nothing:
        case Passed::Count:
            break;
    }
    return Descriptor();
}

void sendWith(int line, std::span<const u8> bytes, int descriptor) {
    std::array<u8, CMSG_SPACE(sizeof(int))> control{};
    // The kernel only reads what is sent.
    iovec part = {const_cast<u8*>(bytes.data()), bytes.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* item = CMSG_FIRSTHDR(&message);
        item->cmsg_level = SOL_SOCKET;
        item->cmsg_type = SCM_RIGHTS;
        item->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(item), &descriptor, sizeof descriptor);
    }
    (void)!sendmsg(line, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
}

/// A switch whose frames nobody moves, and a client of its requests.
class FileClient {
  public:
    FileClient() {
        std::array<int, 2> ends = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) != 0)
            fail("no sockets");
        client_ = Descriptor(ends[0]);
        connection_.emplace(Descriptor(ends[1]), limit_);
        registerSwitchRequests(dispatcher_,
                               {switch_, &net_, [this] { return connection_->takeDescriptor(); }});
    }

    void send(std::span<const u8> bytes, const Descriptor& with) {
        sendWith(client_.get(), bytes, with.isOpen() ? with.get() : -1);
        turn();
    }
    void end() {
        ::shutdown(client_.get(), SHUT_WR);
        constexpr u32 kMostTurns = 10000;
        for (u32 count = 0; !connection_->finished(); ++count) {
            if (count == kMostTurns)
                fail("a client that is gone is served for ever");
            turn();
        }
    }

  private:
    void turn() {
        if (connection_->wantsToRead())
            connection_->receive();
        connection_->serve(
            [this](const platform::RequestHeader& header, std::span<const u8> value,
                   std::vector<u8>& reply) { return dispatcher_.dispatch(header, value, reply); });
        connection_->send();
        while (::recv(client_.get(), sink_.data(), sink_.size(), 0) > 0) {
        }
    }

    static platform::SwitchConfig twoPorts() {
        platform::SwitchConfig config;
        config.ports.resize(2);
        config.ports[0].unit = 1;
        config.ports[1].unit = 2;
        return config;
    }

    platform::SoftSwitch switch_{twoPorts()};
    platform::SocketLayer sockets_;
    platform::FrameNet net_{switch_, sockets_};
    platform::Dispatcher dispatcher_;
    platform::LogLimit limit_;
    Descriptor client_;
    std::optional<platform::ClientConnection> connection_;
    std::vector<u8> sink_ = std::vector<u8>(65536);
};

/// Pieces of a stream: what is passed with one, its length in eights, its bytes; and so on. What is
/// left of the input is the content of the memory that is passed.
void runPassedDescriptors(std::span<const u8> input) {
    constexpr std::size_t kEights = 8;
    constexpr int kMostPieces = 16;
    const std::size_t before = openDescriptors();
    {
        FileClient client;
        for (int count = 0; input.size() >= 2 && count < kMostPieces; ++count) {
            const auto kind = static_cast<Passed>(input[0] % static_cast<u8>(Passed::Count));
            const std::size_t length = std::min(input.size() - 2, input[1] * kEights);
            const std::span<const u8> piece = input.subspan(2, length);
            input = input.subspan(2 + length);
            client.send(piece, passed(kind, input));
        }
        client.end();
    }
    if (!comesDownTo(before))
        fail("a descriptor that was passed stays open");
}

// ------------------------------------------------------------------------------------- reload

/// What a file decides of a port.
bool isSame(const platform::SwitchPort& a, const platform::SwitchPort& b) {
    return a.unit == b.unit && a.endType == b.endType && a.linkUp == b.linkUp &&
           a.eligible == b.eligible && a.mtu == b.mtu && a.pvid == b.pvid &&
           a.aggregation == b.aggregation && a.name == b.name && a.tagged == b.tagged &&
           a.untagged == b.untagged && a.maxVlans == b.maxVlans;
}

bool isSame(const platform::SwitchState& a, const platform::SwitchState& b) {
    return a.kinds == b.kinds &&
           std::ranges::equal(a.ports, b.ports, [](const auto& one, const auto& other) {
               return isSame(one, other);
           });
}

void weigh(const platform::HostConfig& running, const platform::HostConfig& next) {
    if (!configChanges(running, running).empty() || !fixedChanges(running, running).empty())
        fail("a configuration differs from itself");
    const bool hasSwitch = std::ranges::any_of(running.parts, [](const platform::ConfigPart& part) {
        return std::ranges::find(part.settings, "[switch]") != part.settings.end();
    });
    if (hasSwitch && !reloadRefusal(running, running).empty())
        fail("a configuration that runs is refused");
    (void)reloadRefusal(running, next);
    (void)configChanges(running, next);
    (void)fixedChanges(running, next);
}

/// Two files, a zero byte between them: the first runs, the second is read.
void runReload(std::span<const u8> input) {
    const std::string_view text(reinterpret_cast<const char*>(input.data()), input.size());
    const std::size_t border = std::min(text.find('\0'), text.size());
    const platform::LoadedConfig first = platform::parseConfig(text.substr(0, border));
    if (!first.config)
        return;
    weigh(*first.config, *first.config);
    const platform::LoadedConfig second =
        platform::parseConfig(text.substr(std::min(border + 1, text.size())));
    if (!second.config)
        return;
    weigh(*first.config, *second.config);
    weigh(*second.config, *first.config);

    platform::SoftSwitch running(first.config->network);
    const platform::SwitchState before = running.snapshot();
    running.reconfigure(second.config->network);
    if (!isSame(running.snapshot(), platform::SoftSwitch(second.config->network).snapshot()))
        fail("a reload leaves another switch than a start");
    running.restore(before);
    if (!isSame(running.snapshot(), before))
        fail("a reload that is taken back leaves another switch");
    running.reconfigure(second.config->network);
    running.reconfigure(first.config->network);
    if (!isSame(running.snapshot(), before))
        fail("a reload there and back leaves another switch");
}

constexpr Target kTargets[] = {{"passed_descriptors", runPassedDescriptors}, {"reload", runReload}};

}  // namespace

std::span<const Target> targets() {
    return kTargets;
}

}  // namespace fuzz
