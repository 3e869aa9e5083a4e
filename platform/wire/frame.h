// SPDX-License-Identifier: MIT
//
// Whole Ethernet frames: which protocol a frame carries and in which form.
//
// Pure functions over bytes that the caller owns: no state, no allocation, any thread. Whatever the
// bytes are, nothing is read beyond them; a frame that is not ours says why (DropReason).
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "platform/contract/types.h"
#include "platform/model/mac_address.h"

namespace platform {

/// Destination of MVRP and GVRP frames (IEEE 802.1Q Table 10-1).
inline constexpr MacAddress kMvrpGroupAddress = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x21};

/// Longest frame that is looked at. A standard PDU grows by at most 10 bytes on its way into our
/// form, and both have to fit the 3840 bytes that the daemon reads at a time.
inline constexpr std::size_t kLongestFrame = 3830;
inline constexpr std::size_t kLongestNativeFrame = 3840;

inline constexpr u16 kEthertypeMvrp = 0x88F5;
inline constexpr u16 kEthertypeVlan = 0x8100;
inline constexpr u16 kEthertypeServiceVlan = 0x88A8;

/// The length/type field is a length below this value. 802.3 ends lengths at 1500; our own LeaveAll
/// PDUs may exceed that, so everything below the ethertypes counts.
inline constexpr u16 kFirstEthertype = 0x0600;

inline constexpr std::size_t kEthernetHeaderBytes = 14;
/// Ethernet header, LLC (3 bytes) and SNAP (5 bytes) ahead of an MVRP PDU of our form.
inline constexpr std::size_t kNativeHeaderBytes = 22;
/// Ethernet header and LLC ahead of a GVRP PDU.
inline constexpr std::size_t kGvrpHeaderBytes = 17;

enum class FrameKind : u8 {
    None,        ///< not for the daemon
    NativeMvrp,  ///< 802.3 length, LLC/SNAP, organisation 00-00-00, protocol 0x88F5
    IeeeMvrp,    ///< ethertype 0x88F5
    Gvrp,        ///< 802.3 length, LLC 42 42 03
};

/// Why a frame is not delivered.
enum class DropReason : u8 {
    None,
    TooShort,    ///< less than an Ethernet header
    TooLong,     ///< more than kLongestFrame
    OtherGroup,  ///< not addressed to 01-80-C2-00-00-21
    Tagged,      ///< VLAN-tagged: belongs to a customer, not to the bridge
    OtherType,   ///< neither MVRP nor GVRP
    BadLength,   ///< the 802.3 length exceeds the frame, or holds no PDU
    BadPdu,      ///< a standard PDU that can not be read
    NoVector,    ///< a standard PDU that says nothing about VLANs
    OverBudget,  ///< more PDUs than the port takes: not read
};
inline constexpr std::size_t kDropReasonCount = 10;

std::string_view dropReasonText(DropReason reason);

/// A classified frame; the spans point into the bytes given to classifyFrame().
struct FrameView {
    FrameKind kind = FrameKind::None;
    DropReason reason = DropReason::None;  ///< set when kind is None
    std::span<const u8> frame;             ///< cut to the 802.3 length: without padding
    u8 pduOffset = 0;                      ///< of the PDU in `frame`

    std::span<const u8> pdu() const { return frame.subspan(pduOffset); }
    MacAddress destination() const { return address(0); }
    MacAddress source() const { return address(6); }

  private:
    /// @pre the frame was classified: it has an Ethernet header
    MacAddress address(std::size_t offset) const;
};

/// Whether a frame of any kind is addressed to the MVRP/GVRP group.
bool isGroupFrame(std::span<const u8> frame);

/// @param bytes  a whole frame from the destination address on, without check sequence
FrameView classifyFrame(std::span<const u8> bytes);

}  // namespace platform
