// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/log_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "platform/runtime/files/journal.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/ring_writer.h"

namespace platform {
namespace {

/// What may wait for a reader of the log, and of the console each.
constexpr std::size_t kRingBytes = std::size_t{256} * 1024;

std::atomic<u64> gLostLines = 0;

std::span<const u8> bytesOf(std::string_view text) {
    return {reinterpret_cast<const u8*>(text.data()), text.size()};
}

std::unique_ptr<RingWriter> startWriter(int file, const char* name) {
    Descriptor own(fcntl(file, F_DUPFD_CLOEXEC, 0));
    return own.isOpen()
               ? RingWriter::start(std::move(own), kRingBytes, name, RingWriter::OnFailure::GoOn)
               : nullptr;
}

class RingSink final : public ConsoleSink {
  public:
    RingSink(std::unique_ptr<RingWriter> log, std::unique_ptr<RingWriter> output)
        : log_(std::move(log)), output_(std::move(output)) {}

    bool put(ConsoleStream stream, std::string_view text) override {
        if (stream == ConsoleStream::Output)
            return output_->put(bytesOf(text));
        // In place of what was left out.
        if (const u64 lost = log_->takeLost(); lost != 0 && !tellLost(lost))
            log_->addLost(lost);
        const bool kept = log_->put(bytesOf(text));
        if (!kept)
            gLostLines.fetch_add(1, std::memory_order_relaxed);
        return kept;
    }

    bool flush(std::chrono::milliseconds within) override {
        const bool printed = output_->flush(within);
        return log_->flush(within) && printed;
    }

  private:
    /// @return whether there was room to say so
    bool tellLost(u64 lost) {
        std::array<char, kMaxLogLine> line;
        const u32 length = formatLogLine(
            line.data(), logForm(), LogPriority::Warning, 0,
            std::to_string(lost) + " lines are not in the log: what reads it was too slow");
        return log_->put(bytesOf({line.data(), length}));
    }

    const std::unique_ptr<RingWriter> log_;
    const std::unique_ptr<RingWriter> output_;
};

}  // namespace

void startLogWriter() {
    auto log = startWriter(STDERR_FILENO, "mvrplog");
    auto output = startWriter(STDOUT_FILENO, "mvrpconsole");
    if (logForm() == LogForm::Journal)
        setLineSink(std::make_unique<Journal>());
    if (log != nullptr && output != nullptr)
        setConsoleSink(std::make_unique<RingSink>(std::move(log), std::move(output)));
}

u64 lostLogLines() {
    return gLostLines.load(std::memory_order_relaxed);
}

}  // namespace platform
