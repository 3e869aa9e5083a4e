// SPDX-License-Identifier: MIT
//
// Frames of a port on their way into a pcap file. A thread of the recording's own writes them, so a
// disk that is slow costs frames of the recording, which are counted, and nobody's time.
//
// Locking: the frame layer's while frames are taken; finish() without it.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "platform/contract/types.h"
#include "platform/runtime/files/places.h"
#include "platform/runtime/tasks/ring_writer.h"

namespace platform {

/// What a request, or the configuration, has frames written to or read from: a path, or a
/// descriptor that came with the request and is used instead. The path names it for people then.
struct NamedFile {
    std::string path;
    Descriptor passed = Descriptor();
};

class Recording {
  public:
    /// Opens a file of the configuration: it is created or emptied.
    static std::unique_ptr<Recording> open(const std::string& path, std::string& error);
    /// Opens what a request named, or takes its descriptor. A path lies in one of `places`; what is
    /// there already is emptied only when it is a recording, and a regular file of the daemon's own
    /// user under one name.
    static std::unique_ptr<Recording> open(NamedFile file, const RequestPlaces& places,
                                           std::string& error);
    ~Recording() = default;
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    Recording(Recording&&) = delete;
    Recording& operator=(Recording&&) = delete;

    /// Never waits. @param timeUs  microseconds since the epoch
    /// @return whether it is on its way into the file
    bool take(std::span<const u8> frame, u64 timeUs);
    /// Waits a moment for what is not in the file yet, and logs what was lost.
    void finish();

  private:
    Recording(std::string name, std::unique_ptr<RingWriter> writer)
        : name_(std::move(name)), writer_(std::move(writer)) {}
    static std::unique_ptr<Recording> begin(Descriptor file, const std::string& name,
                                            std::string& error);

    const std::string name_;
    const std::unique_ptr<RingWriter> writer_;
    bool losing_ = false;  ///< it is in the log that frames are lost
    bool ended_ = false;   ///< it is in the log that nothing can be written
};

/// The same for a file that frames are read from: without a place to look in, for the
/// configuration's own.
/// @return an open regular file; not open with the reason in `error`
Descriptor openReplay(const std::string& path, std::string& error);
/// A passed descriptor has to be of memory that nobody can change any more (memfd_create, sealed
/// against writing and shrinking), so that reading it neither waits nor fails.
Descriptor openReplay(NamedFile file, const RequestPlaces& places, std::string& error);

}  // namespace platform
