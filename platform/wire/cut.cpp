// SPDX-License-Identifier: MIT
#include "platform/wire/cut.h"

#include <algorithm>

#include "platform/wire/vector.h"

namespace platform {
namespace {

constexpr std::size_t kVidBytes = 2;
/// Of MVRP the version, the attribute type and its length; of GVRP the protocol identifier and the
/// attribute type.
constexpr std::size_t kPduHeadBytes = 3;

/// The standard form ends message and PDU; the native one, and each level of GVRP, in two bytes.
constexpr std::size_t endMarkBytes(FrameKind kind) {
    return kind == FrameKind::IeeeMvrp ? 4 : 2;
}

}  // namespace

FrameCutter::FrameCutter(std::span<const u8> frame) {
    const FrameView view = classifyFrame(frame);
    kind_ = view.kind;
    if (kind_ == FrameKind::None || view.pdu().size() < kPduHeadBytes)
        return;
    head_ = view.frame.first(view.pduOffset + kPduHeadBytes);
    left_ = view.pdu().subspan(kPduHeadBytes);
    passEndMark();
}

void FrameCutter::passEndMark() {
    const bool ends = kind_ == FrameKind::Gvrp ? left_.empty() || left_[0] == 0
                                               : ByteReader(left_).readU16() == kEndMark;
    if (ends)
        left_ = {};
}

std::size_t FrameCutter::next(std::size_t mostBytes, std::span<u8> out) {
    const std::size_t marks = endMarkBytes(kind_);
    if (done() || mostBytes < head_.size() + marks)
        return 0;
    const bool nothingFollows =
        kind_ == FrameKind::NativeMvrp && (ByteReader(left_).readU16() & kLeaveAllBit) != 0;
    FrameWriter writer(out);
    writer.put(head_);
    const auto put = [&] {
        const std::size_t room = mostBytes - marks - writer.used();
        return kind_ == FrameKind::Gvrp ? putAttribute(writer, room) : putVector(writer, room);
    };
    while (!done() && put()) {
    }
    if (writer.used() == head_.size())
        return 0;
    for (std::size_t i = 0; i < marks; ++i)
        writer.putU8(0);
    if (kind_ != FrameKind::IeeeMvrp)
        writer.closeLength();
    if (nothingFollows)
        left_ = {};
    return writer.used();
}

/// @return whether there was room for any of the first vector that is left
bool FrameCutter::putVector(FrameWriter& writer, std::size_t room) {
    ByteReader reader(left_);
    Vector vector;
    if (readVector(reader, kVidBytes, vector) != VectorStep::Vector) {
        left_ = {};
        return false;
    }
    const std::size_t values = vector.count() - std::size_t{taken_};
    if (room < kVectorHeadBytes + (values == 0 ? 0 : 1))
        return false;
    const std::size_t taken = std::min(values, (room - kVectorHeadBytes) * kEventsPerByte);
    const u16 leaveAll = taken_ == 0 ? vector.header & kLeaveAllBit : 0;
    writer.putU16(static_cast<u16>(taken | leaveAll));
    writer.putU16(static_cast<u16>(vector.firstVid() + taken_));
    writer.put(vector.events.subspan(taken_ / kEventsPerByte,
                                     (taken + kEventsPerByte - 1) / kEventsPerByte));
    taken_ = static_cast<u16>(taken_ + taken);
    if (taken_ < vector.count())
        return true;
    taken_ = 0;
    left_ = left_.last(reader.left());
    passEndMark();
    return true;
}

/// An attribute of GVRP begins with its length, which counts itself.
bool FrameCutter::putAttribute(FrameWriter& writer, std::size_t room) {
    const std::size_t bytes = left_[0];
    if (bytes > left_.size()) {
        left_ = {};
        return false;
    }
    if (room < bytes)
        return false;
    writer.put(left_.first(bytes));
    left_ = left_.subspan(bytes);
    passEndMark();
    return true;
}

}  // namespace platform
