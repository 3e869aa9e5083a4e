// SPDX-License-Identifier: MIT
//
// Traffic control messages of the guard (guard.h): the requests, and what is read back. Reading
// never looks beyond the bytes given.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "platform/contract/types.h"

struct nlmsghdr;

namespace platform {

/// Places of guards among the filters of a port: before those that the kernel or people usually
/// number from 49152 down or in hundreds, so that none of them lets a frame pass first. There are
/// several: a port that moves between two bridges has a guard of each bridge's daemon for a moment.
inline constexpr u16 kFirstGuardPreference = 33;
inline constexpr u16 kLastGuardPreference = 40;
/// Handle of guards that do not say which bridge they are for: any daemon takes one for its own.
inline constexpr u32 kSharedGuardHandle = 0x21;

/// The handle of the guards of one bridge's daemon, a hash of the bridge's name: so the daemon
/// knows its own, also after a restart, and never removes that of another. Not
/// kSharedGuardHandle.
constexpr u32 guardHandle(std::string_view bridge) {
    u32 hash = 0x811C9DC5U;  // FNV-1a
    for (const char letter : bridge)
        hash = (hash ^ static_cast<u8>(letter)) * 0x01000193U;
    return (hash & 0x3FFFFFFFU) | 0x40000000U;
}

/// Where a guard is among the filters of a port.
struct GuardPlace {
    u16 preference = 0;
    u32 handle = 0;

    bool operator==(const GuardPlace&) const = default;
};

/// Room for a guard's qdisc and filter in one buffer.
using GuardBuffer = std::array<u8, 512>;

/// A filter or qdisc of an interface.
struct TrafficControl {
    u32 index = 0;            ///< interface
    u32 parent = 0;           ///< place it hangs at, with the kernel's numbers (TC_H_...)
    GuardPlace place;         ///< of a filter
    std::string_view kind;    ///< "clsact", "flower", ...
    std::string_view cookie;  ///< of a flower filter's first action; into the payload
    bool guards = false;      ///< a flower filter that drops what is sent to 01-80-C2-00-00-21
};

/// Where a filter hangs: in front of what the bridge sees, or behind it.
enum class FilterSide { Ingress, Egress };

// Each appends a request to the `used` bytes of `buffer`, which is aligned to 4.
void putAddClsact(GuardBuffer& buffer, size_t& used, u32 port);
void putRemoveClsact(GuardBuffer& buffer, size_t& used, u32 port);
/// @param cookie  at most 16 bytes, shown by `tc`
void putAddGuardFilter(GuardBuffer& buffer, size_t& used, u32 port, GuardPlace place,
                       std::string_view cookie);
void putRemoveGuardFilter(GuardBuffer& buffer, size_t& used, u32 port, GuardPlace place);

// Each makes the request of a dump at the start of `buffer`.
nlmsghdr& makeQdiscDump(GuardBuffer& buffer, u32 port);
nlmsghdr& makeFilterDump(GuardBuffer& buffer, u32 port, FilterSide side);

/// Reads the payload of RTM_NEWQDISC and RTM_NEWTFILTER; nothing when it is cut short.
std::optional<TrafficControl> readTrafficControl(std::span<const u8> payload);

/// The interface that a message about traffic control is of; nothing when it is cut short, or is
/// about a block that several interfaces share.
std::optional<u32> trafficControlIndex(std::span<const u8> payload);

}  // namespace platform
