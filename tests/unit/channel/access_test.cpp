// SPDX-License-Identifier: MIT
//
// Who may use the command channel. What needs another user is tried in a child that changes to it,
// which takes root.
#include "platform/channel/access.h"

#include <grp.h>
#include <sys/wait.h>

#include <array>
#include <numeric>
#include <string>
#include <vector>

#include "platform/channel/rights.h"
#include "platform/contract/management.h"
#include "tests/unit/channel/server_fixture.h"

namespace platform {
namespace {

constexpr uid_t kNobody = 65534;
constexpr gid_t kNogroup = 65534;
constexpr gid_t kSomeGroup = 12345;

enum ChildResult { Served = 0, NotConnected = 1, Closed = 2, CouldNotChange = 3 };

/// What becomes of one request by a process of that user and group.
int requestAs(uid_t user, gid_t group, const std::string& path,
              const std::vector<gid_t>& others = {}) {
    const pid_t child = fork();
    if (child == 0) {
        if (setgroups(others.size(), others.data()) != 0 || setgid(group) != 0 || setuid(user) != 0)
            _exit(CouldNotChange);
        ChannelClient client(path);
        if (!client.connected())
            _exit(NotConnected);
        client.send(requestBytes(static_cast<u32>(Request::PortFirst), 0, 0, {}));
        _exit(client.receive() ? Served : Closed);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

using Access = ServerFixture;

TEST(AccessRules, RootAndTheDaemonsOwnUserAreOwners) {
    EXPECT_EQ(rankOf(0, {}, {}), PeerRank::Owner);
    EXPECT_EQ(rankOf(geteuid(), {}, {}), PeerRank::Owner);
}

TEST(AccessRules, OthersAreMembersOfTheGroupOrStrangers) {
    const std::array<gid_t, 2> groups = {kNogroup, kSomeGroup};
    EXPECT_EQ(rankOf(kNobody, groups, {}), PeerRank::Stranger);
    EXPECT_EQ(rankOf(kNobody, groups, {kSomeGroup + 1}), PeerRank::Stranger);
    EXPECT_EQ(rankOf(kNobody, groups, {kSomeGroup}), PeerRank::Member);
}

TEST(AccessRules, MembersOfTheOtherGroupMayRead) {
    const std::array<gid_t, 1> reader = {kSomeGroup + 1};
    const std::array<gid_t, 2> both = {kSomeGroup + 1, kSomeGroup};
    const CommandAccess access{kSomeGroup, kSomeGroup + 1};
    EXPECT_EQ(rankOf(kNobody, reader, access), PeerRank::Reader);
    EXPECT_EQ(rankOf(kNobody, both, access), PeerRank::Member);
    EXPECT_EQ(rankOf(0, reader, access), PeerRank::Owner);
    EXPECT_LT(PeerRank::Reader, PeerRank::Member) << "who gives way first";
}

TEST(AccessRules, AGroupIsFoundByItsName) {
    EXPECT_EQ(groupOf("root"), gid_t{0});
    EXPECT_FALSE(groupOf("no-such-group"));
}

TEST_F(Access, TheSocketIsForItsOwnerAlone) {
    start();
    struct stat found {};
    ASSERT_EQ(stat(path_.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
}

TEST_F(Access, AnotherUserDoesNotGetPastTheModeOfTheSocket) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to become another user";
    start();
    EXPECT_EQ(requestAs(kNobody, kNogroup, path_), NotConnected);
}

TEST_F(Access, AnotherUserIsTurnedAwayWhateverTheModeOfTheSocket) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to become another user";
    start();
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    EXPECT_EQ(requestAs(kNobody, kNogroup, path_), Closed);
    ChannelClient client(path_);
    EXPECT_EQ(client.call(Request::PortFirst, 0, 0).number(), 3U);
}

TEST_F(Access, AMemberOfTheGroupIsServed) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to become another user";
    CommandServer server(
        [this](const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) {
            return dispatcher_.dispatch(header, value, reply);
        },
        CommandAccess{kSomeGroup});
    std::string error;
    ASSERT_TRUE(server.open(path_, error)) << error;
    std::thread thread([&server] { server.run(); });
    struct stat found {};
    EXPECT_EQ(stat(path_.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0660U);
    EXPECT_EQ(found.st_gid, kSomeGroup);
    EXPECT_EQ(requestAs(kNobody, kSomeGroup, path_), Served);
    // The database of users knows nothing of this, nor of more groups than fit at first.
    EXPECT_EQ(requestAs(kNobody, kNogroup, path_, {kSomeGroup}), Served);
    std::vector<gid_t> many(200);
    std::iota(many.begin(), many.end(), kSomeGroup - 199);
    EXPECT_EQ(requestAs(kNobody, kNogroup, path_, many), Served);
    EXPECT_EQ(requestAs(4'000'000'000U, kNogroup, path_, {kSomeGroup}), Served);
    EXPECT_EQ(requestAs(kNobody, kNogroup, path_), NotConnected);
    server.stop();
    thread.join();
}

TEST_F(Access, AtTheSocketOfReadersEverybodyMayOnlyRead) {
    const std::string path = directory_.path("read");
    std::string error;
    ASSERT_TRUE(server_.openForReaders(path, error)) << error;
    start();
    ChannelClient reader(path);
    EXPECT_EQ(reader.call(Request::PortFirst, 0, 0).number(), 3U);
    const auto refused = reader.call(Request::PortSet, 3, MVRP_PORT_LEAVE_TIMEOUT, bytesOf(1000));
    EXPECT_EQ(refused.status, static_cast<u32>(HostStatus::NotAllowed));
    EXPECT_EQ(std::string(refused.value.begin(), refused.value.end()), kReadOnlyText);
    ChannelClient whole(path_);
    EXPECT_EQ(whole.call(Request::PortSet, 3, MVRP_PORT_LEAVE_TIMEOUT, bytesOf(1000)).status,
              kStatusOk);
}

TEST_F(Access, AReaderIsServedAtTheSocketOfReadersOnly) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to become another user";
    CommandServer server(
        [this](const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) {
            return dispatcher_.dispatch(header, value, reply);
        },
        CommandAccess{kSomeGroup, kSomeGroup + 1});
    const std::string readPath = directory_.path("read");
    std::string error;
    ASSERT_TRUE(server.open(path_, error)) << error;
    ASSERT_TRUE(server.openForReaders(readPath, error)) << error;
    std::thread thread([&server] { server.run(); });
    struct stat found {};
    EXPECT_EQ(stat(readPath.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0660U);
    EXPECT_EQ(found.st_gid, kSomeGroup + 1);
    EXPECT_EQ(requestAs(kNobody, kSomeGroup + 1, readPath), Served);
    EXPECT_EQ(requestAs(kNobody, kSomeGroup + 1, path_), NotConnected);
    EXPECT_EQ(requestAs(kNobody, kSomeGroup, readPath), NotConnected);
    EXPECT_EQ(requestAs(kNobody, kNogroup, readPath), NotConnected);
    server.stop();
    thread.join();
}

TEST(Rights, EveryNumberThatIsNotKnownToReadIsRefused) {
    EXPECT_TRUE(onlyReads(Request::PortGet));
    EXPECT_TRUE(onlyReads(Request::ConfigPlan));
    for (const u32 number : {0U, 9U, 255U, 271U, 1000U})
        EXPECT_FALSE(onlyReads(static_cast<Request>(number))) << number;
    for (const Request request :
         {Request::PortSet, Request::PortSync, Request::ScalarSet, Request::ScalarSync,
          Request::ShellCall, Request::SwitchChange, Request::StandbyTakeOver,
          Request::StandbyHello, Request::StandbyBeat, Request::StatisticsClear,
          Request::ConfigApply})
        EXPECT_FALSE(onlyReads(request)) << static_cast<u32>(request);
}

}  // namespace
}  // namespace platform
