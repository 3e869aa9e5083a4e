// SPDX-License-Identifier: MIT
#include "platform/wire/leave_all.h"

#include <algorithm>

namespace platform {
namespace {

/// LLC/SNAP; version, attribute type VID, attribute length; a vector with the LeaveAll event and no
/// value; end mark.
constexpr std::array<u8, 17> kNativeBody = {0xAA, 0xAA, 0x03, 0x00, 0x00, 0x00, 0x88, 0xF5, 0x00,
                                            0x01, 0x01, 0x20, 0x00, 0x00, 0x00, 0x00, 0x00};
/// LLC; protocol, attribute type VID; an attribute of two bytes, LeaveAll; two end marks.
constexpr std::array<u8, 10> kGvrpBody = {0x42, 0x42, 0x03, 0x00, 0x01,
                                          0x01, 0x02, 0x00, 0x00, 0x00};
static_assert(kEthernetHeaderBytes + kNativeBody.size() <= kMostLeaveAllBytes);

}  // namespace

std::size_t writeLeaveAll(FrameKind kind, const MacAddress& source, std::span<u8> out) {
    std::span<const u8> body;
    if (kind == FrameKind::NativeMvrp)
        body = kNativeBody;
    else if (kind == FrameKind::Gvrp)
        body = kGvrpBody;
    else
        return 0;
    auto at = std::ranges::copy(kMvrpGroupAddress, out.begin()).out;
    at = std::ranges::copy(source, at).out;
    *at++ = 0;
    *at++ = static_cast<u8>(body.size());
    std::ranges::copy(body, at);
    return kEthernetHeaderBytes + body.size();
}

}  // namespace platform
