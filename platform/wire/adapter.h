// SPDX-License-Identifier: MIT
//
// Frame adapter: the two forms of MVRP on the wire, turned into each other.
//
// Ours: 802.3 length and LLC/SNAP; a PDU is {version 0, attribute type 1, attribute length 1,
// vectors, one end mark}; a LeaveAll in the first vector stands for itself, the rest of that PDU is
// not read. The standard's (IEEE 802.1Q 10.8): ethertype 0x88F5; {version, messages, end mark}, a
// message being {attribute type, attribute length 2, vectors, end mark}; LeaveAll in any vector,
// processed beside the values.
//
// Pure functions into buffers of the caller: no allocation, no state, any thread. The event bytes
// of both forms are alike (three events each, base 6) and are carried over as they stand.
#pragma once

#include <array>
#include <span>

#include "platform/wire/frame.h"

namespace platform {

/// Result of ieeeToNative(): whole frames of our form, to be delivered in this order. Reused from
/// frame to frame by its owner, as it is large.
struct NativeFrames {
    std::array<u8, 32> leaveAll;
    std::array<u8, kLongestNativeFrame> vectors;
    std::size_t leaveAllBytes = 0;         ///< 0: no LeaveAll came
    std::size_t vectorBytes = 0;           ///< 0: no vector came
    DropReason reason = DropReason::None;  ///< set also when only a part could be read
};

/// Turns a standard frame into frames of ours with the same meaning. A LeaveAll, in whichever
/// vector it came, goes ahead as a PDU of its own. Messages of unknown attribute types, and vectors
/// whose first value is no VLAN ID, are skipped; what stands before an unreadable place is kept.
/// @param view  a classified frame of kind IeeeMvrp
void ieeeToNative(const FrameView& view, NativeFrames& out);

/// Turns a frame of ours into the standard form.
/// @param native  a whole frame as the daemon sends it
/// @param out     receives the frame; at least native.size() bytes
/// @return bytes of the frame; 0 when it has no standard form (a PDU without vectors, or no PDU)
std::size_t nativeToIeee(std::span<const u8> native, std::span<u8> out);

}  // namespace platform
