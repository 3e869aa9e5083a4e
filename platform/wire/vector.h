// SPDX-License-Identifier: MIT
//
// Vectors of MVRP PDUs (IEEE 802.1Q 10.8.2.8), read and written as they stand: what the frame
// adapter and the cutter of long frames share. Pure functions over bytes of the caller.
#pragma once

#include <algorithm>
#include <cassert>
#include <span>

#include "platform/wire/byte_reader.h"
#include "platform/wire/frame.h"

namespace platform {

inline constexpr u16 kLeaveAllBit = 0x2000;
inline constexpr u16 kValueCountMask = 0x1FFF;
inline constexpr u16 kEndMark = 0;
inline constexpr std::size_t kEventsPerByte = 3;
/// Header and first value of a VLAN vector, ahead of its events.
inline constexpr std::size_t kVectorHeadBytes = 4;

/// One vector as it stands in a PDU. The LeaveAll event has three bits of which only 1 is defined
/// (IEEE 802.1Q 10.8.2.6); like the daemon, only the lowest is looked at.
struct Vector {
    u16 header = 0;
    std::span<const u8> firstValue;
    std::span<const u8> events;

    bool leaveAll() const { return (header & kLeaveAllBit) != 0; }
    u16 count() const { return header & kValueCountMask; }
    u16 firstVid() const {
        return firstValue.size() == 2 ? static_cast<u16>(firstValue[0] << 8 | firstValue[1])
                                      : u16{0};
    }
};

enum class VectorStep { Vector, End, Broken };

/// Reads the next vector of a message. An end of the data in place of a header counts as end mark.
inline VectorStep readVector(ByteReader& reader, std::size_t attributeLength, Vector& vector) {
    if (reader.left() == 0)
        return VectorStep::End;
    vector.header = reader.readU16();
    if (reader.failed())
        return VectorStep::Broken;
    if (vector.header == kEndMark)
        return VectorStep::End;
    vector.firstValue = reader.take(attributeLength);
    vector.events = reader.take((vector.count() + kEventsPerByte - 1) / kEventsPerByte);
    return reader.failed() ? VectorStep::Broken : VectorStep::Vector;
}

/// Appends to a buffer that is known to be large enough.
class FrameWriter {
  public:
    explicit FrameWriter(std::span<u8> out) : out_(out) {}

    void putU8(u8 value) {
        assert(used_ < out_.size());
        out_[used_++] = value;
    }
    void putU16(u16 value) {
        putU8(static_cast<u8>(value >> 8));
        putU8(static_cast<u8>(value & 0xFF));
    }
    void put(std::span<const u8> bytes) {
        assert(bytes.size() <= out_.size() - used_);
        std::ranges::copy(bytes, out_.begin() + static_cast<std::ptrdiff_t>(used_));
        used_ += bytes.size();
    }
    void put(const Vector& vector) {
        putU16(vector.header);
        put(vector.firstValue);
        put(vector.events);
    }
    /// Fills in the 802.3 length once the frame is complete.
    void closeLength() {
        const std::size_t length = used_ - kEthernetHeaderBytes;
        out_[kEthernetHeaderBytes - 2] = static_cast<u8>(length >> 8);
        out_[kEthernetHeaderBytes - 1] = static_cast<u8>(length & 0xFF);
    }
    std::size_t used() const { return used_; }

  private:
    std::span<u8> out_;
    std::size_t used_ = 0;
};

}  // namespace platform
