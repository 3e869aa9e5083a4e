// SPDX-License-Identifier: MIT
//
// Targets of the platform alone: bytes of the command channel, and configuration files.
#include <sys/socket.h>

#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/channel/client_connection.h"
#include "platform/channel/dispatcher.h"
#include "platform/config/load.h"
#include "platform/replication/pair.h"
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

/// Takes bytes from the front of an input; zeros when there are no more.
template <typename Record>
Record take(std::span<const u8>& input) {
    Record record{};
    const std::size_t count = std::min(input.size(), sizeof record);
    std::memcpy(&record, input.data(), count);
    input = input.subspan(count);
    return record;
}

/// What a rule of the pair forbids, whatever the other end says.
void checkPair(const platform::Pair& pair, const platform::Pair::Answer& answer,
               const std::vector<u8>& reply) {
    const platform::LinkState state = pair.state();
    if (platform::isActive(state) != (state.activeSinceNs != 0))
        fail("an active without an age, or a standby with one");
    if (!platform::isActive(state) && state.forcedAtNs != 0)
        fail("a standby that a person made the active");
    if (pair.otherIsActive() && !pair.otherThere())
        fail("an active that is not there");
    if (answer.status != kStatusOk && reply.empty())
        fail("a refusal without words");
}

/// Steps of an end of a pair: first byte which end it is, then each a byte that says what, and what
/// it needs. Records are cut or whole, as the input has it.
void runStandbyLink(std::span<const u8> input) {
    constexpr std::size_t kMostBytes = 64;
    constexpr u8 kSteps = 7;
    const u8 kind = take<u8>(input);
    platform::PairConfig config;
    config.role = (kind & 1U) != 0 ? platform::HostRole::Standby : platform::HostRole::Active;
    config.listens = (kind & 2U) != 0;
    config.takeOverAfter = std::chrono::seconds((kind & 4U) != 0 ? 2 : 0);
    platform::Pair::Time now{std::chrono::hours(1)};
    platform::Pair pair(config, now);
    std::vector<u8> reply;
    std::string problem;
    while (!input.empty()) {
        const u8 step = take<u8>(input);
        const u64 client = 1 + take<u8>(input) % 3;
        const std::size_t length =
            std::min<std::size_t>(take<u8>(input) % kMostBytes, input.size());
        const std::span<const u8> value = input.first(length);
        platform::Pair::Answer answer;
        reply.clear();
        switch (step % kSteps) {
            case 0:
                answer = pair.hello(client, value, now, reply);
                break;
            case 1:
                answer = pair.beat(client, value, now, reply);
                break;
            case 2:
                pair.gone(client);
                break;
            case 3:
                if (const auto state = platform::readState(value, problem))
                    pair.heard(*state, now);
                break;
            case 4:
                if (const auto beat = platform::readBeat(value, problem))
                    pair.heard(beat->state, now);
                break;
            case 5:
                now += std::chrono::milliseconds(take<u16>(input));
                if (pair.tick(now) == platform::PairChange::TookOver)
                    pair.takeOver(now);
                break;
            default:
                if (pair.role() == platform::HostRole::Standby)
                    pair.takeOver(now);
                break;
        }
        if (step % kSteps < 5)
            input = input.subspan(length);
        checkPair(pair, answer, reply);
    }
}

constexpr Target kTargets[] = {{"command_channel", runCommandChannel},
                               {"config_toml", runConfigToml},
                               {"standby_link", runStandbyLink}};

}  // namespace

std::span<const Target> targets() {
    return kTargets;
}

}  // namespace fuzz
