// SPDX-License-Identifier: MIT
//
// A client of the command channel for tests: it can send whatever it likes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/channel/protocol.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {

struct ChannelReply {
    u32 status;
    std::vector<u8> value;

    /// The value as a number; a failure of the test when it is none.
    u32 number() const;
    std::string text() const { return {value.begin(), value.end()}; }
};

std::vector<u8> bytesOf(u32 number);
/// A whole request.
std::vector<u8> requestBytes(u32 request, u32 unit, u32 attribute, const std::vector<u8>& value);

class ChannelClient {
  public:
    explicit ChannelClient(const std::string& path);

    bool connected() const { return connection_.isOpen(); }
    int descriptor() const { return connection_.get(); }
    /// Sends all of it. @return false when the other end is gone
    bool send(const std::vector<u8>& bytes);
    /// The same, with descriptors beside the bytes.
    bool sendWith(const std::vector<u8>& bytes, const std::vector<int>& descriptors);
    /// No more requests will follow.
    void finish();
    /// @return the next reply, or nothing when the connection ended
    std::optional<ChannelReply> receive();
    ChannelReply call(u32 request, u32 unit, u32 attribute, const std::vector<u8>& value = {});
    ChannelReply call(Request request, u32 unit, u32 attribute, const std::vector<u8>& value = {}) {
        return call(static_cast<u32>(request), unit, attribute, value);
    }

  private:
    bool receiveAll(void* bytes, std::size_t length);

    Descriptor connection_;
};

}  // namespace platform
