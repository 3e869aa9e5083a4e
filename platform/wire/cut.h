// SPDX-License-Identifier: MIT
//
// Cuts a frame that is too long for its cable into shorter ones with the same meaning: an
// interface's MTU may fall below what the daemon plans its PDUs for.
//
// Over bytes of the caller: no allocation, any thread. A copy of a cutter goes on from where it
// was copied.
#pragma once

#include <span>

#include "platform/wire/frame.h"

namespace platform {

class FrameWriter;

class FrameCutter {
  public:
    /// @param frame  whole, in any form that the daemon's frames have on the wire; it outlives the
    ///               cutter. Of a frame of another kind there are no parts.
    explicit FrameCutter(std::span<const u8> frame);

    /// Writes the next part: as many of the frame's vectors, or attributes, as fit. A vector is cut
    /// between two bytes of events; its LeaveAll stays with the first of it. Of a native PDU that
    /// begins with a LeaveAll there is one part, since nobody reads further (see adapter.h).
    /// @param mostBytes  of the part, from the destination address on
    /// @param out        at least as many bytes as the frame has
    /// @return bytes of the part; 0 when nothing is left, or not even one value fits: see done()
    std::size_t next(std::size_t mostBytes, std::span<u8> out);

    /// Whether everything is in the parts that were written.
    bool done() const { return left_.empty(); }

  private:
    bool putVector(FrameWriter& writer, std::size_t room);
    bool putAttribute(FrameWriter& writer, std::size_t room);
    void passEndMark();

    FrameKind kind_;
    std::span<const u8> head_;  ///< goes ahead of each part: the addresses to the attribute type
    std::span<const u8> left_;  ///< vectors, or attributes; empty: none
    u16 taken_ = 0;             ///< values of the first vector that are in parts already
};

}  // namespace platform
