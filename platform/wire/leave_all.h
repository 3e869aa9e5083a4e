// SPDX-License-Identifier: MIT
//
// A LeaveAll that the host itself sends: it asks whoever hears it to declare again (IEEE 802.1Q
// 10.7.5.20). Pure functions into buffers of the caller: any thread.
#pragma once

#include "platform/wire/frame.h"

namespace platform {

/// Bytes of the longest LeaveAll frame, without padding.
inline constexpr std::size_t kMostLeaveAllBytes = 32;

/// @param kind    NativeMvrp or Gvrp
/// @param source  address of the port that sends it
/// @param out     at least kMostLeaveAllBytes
/// @return bytes of the frame; 0 for another kind
std::size_t writeLeaveAll(FrameKind kind, const MacAddress& source, std::span<u8> out);

}  // namespace platform
