// SPDX-License-Identifier: MIT
//
// Who may use the command channel. What needs another user is tried in a child that changes to it,
// which takes root.
#include "platform/channel/access.h"

#include <grp.h>
#include <sys/wait.h>

#include <array>
#include <numeric>
#include <vector>

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

}  // namespace
}  // namespace platform
