// SPDX-License-Identifier: MIT
#include "platform/wire/events.h"

#include "platform/wire/byte_reader.h"

namespace platform {
namespace {

constexpr u8 kAttributeTypeVid = 1;
constexpr u16 kLeaveAllBit = 0x2000;
constexpr u16 kValueCountMask = 0x1FFF;
constexpr u32 kLastVid = 4095;
constexpr u32 kEventsPerByte = 3;
constexpr u32 kEventKinds = 6;
constexpr u16 kGarpProtocol = 1;
constexpr u8 kGarpLeaveAllBytes = 2;
constexpr u8 kGarpVlanBytes = 4;

constexpr std::array<std::string_view, kPduEventCount> kNames = {
    "New",      "JoinIn",    "In",     "JoinMt",     "Mt",      "Lv",
    "LeaveAll", "JoinEmpty", "JoinIn", "LeaveEmpty", "LeaveIn", "Empty"};

/// Events of GARP by their numbers on the wire (IEEE 802.1D 12.10.2).
constexpr std::array kGarpEvents = {PduEvent::LeaveAll,    PduEvent::GvrpJoinEmpty,
                                    PduEvent::GvrpJoinIn,  PduEvent::GvrpLeaveEmpty,
                                    PduEvent::GvrpLeaveIn, PduEvent::GvrpEmpty};

/// Three events to a byte, in base 6. A byte of 216 or more says nothing.
DropReason unpackEvents(u32 vid, u32 count, std::span<const u8> packed, EventSink& sink) {
    constexpr u32 kPackedValues = kEventKinds * kEventKinds * kEventKinds;
    for (u32 index = 0; index < count && vid + index <= kLastVid; ++index) {
        const u32 byte = packed[index / kEventsPerByte];
        if (byte >= kPackedValues)
            return DropReason::BadPdu;
        const u32 position = index % kEventsPerByte;
        const u32 above = position == 0   ? byte / (kEventKinds * kEventKinds)
                          : position == 1 ? byte / kEventKinds
                                          : byte;
        sink.onEvent(vid + index, static_cast<PduEvent>(above % kEventKinds));
    }
    return DropReason::None;
}

/// The vectors of one message, up to its end mark or the end of the data.
/// @param valueBytes  length of a first value
/// @param ours        false: a message of another attribute type, only passed over
DropReason walkVectors(ByteReader& reader, u32 valueBytes, bool ours, EventSink& sink) {
    while (reader.left() != 0) {
        const u16 header = reader.readU16();
        if (!reader.failed() && header == 0)
            return DropReason::None;
        const std::span<const u8> value = reader.take(valueBytes);
        const u32 count = header & kValueCountMask;
        const auto packed = reader.take((count + kEventsPerByte - 1) / kEventsPerByte);
        if (reader.failed())
            return DropReason::BadPdu;
        if (!ours)
            continue;
        if ((header & kLeaveAllBit) != 0)
            sink.onEvent(0, PduEvent::LeaveAll);
        const u32 vid = ByteReader(value).readU16();
        if (vid == 0 || vid > kLastVid)
            continue;
        if (unpackEvents(vid, count, packed, sink) != DropReason::None)
            return DropReason::BadPdu;
    }
    return DropReason::None;
}

/// Ours: {version, attribute type, attribute length 1, vectors}, first values two bytes long.
DropReason walkNative(std::span<const u8> pdu, EventSink& sink) {
    ByteReader reader(pdu);
    reader.readU8();
    const u8 type = reader.readU8();
    const u8 length = reader.readU8();
    if (reader.failed() || type != kAttributeTypeVid || length != 1)
        return DropReason::BadPdu;
    return walkVectors(reader, 2, true, sink);
}

/// The standard's: {version, messages, end mark} (IEEE 802.1Q 10.8.1).
DropReason walkIeee(std::span<const u8> pdu, EventSink& sink) {
    ByteReader reader(pdu);
    reader.readU8();
    while (reader.left() != 0) {
        const u8 type = reader.readU8();
        if (type == 0)
            return DropReason::None;
        const u8 length = reader.readU8();
        const bool ours = type == kAttributeTypeVid;
        if (reader.failed() || length == 0 || (ours && length != 2))
            return DropReason::BadPdu;
        if (walkVectors(reader, length, ours, sink) != DropReason::None)
            return DropReason::BadPdu;
    }
    return DropReason::None;
}

/// {protocol identifier 1, messages of {type, attributes, end mark}, end mark}.
DropReason walkGvrp(std::span<const u8> pdu, EventSink& sink) {
    ByteReader reader(pdu);
    if (reader.readU16() != kGarpProtocol || reader.failed())
        return DropReason::BadPdu;
    while (reader.left() != 0) {
        const u8 type = reader.readU8();
        if (type == 0)
            return DropReason::None;
        for (u8 length = reader.readU8(); length != 0; length = reader.readU8()) {
            const u8 event = reader.readU8();
            const auto value = reader.take(length >= kGarpLeaveAllBytes ? length - 2U : 0U);
            if (reader.failed() || length < kGarpLeaveAllBytes || event >= kGarpEvents.size())
                return DropReason::BadPdu;
            if (type != kAttributeTypeVid)
                continue;
            if (kGarpEvents[event] == PduEvent::LeaveAll)
                sink.onEvent(0, PduEvent::LeaveAll);
            else if (length != kGarpVlanBytes)
                return DropReason::BadPdu;
            else if (const u32 vid = ByteReader(value).readU16(); vid != 0 && vid <= kLastVid)
                sink.onEvent(vid, kGarpEvents[event]);
        }
    }
    return DropReason::None;
}

}  // namespace

std::string_view pduEventName(PduEvent event) {
    return kNames.at(static_cast<std::size_t>(event));
}

DropReason walkEvents(const FrameView& view, EventSink& sink) {
    switch (view.kind) {
        case FrameKind::NativeMvrp:
            return walkNative(view.pdu(), sink);
        case FrameKind::IeeeMvrp:
            return walkIeee(view.pdu(), sink);
        case FrameKind::Gvrp:
            return walkGvrp(view.pdu(), sink);
        case FrameKind::None:
            break;
    }
    return view.reason;
}

}  // namespace platform
