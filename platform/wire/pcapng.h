// SPDX-License-Identifier: MIT
//
// What a capture in the pcapng format tells beside its frames: which port each went through, and
// which way. Frames themselves are read by pcap.h, in either format.
//
// Not locked: one user at a time per object. Errors are texts for the operator. Whatever a file
// claims, nothing is read beyond it; what makes no sense ends the reading.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/wire/pcap.h"

namespace platform {

enum class FrameWay : u8 { Unknown = 0, Received = 1, Sent = 2 };

/// Where a frame of a capture was seen.
struct FrameOrigin {
    std::string port;  ///< name of the interface, as the file has it; empty: not known
    FrameWay way = FrameWay::Unknown;

    bool operator==(const FrameOrigin&) const = default;
};

/// Those of all frames, in the order of the file: of the packets that pcap.h reads. Empty for a
/// file of another format.
std::vector<FrameOrigin> pcapngOrigins(std::span<const u8> file);

/// Writes frames with their origin as they come; every frame is in the file when write() returns.
class PcapngWriter {
  public:
    /// Creates or empties the file, and describes the ports, so that it can be read before there
    /// is a frame. @return nothing on failure, with the reason in `error`
    static std::optional<PcapngWriter> open(const std::string& path,
                                            std::span<const std::string> ports, std::string& error);

    /// @param timeUs  microseconds since the epoch
    /// @return false when the file system took it not
    bool write(std::span<const u8> frame, u64 timeUs, const FrameOrigin& origin);

  private:
    explicit PcapngWriter(FileHandle file) : file_(std::move(file)) {}
    /// Number of the interface of that name, which is described to the file when it is new.
    u32 interfaceOf(const std::string& port, std::vector<u8>& out);

    FileHandle file_;
    std::vector<std::string> ports_;  ///< interfaces of the file, by number
};

}  // namespace platform
