// SPDX-License-Identifier: MIT
//
// A command server over the fake daemon, on a real socket, in a thread of its own.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "platform/channel/dispatcher.h"
#include "platform/channel/server.h"
#include "tests/scratch_directory.h"
#include "tests/unit/channel/channel_client.h"
#include "tests/unit/channel/fake_daemon.h"

namespace platform {

class ServerFixture : public testing::Test {
  protected:
    ServerFixture()
        : server_(
              [this](const RequestHeader& header, std::span<const u8> value,
                     std::vector<u8>& reply) { return dispatcher_.dispatch(header, value, reply); },
              CommandAccess{}) {
        fake::reset();
        dispatcher_.setTable(fake::table());
        chmod(directory_.path().c_str(), 0755);  // other users come as far as the socket
    }

    ServerFixture(const ServerFixture&) = delete;
    ServerFixture& operator=(const ServerFixture&) = delete;
    ServerFixture(ServerFixture&&) = delete;
    ServerFixture& operator=(ServerFixture&&) = delete;
    ~ServerFixture() override {
        if (thread_.joinable()) {
            server_.stop();
            thread_.join();
        }
    }

    void start() {
        std::string error;
        ASSERT_TRUE(server_.open(path_, error)) << error;
        thread_ = std::thread([this] { server_.run(); });
    }

    Dispatcher dispatcher_;
    CommandServer server_;
    const ScratchDirectory directory_;
    const std::string path_ = directory_.path("socket");
    std::thread thread_;
};

}  // namespace platform
