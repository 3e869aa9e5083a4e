// SPDX-License-Identifier: MIT
#include "platform/wire/pcap.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace platform {
namespace {

constexpr u32 kMagicMicroseconds = 0xA1B2C3D4;
constexpr u32 kMagicNanoseconds = 0xA1B23C4D;
constexpr u32 kLinkTypeEthernet = 1;
constexpr std::size_t kFileHeaderBytes = 24;
constexpr std::size_t kRecordHeaderBytes = 16;
constexpr std::size_t kLinkTypeOffset = 20;
constexpr u64 kMicrosecondsPerSecond = 1'000'000;
constexpr std::size_t kLargestFile = std::size_t{64} << 20;

struct FileHeader {
    u32 magic;
    u16 versionMajor;
    u16 versionMinor;
    s32 zone;
    u32 accuracy;
    u32 snapLength;
    u32 linkType;
};
static_assert(sizeof(FileHeader) == kFileHeaderBytes);

struct RecordHeader {
    u32 seconds;
    u32 microseconds;
    u32 captured;
    u32 original;
};
static_assert(sizeof(RecordHeader) == kRecordHeaderBytes);

u32 swapBytes(u32 value) {
    return value >> 24 | (value >> 8 & 0xFF00U) | (value << 8 & 0xFF0000U) | value << 24;
}

/// Words of a capture, in whichever byte order its magic number shows.
class WordReader {
  public:
    WordReader(std::span<const u8> bytes, bool swapped) : bytes_(bytes), swapped_(swapped) {}

    /// @pre offset + 4 is within the bytes
    u32 at(std::size_t offset) const {
        u32 word = 0;
        std::memcpy(&word, bytes_.subspan(offset, sizeof word).data(), sizeof word);
        return swapped_ ? swapBytes(word) : word;
    }

  private:
    std::span<const u8> bytes_;
    bool swapped_;
};

std::string systemError(const std::string& path) {
    return "'" + path + "': " + std::strerror(errno);
}

void collectRecords(const WordReader& words, u32 subsecondsPerUs, PcapFrames& frames) {
    const std::size_t size = frames.bytes.size();
    std::size_t offset = kFileHeaderBytes;
    while (size - offset >= kRecordHeaderBytes) {
        const u32 captured = words.at(offset + 8);
        const u64 timeUs =
            words.at(offset) * kMicrosecondsPerSecond + words.at(offset + 4) / subsecondsPerUs;
        offset += kRecordHeaderBytes;
        if (captured > kPcapLongestRecord || captured > size - offset) {
            return;
        }
        frames.records.push_back({timeUs, static_cast<u32>(offset), captured});
        offset += captured;
    }
}

}  // namespace

std::optional<PcapWriter> PcapWriter::open(const std::string& path, std::string& error) {
    FileHandle file(std::fopen(path.c_str(), "wbe"));
    const FileHeader header = {kMagicMicroseconds, 2, 4, 0, 0, kPcapLongestRecord,
                               kLinkTypeEthernet};
    if (!file || std::fwrite(&header, sizeof header, 1, file.get()) != 1 ||
        std::fflush(file.get()) != 0) {
        error = systemError(path);
        return std::nullopt;
    }
    return PcapWriter(std::move(file));
}

bool PcapWriter::write(std::span<const u8> frame, u64 timeUs) {
    const u32 length = static_cast<u32>(std::min<std::size_t>(frame.size(), kPcapLongestRecord));
    const RecordHeader header = {static_cast<u32>(timeUs / kMicrosecondsPerSecond),
                                 static_cast<u32>(timeUs % kMicrosecondsPerSecond), length,
                                 static_cast<u32>(frame.size())};
    return std::fwrite(&header, sizeof header, 1, file_.get()) == 1 &&
           (length == 0 || std::fwrite(frame.data(), length, 1, file_.get()) == 1) &&
           std::fflush(file_.get()) == 0;
}

std::optional<PcapFrames> parsePcap(std::vector<u8> bytes, std::string& error) {
    if (bytes.size() < kFileHeaderBytes) {
        error = "not a pcap file: shorter than its 24-byte header";
        return std::nullopt;
    }
    const u32 magic = WordReader(bytes, false).at(0);
    const bool swapped =
        magic == swapBytes(kMagicMicroseconds) || magic == swapBytes(kMagicNanoseconds);
    const u32 plainMagic = swapped ? swapBytes(magic) : magic;
    if (plainMagic != kMagicMicroseconds && plainMagic != kMagicNanoseconds) {
        error = "not a classic pcap file (pcapng is not read)";
        return std::nullopt;
    }
    PcapFrames frames;
    frames.bytes = std::move(bytes);
    const WordReader words(frames.bytes, swapped);
    if (words.at(kLinkTypeOffset) != kLinkTypeEthernet) {
        error = "the link type is " + std::to_string(words.at(kLinkTypeOffset)) +
                "; only Ethernet (1) is read";
        return std::nullopt;
    }
    collectRecords(words, plainMagic == kMagicNanoseconds ? 1000 : 1, frames);
    return frames;
}

std::optional<PcapFrames> readPcap(const std::string& path, std::string& error) {
    const FileHandle file(std::fopen(path.c_str(), "rbe"));
    if (!file) {
        error = systemError(path);
        return std::nullopt;
    }
    std::vector<u8> bytes;
    std::array<u8, 65536> chunk;
    std::size_t got = 0;
    while ((got = std::fread(chunk.data(), 1, chunk.size(), file.get())) > 0) {
        bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got));
        if (bytes.size() > kLargestFile) {
            error = "'" + path + "': larger than 64 MiB";
            return std::nullopt;
        }
    }
    if (std::ferror(file.get()) != 0) {
        error = systemError(path);
        return std::nullopt;
    }
    std::optional<PcapFrames> frames = parsePcap(std::move(bytes), error);
    if (!frames) {
        error = "'" + path + "': " + error;
    }
    return frames;
}

}  // namespace platform
