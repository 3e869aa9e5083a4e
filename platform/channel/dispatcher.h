// SPDX-License-Identifier: MIT
//
// From a request to its handler and back: the daemon's handler table for the numbers below 256, the
// host's own handlers above.
//
// All requests are dispatched by one thread, the command task. A handler that returns with a lock
// of the daemon still held has it given back, with a warning, so that no request can wedge the
// daemon.
#pragma once

#include <functional>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "platform/channel/protocol.h"
#include "platform/contract/icm.h"
#include "platform/runtime/log_limit.h"

namespace platform {

/// Serves one of the host's own requests: appends the value of the reply to `reply` and returns its
/// status. With a status other than 0 the value, where there is one, is a text for people.
using HostHandler = std::function<u32(const RequestHeader& header, std::span<const u8> value,
                                      std::vector<u8>& reply)>;

/// Answer to a request of wrong size, or a number that the daemon's table does not have.
inline constexpr u32 kBadArgument = static_cast<u32>(HostStatus::BadArgument);

class Dispatcher {
  public:
    /// Before the first dispatch. `number` is kFirstPlatformRequest or more.
    void registerRequest(Request number, HostHandler handler);
    /// `table` outlives the dispatcher.
    void setTable(std::span<const IcmFunc> table) { table_ = table; }

    /// `hook` is told of every set and sync request of the daemon's table that was done, without a
    /// lock held; several are told in the order in which they came. Before the first dispatch.
    void onDone(std::function<void(const RequestHeader& header)> hook) {
        onDone_.push_back(std::move(hook));
    }

    /// @return the status of the reply, whose value is appended to `reply`
    u32 dispatch(const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply);

    /// Serves a request from within a host handler, which keeps the locks that it holds. Nobody is
    /// told of it: for requests that change nothing.
    u32 ask(const RequestHeader& header, std::vector<u8>& reply) const;

    /// Calls an attribute handler of the daemon's table with a number, from within a host handler.
    /// @pre  the attribute is a number: the handler writes as many bytes as its attribute has
    /// @param value  what goes in, and receives what comes out
    u32 callNumber(Request request, u32 unit, u32 attribute, u32& value) const;
    /// The same for a set or sync request, from outside of any request.
    u32 setNumber(Request request, u32 unit, u32 attribute, u32 value) const;

  private:
    u32 serve(const RequestHeader& header, std::span<const u8> value, std::vector<u8>& reply) const;
    u32 dispatchTable(const RequestHeader& header, std::span<const u8> value,
                      std::vector<u8>& reply) const;
    const IcmFunc* find(u32 request) const;
    void done(const RequestHeader& header) const;

    std::span<const IcmFunc> table_;
    std::map<u32, HostHandler> hostHandlers_;
    std::vector<std::function<void(const RequestHeader&)>> onDone_;
    mutable LogLimit lockHeld_;
};

}  // namespace platform
