// SPDX-License-Identifier: MIT
//
// A capture being fed into a port: which frame is due when. Belongs to the receive thread once it
// has been handed over.
#pragma once

#include <optional>

#include "platform/wire/pcap.h"

namespace platform {

class Replay {
  public:
    /// @param speed    times the speed of the capture; 0: as fast as possible
    /// @param startUs  when the first frame is due, on the clock that next() is asked with;
    /// nothing:
    ///                 start() says
    Replay(PcapFrames frames, u32 speed, std::optional<u64> startUs);

    bool isStarted() const { return startUs_.has_value(); }
    void start(u64 nowUs) { startUs_ = nowUs; }

    /// When the next frame is due, in microseconds; nothing when all went or
    /// before the start.
    std::optional<u64> dueUs() const;
    /// The next frame, if it is due. Valid as long as this object.
    std::optional<std::span<const u8>> next(u64 nowUs);

  private:
    const PcapFrames frames_;
    const u32 speed_;
    std::optional<u64> startUs_;
    std::size_t next_ = 0;
};

}  // namespace platform
