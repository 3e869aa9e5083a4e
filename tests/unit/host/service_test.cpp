// SPDX-License-Identifier: MIT
//
// What the service manager is told.
#include "platform/host/service.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "platform/runtime/files/descriptor.h"

namespace platform {
namespace {

using namespace std::chrono_literals;

TEST(Watchdog, IsForTheProcessThatItNames) {
    EXPECT_EQ(watchdogTime("30000000", nullptr, 7), 30s);
    EXPECT_EQ(watchdogTime("30000000", "7", 7), 30s);
    EXPECT_FALSE(watchdogTime("30000000", "8", 7));
    EXPECT_FALSE(watchdogTime(nullptr, "7", 7));
}

TEST(Watchdog, IsOffForWhatIsNoTime) {
    for (const char* text : {"", "0", "-1", "30s", " 30", "99999999999999999999999"})
        EXPECT_FALSE(watchdogTime(text, nullptr, 7)) << text;
}

TEST(Progress, IsARoundSinceTheLookBefore) {
    ProgressWatch watch;
    EXPECT_TRUE(watch.look(5, 1s));
    EXPECT_FALSE(watch.look(5, 1s));
    EXPECT_FALSE(watch.look(5, 2s));
    EXPECT_EQ(watch.stalledFor(), 3s);
    EXPECT_TRUE(watch.look(6, 1s));
    EXPECT_EQ(watch.stalledFor(), 0s);
}

/// A service manager's socket.
class Notifications : public testing::Test {
  protected:
    void TearDown() override { unsetenv(kNotifySocketVariable); }

    void listenAt(const std::string& name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof address.sun_path);
        if (name[0] == '@')
            address.sun_path[0] = '\0';
        in_ = Descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        ASSERT_EQ(bind(in_.get(), reinterpret_cast<const sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())),
                  0);
        setenv(kNotifySocketVariable, name.c_str(), 1);
    }

    std::string next() {
        std::array<char, 256> text{};
        const ssize_t length = recv(in_.get(), text.data(), text.size(), 0);
        return length < 0 ? "nothing" : std::string(text.data(), static_cast<std::size_t>(length));
    }

    Descriptor in_;
};

TEST_F(Notifications, GoToASocketInTheFileSystem) {
    const std::string path = testing::TempDir() + "/notify." + std::to_string(getpid());
    listenAt(path);
    EXPECT_TRUE(notifyService("STOPPING=1"));
    EXPECT_EQ(next(), "STOPPING=1");
    unlink(path.c_str());
}

TEST_F(Notifications, GoToASocketWithoutAFile) {
    listenAt("@mvrp-notify-" + std::to_string(getpid()));
    EXPECT_TRUE(notifyService("WATCHDOG=1"));
    EXPECT_EQ(next(), "WATCHDOG=1");
}

TEST_F(Notifications, OfAReloadHaveABeginAndAnEnd) {
    listenAt("@mvrp-notify-" + std::to_string(getpid()));
    {
        const ServiceReload reload;
        EXPECT_TRUE(next().starts_with("RELOADING=1\nMONOTONIC_USEC="));
        EXPECT_EQ(next(), "nothing");
    }
    EXPECT_EQ(next(), "READY=1");
}

TEST_F(Notifications, AreNotSentToWhatIsNoSocket) {
    const std::string tooLong(200, 'x');
    for (const std::string& name : {std::string(), std::string("/"), std::string("relative"),
                                    "/" + tooLong, std::string("/nobody/listens")}) {
        setenv(kNotifySocketVariable, name.c_str(), 1);
        EXPECT_FALSE(notifyService("READY=1")) << name;
    }
    unsetenv(kNotifySocketVariable);
    EXPECT_FALSE(notifyService("READY=1"));
}

TEST(TaskWatch, FeedsWhileBothTasksMoveAndNamesTheOneThatDoesNot) {
    using std::chrono::seconds;
    TaskWatch watch{seconds(20)};
    EXPECT_TRUE(watch.look(1, seconds(0), seconds(5)));
    EXPECT_TRUE(watch.look(2, seconds(3), seconds(5)));
    EXPECT_EQ(watch.stalled(), nullptr);
    EXPECT_FALSE(watch.look(2, seconds(0), seconds(5)));
    EXPECT_EQ(watch.stalled(), nullptr) << "an idle task may be seen between two rounds";
    EXPECT_FALSE(watch.look(2, seconds(0), seconds(5)));
    EXPECT_STREQ(watch.stalled(), "the protocol task");
    EXPECT_TRUE(watch.look(3, seconds(0), seconds(5)));
    EXPECT_EQ(watch.stalled(), nullptr);
    EXPECT_FALSE(watch.look(4, seconds(10), seconds(5)));
    EXPECT_STREQ(watch.stalled(), "the command task");
    EXPECT_TRUE(watch.look(5, seconds(0), seconds(5)));
}

}  // namespace
}  // namespace platform
