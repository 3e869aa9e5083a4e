// SPDX-License-Identifier: MIT
//
// What a PDU says: every VLAN with its attribute event, in either form of MVRP and in GVRP.
//
// A pure walk over bytes that the caller owns: no state, no allocation, any thread. It counts and
// shows; the daemon reads frames by rules of its own.
#pragma once

#include <array>
#include <string_view>

#include "platform/wire/frame.h"

namespace platform {

/// Attribute events of IEEE 802.1Q 10.8.2.5 by their numbers on the wire, the LeaveAll event, and
/// those of GARP that MVRP does not have. GARP's LeaveAll counts as LeaveAll.
enum class PduEvent : u8 {
    New,
    JoinIn,
    In,
    JoinMt,
    Mt,
    Lv,
    LeaveAll,
    GvrpJoinEmpty,
    GvrpJoinIn,
    GvrpLeaveEmpty,
    GvrpLeaveIn,
    GvrpEmpty,
};
inline constexpr std::size_t kPduEventCount = 12;

/// Name of an event as the standards write it: "JoinIn", "LeaveEmpty".
std::string_view pduEventName(PduEvent event);

/// Whether the event declares its VLAN: a receiver registers it.
constexpr bool isJoin(PduEvent event) {
    return event == PduEvent::New || event == PduEvent::JoinIn || event == PduEvent::JoinMt ||
           event == PduEvent::GvrpJoinEmpty || event == PduEvent::GvrpJoinIn;
}

/// Whether the event withdraws its VLAN.
constexpr bool isLeave(PduEvent event) {
    return event == PduEvent::Lv || event == PduEvent::GvrpLeaveEmpty ||
           event == PduEvent::GvrpLeaveIn;
}

/// Takes the events of a PDU in the order in which they stand.
class EventSink {
  public:
    EventSink() = default;
    virtual ~EventSink() = default;
    EventSink(const EventSink&) = delete;
    EventSink& operator=(const EventSink&) = delete;
    EventSink(EventSink&&) = delete;
    EventSink& operator=(EventSink&&) = delete;

    /// @param vid  0 for a LeaveAll, which is about all VLANs; else 1 to 4095
    virtual void onEvent(u32 vid, PduEvent event) = 0;
};

/// Hands every event of a frame to `sink`. Values that are no VLAN ID and messages of other
/// attribute types are passed over.
/// @param view  a classified frame of any kind but None
/// @return BadPdu when the PDU breaks off or contradicts itself; what stands before that was handed
///         over
DropReason walkEvents(const FrameView& view, EventSink& sink);

}  // namespace platform
