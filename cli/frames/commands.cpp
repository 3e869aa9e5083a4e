// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <thread>

#include "cli/client/observed.h"
#include "cli/commands/commands.h"
#include "cli/frames/decode.h"
#include "cli/views/json.h"
#include "platform/wire/pcap.h"
#include "platform/wire/pcapng.h"

namespace cli {

namespace {

using Bytes = std::vector<u8>;
using Clock = std::chrono::steady_clock;

constexpr u64 kMostFrames = 1'000'000'000;
constexpr u64 kMostSeconds = u64{86'400} * 30;
constexpr std::size_t kLargestCapture = std::size_t{64} << 20;
constexpr auto kLookEvery = std::chrono::milliseconds(100);

// decode -----------------------------------------------------------------------------------------

/// Bytes of words in hexadecimal; colons, blanks and dots between them do not matter.
Bytes hexBytes(const Context& context) {
    std::string digits;
    for (std::size_t i = 0; i < context.count(); ++i)
        digits += context.text(i);
    std::erase_if(digits, [](char c) { return c == ':' || c == '.' || c == ' '; });
    const bool hex = std::ranges::all_of(
        digits, [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
    if (!hex || digits.size() % 2 != 0 || digits.empty())
        throw UsageError(
            "'" + context.text(0) +
            "' is neither a file that is there nor a frame in hexadecimal; allowed are "
            "a pcap or pcapng file, \"-\" for one on the standard input, or whole bytes such as "
            "0180c2000021...");
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<u8>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

/// @param name  of the input, for the errors
std::vector<DecodedFrame> decodeCapture(Bytes bytes, const std::string& name) {
    const std::vector<platform::FrameOrigin> origins = platform::pcapngOrigins(bytes);
    std::string error;
    const auto capture = platform::parsePcap(std::move(bytes), error);
    if (!capture)
        throw UsageError(name + ": " + error + "; allowed is a capture in pcap or pcapng format");
    std::vector<DecodedFrame> frames;
    for (const platform::PcapFrames::Record& record : capture->records) {
        frames.push_back(decodeFrame(capture->frame(record), record.timeUs));
        if (frames.size() <= origins.size())
            frames.back().origin = origins[frames.size() - 1];
    }
    return frames;
}

/// What is left of a stream, up to what a capture may have.
Bytes bytesOf(std::istream& input, const std::string& name) {
    Bytes bytes;
    std::array<char, 65536> chunk{};
    do {
        input.read(chunk.data(), chunk.size());
        bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + input.gcount());
        if (bytes.size() > kLargestCapture)
            throw UsageError(name + ": larger than the 64 MiB that are allowed");
    } while (input);
    return bytes;
}

std::vector<DecodedFrame> decodeInput(const Context& context) {
    const std::string& name = context.text(0);
    if (name == "-")
        return decodeCapture(bytesOf(std::cin, "standard input"), "standard input");
    if (access(name.c_str(), F_OK) != 0)
        return {decodeFrame(hexBytes(context), 0)};
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw UsageError(name + ": can not be read; allowed is a capture in pcap or pcapng format");
    return decodeCapture(bytesOf(file, name), name);
}

void decodeCommand(const Context& context) {
    const std::vector<DecodedFrame> frames = decodeInput(context);
    context.print(context.json ? decodedJson(frames) : decodedText(frames, context.style));
}

// capture ----------------------------------------------------------------------------------------

/// The file of a capture: in pcapng, with port and direction of each frame, where its name says so.
class CaptureFile {
  public:
    /// @param ports  that frames may come from, by unit
    CaptureFile(const std::string& file, const std::map<u32, std::string>& ports) {
        std::string error;
        const std::string path = file == "-" ? "/dev/stdout" : file;
        if (path.ends_with(".pcapng"))
            ported_ = platform::PcapngWriter::open(path, namesOf(ports), error);
        else
            plain_ = platform::PcapWriter::open(path, error);
        if (!ported_ && !plain_)
            throw UsageError("cannot write " + file + ": " + error +
                             "; allowed is a file, or \"-\" for the standard output");
    }

    bool write(std::span<const u8> frame, u64 timeUs, const platform::FrameOrigin& origin) {
        return plain_ ? plain_->write(frame, timeUs) : ported_->write(frame, timeUs, origin);
    }

  private:
    static std::vector<std::string> namesOf(const std::map<u32, std::string>& ports) {
        std::vector<std::string> names;
        names.reserve(ports.size());
        for (const auto& [unit, name] : ports)
            names.push_back(name);
        return names;
    }

    std::optional<platform::PcapWriter> plain_;
    std::optional<platform::PcapngWriter> ported_;
};

/// Frames of the daemon, written as they come.
class Capture {
  public:
    Capture(const Context& context, const std::string& file)
        : context_(context), file_(file), names_(portNames(context)), writer_(file, names_) {
        for (std::size_t i = 1; i < context.count(); ++i)
            units_.push_back(context.port(i).unit);
    }

    void run() {
        const auto begin = Clock::now();
        const u64 most = context_.has("count") ? context_.number("count", 1, kMostFrames)
                                               : std::numeric_limits<u64>::max();
        const auto end =
            begin + std::chrono::seconds(context_.has("seconds")
                                             ? context_.number("seconds", 1, kMostSeconds)
                                             : kMostSeconds);
        u64 since = read(platform::kNever, 0);
        if (!context_.json)
            std::cerr << "capturing to " << file_ << "; end it with Ctrl-C\n";
        while (frames_ < most && Clock::now() < end) {
            std::this_thread::sleep_for(kLookEvery);
            since = read(since, most);
        }
        if (context_.json && file_ != "-")
            context_.print(captureJson(file_, frames_, lost_));
        else
            std::cerr << frames_ << " frames, " << lost_ << " lost\n";
    }

  private:
    /// Takes the frames after `since`. @return the sequence number of the last one seen
    u64 read(u64 since, u64 most) {
        const platform::CaptureQuery query{since};
        const Reply reply =
            context_.client.exchange({platform::Request::CaptureRead, 0, 0, valueOfRecord(query)});
        throwIfRefused(reply);
        std::span<const std::byte> rest(reply.value);
        const auto header = take<platform::CaptureHeader>(rest);
        lost_ += header.lost;
        u64 last = header.count == 0 ? header.newest : since;
        for (u32 i = 0; i < header.count && frames_ < most; ++i) {
            const auto frame = take<platform::CapturedFrame>(rest);
            last = frame.sequence;
            write(frame, rest.first(std::min<std::size_t>(frame.length, rest.size())));
            rest = rest.subspan(std::min<std::size_t>(frame.length, rest.size()));
        }
        return last;
    }

    template <typename Record>
    static Record take(std::span<const std::byte>& rest) {
        Record record{};
        if (rest.size() < sizeof record)
            throw ConnectionError(
                "the daemon's answer is too short; mvrpctl and mvrp are of "
                "different versions");
        std::memcpy(&record, rest.data(), sizeof record);
        rest = rest.subspan(sizeof record);
        return record;
    }

    void write(const platform::CapturedFrame& frame, std::span<const std::byte> bytes) {
        if (!units_.empty() && std::ranges::find(units_, frame.unit) == units_.end())
            return;
        const std::span data(reinterpret_cast<const u8*>(bytes.data()), bytes.size());
        const platform::FrameOrigin origin = {
            nameOf(frame.unit),
            frame.sent != 0 ? platform::FrameWay::Sent : platform::FrameWay::Received};
        if (!writer_.write(data, frame.timeUs, origin))
            throw UsageError("cannot write " + file_ + ": the file system took it not");
        ++frames_;
    }

    static std::map<u32, std::string> portNames(const Context& context) {
        std::map<u32, std::string> names;
        for (const platform::SwitchPortRecord& port : queryPortList(context.client))
            names[port.unit] = port.name.data();
        return names;
    }

    /// A port that came later goes by its unit.
    const std::string& nameOf(u32 unit) {
        std::string& name = names_[unit];
        if (name.empty())
            name = "port " + std::to_string(unit);
        return name;
    }

    const Context& context_;
    std::string file_;
    std::map<u32, std::string> names_;  ///< of the ports, by unit
    CaptureFile writer_;
    std::vector<u32> units_;
    u64 frames_ = 0;
    u64 lost_ = 0;
};

void captureCommand(const Context& context) {
    if (context.text(0) == "-" && isatty(STDOUT_FILENO) == 1)
        throw UsageError(
            "a capture is not for a terminal; allowed is a file, or \"-\" with the "
            "standard output going to a file or a program");
    Capture(context, context.text(0)).run();
}

constexpr Command kCommands[] = {
    {"capture",
     "write the frames that the daemon sends and receives to a file; one named .pcapng has ports "
     "and "
     "directions too",
     {{{"file", "the file, or - for the standard output"},
       {"port", "only these ports", true, true}}},
     captureCommand,
     nullptr,
     {{{"--count", "N", "end after so many frames"},
       {"--seconds", "S", "end after so many seconds"}}}},
    {"decode",
     "show every VLAN and event of frames; no daemon is needed",
     {{{"file",
        "a pcap or pcapng file, - for one on the standard input, or a frame in hexadecimal"},
       {"bytes", "more of the frame", true, true}}},
     decodeCommand},
};

}  // namespace

constinit const std::span<const Command> kFrameCommands = kCommands;

}  // namespace cli
