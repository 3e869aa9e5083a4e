// SPDX-License-Identifier: MIT
//
// How the host's requests answer: records as they lie in memory, refusals as a text. No state.
#pragma once

#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/channel/protocol.h"

namespace platform {

template <typename Record>
void appendRecord(std::vector<u8>& reply, const Record& record) {
    static_assert(std::is_trivially_copyable_v<Record>);
    const auto* bytes = reinterpret_cast<const u8*>(&record);
    reply.insert(reply.end(), bytes, bytes + sizeof record);
}

inline void appendText(std::vector<u8>& reply, const std::string& text) {
    reply.insert(reply.end(), text.begin(), text.end());
}

/// Refuses a request with a text that says what is allowed. @return `status`
inline u32 refuse(HostStatus status, const std::string& text, std::vector<u8>& reply) {
    appendText(reply, text);
    return static_cast<u32>(status);
}

/// Refuses a value that is not as long as the request's.
inline u32 refuseSize(std::size_t found, std::size_t allowed, std::vector<u8>& reply) {
    return refuse(
        HostStatus::BadArgument,
        "the value has " + std::to_string(found) + " bytes; allowed: " + std::to_string(allowed),
        reply);
}

}  // namespace platform
