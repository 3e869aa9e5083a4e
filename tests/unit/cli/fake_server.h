// SPDX-License-Identifier: MIT
//
// The daemon's end of a command channel, played by a thread of the test.
#pragma once

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/channel/protocol.h"
#include "tests/scratch_directory.h"

namespace cli_test {

/// What arrived of a request.
struct Arrived {
    platform::RequestHeader header;
    std::vector<std::byte> value;
};

/// Listens on a socket in a directory of its own and runs `play` on the first connection.
class FakeServer {
  public:
    explicit FakeServer(std::function<void(FakeServer&)> play) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path().copy(address.sun_path, sizeof(address.sun_path) - 1);
        listener_ = socket(AF_UNIX, SOCK_STREAM, 0);
        if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
            listen(listener_, 1) != 0)
            throw std::runtime_error("can not listen on " + path());
        thread_ = std::thread([this, play = std::move(play)] {
            connection_ = accept(listener_, nullptr, nullptr);
            play(*this);
            close(connection_);
        });
    }
    ~FakeServer() {
        thread_.join();
        close(listener_);
    }
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    std::string path() const { return directory_.path("s"); }

    bool receive(void* bytes, std::size_t length) {
        return length == 0 ||
               recv(connection_, bytes, length, MSG_WAITALL) == static_cast<ssize_t>(length);
    }

    /// The next request; false at the end of the connection.
    bool next(Arrived& request) {
        if (!receive(&request.header, sizeof(request.header)))
            return false;
        request.value.resize(request.header.length);
        return receive(request.value.data(), request.value.size());
    }

    /// Whether the client has read all that was sent.
    bool isRead() const {
        int unread = 0;
        return ioctl(connection_, SIOCOUTQ, &unread) == 0 && unread == 0;
    }

    /// Bytes that have arrived and were not read.
    std::size_t waiting() const {
        std::vector<std::byte> bytes(1 << 20);
        const ssize_t count =
            recv(connection_, bytes.data(), bytes.size(), MSG_PEEK | MSG_DONTWAIT);
        return count < 0 ? 0 : static_cast<std::size_t>(count);
    }

    void sendBytes(std::span<const std::byte> bytes) {
        while (!bytes.empty()) {
            const ssize_t count = send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0)
                return;
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }

    void reply(u32 status, std::span<const std::byte> value = {}) {
        const platform::ReplyHeader header = {status, static_cast<u32>(value.size())};
        sendBytes(std::as_bytes(std::span(&header, 1)));
        sendBytes(value);
    }

    template <typename Record>
    void replyRecord(const Record& record) {
        reply(0, std::as_bytes(std::span(&record, 1)));
    }

  private:
    ScratchDirectory directory_;
    int listener_ = -1;
    int connection_ = -1;
    std::thread thread_;
};

}  // namespace cli_test
