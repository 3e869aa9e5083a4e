// SPDX-License-Identifier: MIT
//
// Writes to a descriptor by a thread of its own, from a ring of fixed size. Whoever puts something
// in never waits, neither for a disk nor for a reader that stands still: what finds no room is lost
// and counted.
//
// Locking: any thread; one guard, never held while something is written.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>

#include "platform/contract/types.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {

class RingWriter {
  public:
    /// What a write that fails means.
    enum class OnFailure {
        End,   ///< nothing is written any more: what would follow has lost its beginning
        GoOn,  ///< what was to be written is lost, the next may be written again
    };

    /// @param file   where it goes; the thread owns it
    /// @param bytes  that may wait
    /// @param name   of the thread
    /// @return null when there is no thread for it
    static std::unique_ptr<RingWriter> start(Descriptor file, std::size_t bytes,
                                             const std::string& name, OnFailure onFailure);
    /// What waits is still written, by the thread, which ends then.
    ~RingWriter();
    RingWriter(const RingWriter&) = delete;
    RingWriter& operator=(const RingWriter&) = delete;
    RingWriter(RingWriter&&) = delete;
    RingWriter& operator=(RingWriter&&) = delete;

    /// Takes all of it or nothing. Allocates nothing. @return whether there was room
    bool put(std::span<const u8> first, std::span<const u8> second = {});
    /// How often put() had no room since this was asked last.
    u64 takeLost();
    /// Counts as lost again what could not be told.
    void addLost(u64 count);
    /// The errno value of the write that failed; 0: none did. Nothing is written after it.
    int failure() const;
    /// Waits until all is written. @return whether it is
    bool flush(std::chrono::milliseconds within);

  private:
    /// Of both ends, so that it outlives whichever goes first.
    struct Shared {
        Shared(Descriptor out, std::size_t bytes, OnFailure action)
            : file(std::move(out)),
              onFailure(action),
              size(bytes),
              ring(std::make_unique_for_overwrite<u8[]>(bytes)) {}

        const Descriptor file;
        const OnFailure onFailure;
        const std::size_t size;
        std::mutex guard;                  ///< of all below
        std::condition_variable filled;    ///< there is something to write, or an end to it
        std::condition_variable written;   ///< nothing waits any more
        const std::unique_ptr<u8[]> ring;  ///< costs memory as far as it was filled once
        std::size_t begin = 0;             ///< of what waits
        std::size_t used = 0;              ///< bytes that wait
        u64 lost = 0;
        int failure = 0;
        bool ending = false;

        void run();
        std::span<const u8> next();
        void append(std::span<const u8> bytes);
        /// Takes off what was written, or could not be.
        void take(ssize_t count, std::size_t tried, int error);
    };

    explicit RingWriter(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}

    std::shared_ptr<Shared> shared_;
};

}  // namespace platform
