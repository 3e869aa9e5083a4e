// SPDX-License-Identifier: MIT
//
// Traffic control messages of the guard (guard.h): the requests, and what is read back. Reading
// never looks beyond the bytes given.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "platform/contract/types.h"

struct nlmsghdr;

namespace platform {

/// Place of the guard among the filters of a port: before those that the kernel or people usually
/// number from 49152 down or in hundreds, so that none of them lets a frame pass first.
inline constexpr u16 kGuardPreference = 33;
inline constexpr u32 kGuardHandle = 0x21;

/// Room for a guard's qdisc and filter in one buffer.
using GuardBuffer = std::array<u8, 512>;

/// A filter or qdisc of an interface.
struct TrafficControl {
    u32 index = 0;   ///< interface
    u32 parent = 0;  ///< place it hangs at, with the kernel's numbers (TC_H_...)
    u32 handle = 0;
    u16 preference = 0;       ///< of a filter
    std::string_view kind;    ///< "clsact", "flower", ...
    std::string_view cookie;  ///< of a flower filter's first action; into the payload
};

/// Where a filter hangs: in front of what the bridge sees, or behind it.
enum class FilterSide { Ingress, Egress };

// Each appends a request to the `used` bytes of `buffer`, which is aligned to 4.
void putAddClsact(GuardBuffer& buffer, size_t& used, u32 port);
void putRemoveClsact(GuardBuffer& buffer, size_t& used, u32 port);
/// @param cookie  at most 16 bytes, shown by `tc`
void putAddGuardFilter(GuardBuffer& buffer, size_t& used, u32 port, std::string_view cookie);
void putRemoveGuardFilter(GuardBuffer& buffer, size_t& used, u32 port);

// Each makes the request of a dump at the start of `buffer`.
nlmsghdr& makeQdiscDump(GuardBuffer& buffer, u32 port);
nlmsghdr& makeFilterDump(GuardBuffer& buffer, u32 port, FilterSide side);

/// Reads the payload of RTM_NEWQDISC and RTM_NEWTFILTER; nothing when it is cut short.
std::optional<TrafficControl> readTrafficControl(std::span<const u8> payload);

}  // namespace platform
