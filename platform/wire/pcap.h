// SPDX-License-Identifier: MIT
//
// Capture files of Ethernet frames. Written in the classic pcap format, with microseconds; read, by
// libpcap, in either format (pcap, pcapng), byte order and resolution. What is read is bounded: a
// record that is cut short or makes no sense ends the file.
//
// Not locked: one user at a time per object. Errors are texts for the operator.
#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/contract/types.h"

namespace platform {

/// Longest record that the reader accepts.
inline constexpr u32 kPcapLongestRecord = 65535;

inline constexpr std::size_t kPcapFileHeaderBytes = 24;
inline constexpr std::size_t kPcapRecordHeaderBytes = 16;
/// What a capture begins with, and what stands before each frame.
std::array<u8, kPcapFileHeaderBytes> pcapFileHeader();
/// @param timeUs  microseconds since the epoch
std::array<u8, kPcapRecordHeaderBytes> pcapRecordHeader(std::size_t frameBytes, u64 timeUs);

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

/// Writes frames as they come; every frame is in the file when write() returns, so that a capture
/// can be read while it grows and survives a crash.
class PcapWriter {
  public:
    /// Creates or empties the file. @return nothing on failure, with the reason in `error`
    static std::optional<PcapWriter> open(const std::string& path, std::string& error);

    /// @param timeUs  microseconds since the epoch
    /// @return false when the file system took it not
    bool write(std::span<const u8> frame, u64 timeUs);

  private:
    explicit PcapWriter(FileHandle file) : file_(std::move(file)) {}
    FileHandle file_;
};

/// A capture in memory: all frames in one buffer.
struct PcapFrames {
    struct Record {
        u64 timeUs;
        u32 offset;  ///< into `bytes`
        u32 length;  ///< bytes captured
    };
    std::vector<Record> records;
    std::vector<u8> bytes;

    std::span<const u8> frame(const Record& record) const {
        return std::span<const u8>(bytes).subspan(record.offset, record.length);
    }
};

/// Parses a whole capture. @return nothing on failure, with the reason in `error`; what follows a
/// record that is cut short is left out.
std::optional<PcapFrames> parsePcap(std::vector<u8> bytes, std::string& error);
/// Reads a file of at most 64 MiB.
std::optional<PcapFrames> readPcap(const std::string& path, std::string& error);
/// The same from an open file, from its beginning. @param name  for the errors
std::optional<PcapFrames> readPcap(int file, const std::string& name, std::string& error);

}  // namespace platform
