// SPDX-License-Identifier: MIT
#include "platform/net/recording.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/runtime/files/sealed_memory.h"
#include "platform/runtime/log.h"
#include "platform/wire/pcap.h"

namespace platform {
namespace {

constexpr std::size_t kRingBytes = std::size_t{256} * 1024;
/// How long the end of a recording waits for its file.
constexpr std::chrono::milliseconds kLastFrames{300};
constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;  // less umask
/// A file is opened and nothing waited for, whatever kind it is of.
constexpr int kFlags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

Descriptor refuse(std::string& error, const std::string& path, const std::string& why) {
    error = "'" + path + "': " + why;
    return Descriptor();
}

Descriptor regular(Descriptor file, const std::string& path, std::string& error) {
    struct stat facts {};
    // A FIFO that nobody reads is not even opened.
    const bool noReader = !file.isOpen() && errno == ENXIO;
    if (!noReader && (!file.isOpen() || fstat(file.get(), &facts) != 0))
        return refuse(error, path, errorText(errno));
    if (noReader || !S_ISREG(facts.st_mode))
        return refuse(error, path, "no regular file");
    return file;
}

/// Whether a file has nothing in it that is worth keeping: it is empty, or a recording.
bool isOldRecording(int file, off_t size) {
    const std::array<u8, kPcapFileHeaderBytes> own = pcapFileHeader();
    std::array<u8, 4> begin{};
    return size == 0 ||
           (pread(file, begin.data(), begin.size(), 0) == static_cast<ssize_t>(begin.size()) &&
            std::memcmp(begin.data(), own.data(), begin.size()) == 0);
}

/// A file for a request: never over what others made, or the daemon for something else.
Descriptor openForRequest(const Place& place, const std::string& path, std::string& error) {
    Descriptor file = regular(Descriptor(openat(place.directory.get(), place.name.c_str(),
                                                O_RDWR | O_CREAT | O_NOFOLLOW | kFlags, kMode)),
                              path, error);
    struct stat facts {};
    if (!file.isOpen())
        return file;
    if (fstat(file.get(), &facts) != 0 || facts.st_uid != geteuid() || facts.st_nlink != 1)
        return refuse(error, path, "it is there and belongs to another user, or has two names");
    if (!isOldRecording(file.get(), facts.st_size))
        return refuse(error, path, "it is there and no recording (pcap) that could be replaced");
    if (ftruncate(file.get(), 0) != 0)
        return refuse(error, path, errorText(errno));
    return file;
}

bool mayWrite(int file) {
    const int flags = fcntl(file, F_GETFL);
    return flags >= 0 && (flags & O_PATH) == 0 && (flags & O_ACCMODE) != O_RDONLY;
}

}  // namespace

std::unique_ptr<Recording> Recording::begin(Descriptor file, const std::string& name,
                                            std::string& error) {
    if (!file.isOpen())
        return nullptr;
    auto writer =
        RingWriter::start(std::move(file), kRingBytes, "mvrprecord", RingWriter::OnFailure::End);
    if (writer == nullptr) {
        error = "'" + name + "': no thread to write it";
        return nullptr;
    }
    writer->put(pcapFileHeader());
    return std::unique_ptr<Recording>(new Recording(name, std::move(writer)));
}

std::unique_ptr<Recording> Recording::open(const std::string& path, std::string& error) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | kFlags, kMode));
    return begin(regular(std::move(file), path, error), path, error);
}

std::unique_ptr<Recording> Recording::open(NamedFile file, const RequestPlaces& places,
                                           std::string& error) {
    if (file.passed.isOpen() && !mayWrite(file.passed.get())) {
        error = "'" + file.path + "': the descriptor that came with it is not open for writing";
        return nullptr;
    }
    if (file.passed.isOpen())
        return begin(std::move(file.passed), file.path, error);
    const auto place = places.find(file.path, error);
    return place ? begin(openForRequest(*place, file.path, error), file.path, error) : nullptr;
}

bool Recording::take(std::span<const u8> frame, u64 timeUs) {
    frame = frame.first(std::min<std::size_t>(frame.size(), kPcapLongestRecord));
    if (!ended_ && writer_->put(pcapRecordHeader(frame.size(), timeUs), frame))
        return true;
    if (ended_)
        return false;
    if (const int failure = writer_->failure(); failure != 0) {
        ended_ = true;
        logMessage(LogPriority::Warning, "recording to '%s' ends: %s", name_.c_str(),
                   errorText(failure).c_str());
    } else if (!std::exchange(losing_, true)) {
        logMessage(LogPriority::Warning,
                   "recording to '%s': the file is too slow, frames are lost; how many is logged "
                   "at the end",
                   name_.c_str());
    }
    return false;
}

void Recording::finish() {
    const bool complete = writer_->flush(kLastFrames);
    if (const u64 lost = writer_->takeLost(); lost != 0)
        logMessage(LogPriority::Warning, "recording to '%s': %llu frames were lost", name_.c_str(),
                   static_cast<unsigned long long>(lost));
    if (!complete)
        logMessage(LogPriority::Warning, "recording to '%s': what came last is not in the file",
                   name_.c_str());
}

Descriptor openReplay(const std::string& path, std::string& error) {
    return regular(Descriptor(::open(path.c_str(), O_RDONLY | kFlags)), path, error);
}

Descriptor openReplay(NamedFile file, const RequestPlaces& places, std::string& error) {
    if (file.passed.isOpen() && !isSealedMemory(file.passed.get()))
        return refuse(error, file.path,
                      "the descriptor that came with it is not of sealed memory (memfd_create)");
    if (file.passed.isOpen())
        return std::move(file.passed);
    const auto place = places.find(file.path, error);
    if (!place)
        return Descriptor();
    return regular(Descriptor(openat(place->directory.get(), place->name.c_str(),
                                     O_RDONLY | O_NOFOLLOW | kFlags)),
                   file.path, error);
}

}  // namespace platform
