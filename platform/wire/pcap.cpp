// SPDX-License-Identifier: MIT
#include "platform/wire/pcap.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>

#include "platform/wire/capture_library.h"

namespace platform {
namespace {

constexpr u32 kMagicMicroseconds = 0xA1B2C3D4;
constexpr u32 kLinkTypeEthernet = 1;
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
static_assert(sizeof(FileHeader) == kPcapFileHeaderBytes);

struct RecordHeader {
    u32 seconds;
    u32 microseconds;
    u32 captured;
    u32 original;
};
static_assert(sizeof(RecordHeader) == kPcapRecordHeaderBytes);

std::string systemError(const std::string& path) {
    return "'" + path + "': " + std::strerror(errno);
}

struct CaptureCloser {
    const CaptureLibrary* library;
    void operator()(pcap_t* capture) const { library->close(capture); }
};
using CaptureHandle = std::unique_ptr<pcap_t, CaptureCloser>;

/// Opens a capture that lies in memory, which has to stay as long. Times are in microseconds.
CaptureHandle openCapture(const CaptureLibrary& library, std::span<u8> bytes, std::string& error) {
    CaptureHandle capture(nullptr, {&library});
    FileHandle file(bytes.empty() ? nullptr : ::fmemopen(bytes.data(), bytes.size(), "r"));
    if (!file) {
        error = "not a pcap or pcapng file: it is empty";
        return capture;
    }
    std::array<char, PCAP_ERRBUF_SIZE> reason{};
    capture.reset(library.openFile(file.get(), reason.data()));
    if (capture)
        (void)file.release();  // the capture owns it now
    else
        error = std::string("not a pcap or pcapng file: ") + reason.data();
    return capture;
}

/// Takes the records up to the end, or to the first that makes no sense.
void collectRecords(const CaptureLibrary& library, pcap_t* capture, PcapFrames& frames) {
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    while (library.nextRecord(capture, &header, &data) == 1 &&
           header->caplen <= kPcapLongestRecord) {
        const u64 timeUs = static_cast<u64>(header->ts.tv_sec) * kMicrosecondsPerSecond +
                           static_cast<u64>(header->ts.tv_usec);
        frames.records.push_back({timeUs, static_cast<u32>(frames.bytes.size()), header->caplen});
        frames.bytes.insert(frames.bytes.end(), data, data + header->caplen);
    }
}

}  // namespace

std::array<u8, kPcapFileHeaderBytes> pcapFileHeader() {
    return std::bit_cast<std::array<u8, kPcapFileHeaderBytes>>(
        FileHeader{kMagicMicroseconds, 2, 4, 0, 0, kPcapLongestRecord, kLinkTypeEthernet});
}

std::array<u8, kPcapRecordHeaderBytes> pcapRecordHeader(std::size_t frameBytes, u64 timeUs) {
    const u32 kept = static_cast<u32>(std::min<std::size_t>(frameBytes, kPcapLongestRecord));
    return std::bit_cast<std::array<u8, kPcapRecordHeaderBytes>>(RecordHeader{
        static_cast<u32>(timeUs / kMicrosecondsPerSecond),
        static_cast<u32>(timeUs % kMicrosecondsPerSecond), kept, static_cast<u32>(frameBytes)});
}

std::optional<PcapWriter> PcapWriter::open(const std::string& path, std::string& error) {
    FileHandle file(std::fopen(path.c_str(), "wbe"));
    const auto header = pcapFileHeader();
    if (!file || std::fwrite(header.data(), header.size(), 1, file.get()) != 1 ||
        std::fflush(file.get()) != 0) {
        error = systemError(path);
        return std::nullopt;
    }
    return PcapWriter(std::move(file));
}

bool PcapWriter::write(std::span<const u8> frame, u64 timeUs) {
    const std::size_t length = std::min<std::size_t>(frame.size(), kPcapLongestRecord);
    const auto header = pcapRecordHeader(frame.size(), timeUs);
    return std::fwrite(header.data(), header.size(), 1, file_.get()) == 1 &&
           (length == 0 || std::fwrite(frame.data(), length, 1, file_.get()) == 1) &&
           std::fflush(file_.get()) == 0;
}

std::optional<PcapFrames> parsePcap(std::vector<u8> bytes, std::string& error) {
    const CaptureLibrary* library = captureLibrary(error);
    if (library == nullptr)
        return std::nullopt;
    const CaptureHandle capture = openCapture(*library, bytes, error);
    if (!capture)
        return std::nullopt;
    if (const int linkType = library->linkType(capture.get()); linkType != DLT_EN10MB) {
        error = "the link type is " + std::to_string(linkType) + "; only Ethernet (1) is read";
        return std::nullopt;
    }
    PcapFrames frames;
    frames.bytes.reserve(bytes.size());
    collectRecords(*library, capture.get(), frames);
    return frames;
}

namespace {

std::optional<PcapFrames> readPcap(std::FILE* file, const std::string& path, std::string& error) {
    std::vector<u8> bytes;
    std::array<u8, 65536> chunk;
    std::size_t got = 0;
    while ((got = std::fread(chunk.data(), 1, chunk.size(), file)) > 0) {
        bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got));
        if (bytes.size() > kLargestFile) {
            error = "'" + path + "': larger than 64 MiB";
            return std::nullopt;
        }
    }
    if (std::ferror(file) != 0) {
        error = systemError(path);
        return std::nullopt;
    }
    std::optional<PcapFrames> frames = parsePcap(std::move(bytes), error);
    if (!frames)
        error = "'" + path + "': " + error;
    return frames;
}

}  // namespace

std::optional<PcapFrames> readPcap(const std::string& path, std::string& error) {
    const FileHandle file(std::fopen(path.c_str(), "rbe"));
    if (file)
        return readPcap(file.get(), path, error);
    error = systemError(path);
    return std::nullopt;
}

std::optional<PcapFrames> readPcap(int file, const std::string& name, std::string& error) {
    const int own = fcntl(file, F_DUPFD_CLOEXEC, 0);
    const FileHandle stream(own < 0 ? nullptr : ::fdopen(own, "rb"));
    if (stream && std::fseek(stream.get(), 0, SEEK_SET) == 0)
        return readPcap(stream.get(), name, error);
    error = systemError(name);
    if (!stream && own >= 0)
        close(own);
    return std::nullopt;
}

}  // namespace platform
