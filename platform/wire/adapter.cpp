// SPDX-License-Identifier: MIT
#include "platform/wire/adapter.h"

#include <cassert>

#include "platform/wire/byte_reader.h"
#include "platform/wire/vector.h"

namespace platform {
namespace {

constexpr u8 kAttributeTypeVid = 1;
constexpr u8 kNativeAttributeLength = 1;
constexpr u8 kIeeeAttributeLength = 2;
constexpr u16 kLastVid = 4095;

constexpr std::array<u8, 8> kLlcSnapMvrp = {0xAA, 0xAA, 0x03, 0x00, 0x00, 0x00, 0x88, 0xF5};

void beginNative(FrameWriter& writer, std::span<const u8> addresses) {
    writer.put(addresses);
    writer.putU16(0);
    writer.put(kLlcSnapMvrp);
    writer.putU8(0);
    writer.putU8(kAttributeTypeVid);
    writer.putU8(kNativeAttributeLength);
}

/// A LeaveAll on its own: one vector without values.
std::size_t writeLeaveAll(std::span<const u8> addresses, std::span<u8> out) {
    FrameWriter writer(out);
    beginNative(writer, addresses);
    writer.putU16(kLeaveAllBit);
    writer.putU16(0);
    writer.putU16(kEndMark);
    writer.closeLength();
    return writer.used();
}

/// What the messages of one standard PDU come to.
struct Collected {
    bool leaveAll = false;
    std::size_t vectors = 0;
};

/// Takes one vector of the VLAN attribute over, without its LeaveAll bit.
void collectVector(const Vector& vector, Collected& collected, FrameWriter& writer) {
    collected.leaveAll = collected.leaveAll || vector.leaveAll();
    if (vector.count() == 0 || vector.firstVid() == 0 || vector.firstVid() > kLastVid)
        return;
    Vector plain = vector;
    plain.header = vector.count();
    writer.put(plain);
    ++collected.vectors;
}

/// Walks the messages of a PDU. A message of another attribute type is walked with its own
/// attribute length and skipped.
DropReason collectMessages(std::span<const u8> pdu, Collected& collected, FrameWriter& writer) {
    ByteReader reader(pdu);
    // Later protocol versions only add (10.8.3.4), so the version does not matter.
    reader.readU8();
    while (reader.left() != 0) {
        const u8 type = reader.readU8();
        const u8 length = reader.readU8();
        if (reader.failed()) {
            // A lone zero is half of the end mark; anything else is a message cut short.
            return type == 0 ? DropReason::None : DropReason::BadPdu;
        }
        if (type == 0 && length == 0)
            return DropReason::None;
        const bool ours = type == kAttributeTypeVid;
        if (length == 0 || (ours && length != kIeeeAttributeLength))
            return DropReason::BadPdu;
        Vector vector;
        VectorStep step = VectorStep::End;
        while ((step = readVector(reader, length, vector)) == VectorStep::Vector)
            if (ours)
                collectVector(vector, collected, writer);
        if (step == VectorStep::Broken)
            return DropReason::BadPdu;
    }
    return DropReason::None;
}

}  // namespace

void ieeeToNative(const FrameView& view, NativeFrames& out) {
    out.leaveAllBytes = 0;
    out.vectorBytes = 0;
    const std::span<const u8> addresses = view.frame.first(kEthernetHeaderBytes - 2);
    FrameWriter writer(out.vectors);
    beginNative(writer, addresses);
    Collected collected;
    out.reason = collectMessages(view.pdu(), collected, writer);
    if (collected.leaveAll)
        out.leaveAllBytes = writeLeaveAll(addresses, out.leaveAll);
    if (collected.vectors != 0) {
        writer.putU16(kEndMark);
        writer.closeLength();
        out.vectorBytes = writer.used();
    }
    if (!collected.leaveAll && collected.vectors == 0 && out.reason == DropReason::None)
        out.reason = DropReason::NoVector;
}

std::size_t nativeToIeee(std::span<const u8> native, std::span<u8> out) {
    assert(out.size() >= native.size());
    const FrameView view = classifyFrame(native);
    if (view.kind != FrameKind::NativeMvrp)
        return 0;
    ByteReader reader(view.pdu());
    const u8 version = reader.readU8();
    const u8 type = reader.readU8();
    const u8 length = reader.readU8();
    if (reader.failed() || type != kAttributeTypeVid || length != kNativeAttributeLength)
        return 0;
    FrameWriter writer(out);
    writer.put(view.frame.first(kEthernetHeaderBytes - 2));
    writer.putU16(kEthertypeMvrp);
    writer.putU8(version);
    writer.putU8(kAttributeTypeVid);
    writer.putU8(kIeeeAttributeLength);
    std::size_t vectors = 0;
    Vector vector;
    // In both forms a first value is two bytes long, whatever the attribute length says.
    while (readVector(reader, kIeeeAttributeLength, vector) == VectorStep::Vector) {
        writer.put(vector);
        ++vectors;
    }
    if (vectors == 0)
        return 0;
    writer.putU16(kEndMark);
    writer.putU16(kEndMark);
    return writer.used();
}

}  // namespace platform
