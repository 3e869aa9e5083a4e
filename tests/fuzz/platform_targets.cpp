// SPDX-License-Identifier: MIT
//
// Targets of the platform alone: bytes of the command channel, and configuration files.
#include <sys/socket.h>

#include <string_view>

#include "platform/channel/client_connection.h"
#include "platform/channel/dispatcher.h"
#include "platform/config/load.h"
#include "tests/fuzz/targets.h"
#include "tests/unit/channel/fake_daemon.h"

namespace fuzz {
namespace {

/// What a client sends in one go, and then it is gone. Sockets hold all of an input of libFuzzer's
/// usual size; a longer one is cut.
void runCommandChannel(std::span<const u8> input) {
    constexpr std::size_t kMostBytes = 65536;
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0)
        fail("no sockets");
    platform::Descriptor client(ends[0]);
    platform::LogLimit limit;
    platform::ClientConnection connection{platform::Descriptor(ends[1]), limit};
    const std::size_t most = std::min(input.size(), kMostBytes);
    (void)!::send(client.get(), input.data(), most, MSG_NOSIGNAL);
    ::shutdown(client.get(), SHUT_WR);

    fake::reset();
    platform::Dispatcher dispatcher;
    dispatcher.setTable(fake::table());
    std::vector<u8> sink(kMostBytes);
    constexpr u32 kMostTurns = 10000;
    for (u32 turn = 0; !connection.finished(); turn++) {
        if (turn == kMostTurns)
            fail("a client that is gone is served for ever");
        if (connection.wantsToRead())
            connection.receive();
        connection.serve([&dispatcher](const platform::RequestHeader& header,
                                       std::span<const u8> value, std::vector<u8>& reply) {
            return dispatcher.dispatch(header, value, reply);
        });
        connection.send();
        (void)!::recv(client.get(), sink.data(), sink.size(), 0);
    }
}

void runConfigToml(std::span<const u8> input) {
    const std::string_view text(reinterpret_cast<const char*>(input.data()), input.size());
    const platform::LoadedConfig loaded = platform::parseConfig(text);
    if (loaded.config.has_value() != loaded.problems.empty())
        fail("a configuration with problems, or none without any");
    for (const auto& problem : loaded.problems)
        if (platform::formatProblem("file", problem).empty())
            fail("a problem without words");
}

constexpr Target kTargets[] = {{"command_channel", runCommandChannel},
                               {"config_toml", runConfigToml}};

}  // namespace

std::span<const Target> targets() {
    return kTargets;
}

}  // namespace fuzz
