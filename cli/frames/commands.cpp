// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <thread>

#include "cli/client/observed.h"
#include "cli/commands/commands.h"
#include "cli/frames/decode.h"
#include "cli/views/json.h"
#include "platform/wire/pcap.h"

namespace cli {

namespace {

using Bytes = std::vector<u8>;
using Clock = std::chrono::steady_clock;

constexpr u64 kMostFrames = 1'000'000'000;
constexpr u64 kMostSeconds = u64{86'400} * 30;
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
            "a pcap file, \"-\" for one on the standard input, or whole bytes such as "
            "0180c2000021...");
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<u8>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::vector<DecodedFrame> decodePcap(const std::optional<platform::PcapFrames>& capture,
                                     const std::string& name, const std::string& error) {
    if (!capture)
        throw UsageError(name + ": " + error + "; allowed is a capture in pcap or pcapng format");
    std::vector<DecodedFrame> frames;
    for (const platform::PcapFrames::Record& record : capture->records)
        frames.push_back(decodeFrame(capture->frame(record), record.timeUs));
    return frames;
}

std::vector<DecodedFrame> decodeInput(const Context& context) {
    std::string error;
    if (context.text(0) == "-") {
        Bytes bytes{std::istreambuf_iterator<char>(std::cin), {}};
        return decodePcap(platform::parsePcap(std::move(bytes), error), "standard input", error);
    }
    if (access(context.text(0).c_str(), F_OK) == 0)
        return decodePcap(platform::readPcap(context.text(0), error), context.text(0), error);
    return {decodeFrame(hexBytes(context), 0)};
}

void decodeCommand(const Context& context) {
    const std::vector<DecodedFrame> frames = decodeInput(context);
    context.print(context.json ? decodedJson(frames) : decodedText(frames, context.style));
}

// capture ----------------------------------------------------------------------------------------

/// Frames of the daemon, written as they come.
class Capture {
  public:
    Capture(const Context& context, const std::string& file)
        : context_(context), file_(file), writer_(open(file)) {
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
    static platform::PcapWriter open(const std::string& file) {
        std::string error;
        const std::string path = file == "-" ? "/dev/stdout" : file;
        auto writer = platform::PcapWriter::open(path, error);
        if (!writer)
            throw UsageError("cannot write " + file + ": " + error +
                             "; allowed is a file, or \"-\" for the standard output");
        return std::move(*writer);
    }

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
        if (!writer_.write(data, frame.timeUs))
            throw UsageError("cannot write " + file_ + ": the file system took it not");
        ++frames_;
    }

    const Context& context_;
    std::string file_;
    platform::PcapWriter writer_;
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
     "write the frames that the daemon sends and receives to a pcap file",
     {{{"file", "the file, or - for the standard output"},
       {"port", "only these ports", true, true}}},
     captureCommand,
     nullptr,
     {{{"--count", "N", "end after so many frames"},
       {"--seconds", "S", "end after so many seconds"}}}},
    {"decode",
     "show every VLAN and event of frames; no daemon is needed",
     {{{"file", "a pcap file, - for one on the standard input, or a frame in hexadecimal"},
       {"bytes", "more of the frame", true, true}}},
     decodeCommand},
};

}  // namespace

constinit const std::span<const Command> kFrameCommands = kCommands;

}  // namespace cli
