// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/ring_writer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kWriterStack = 64 * 1024;
/// Written at a time, so that room comes back while much is waiting.
constexpr std::size_t kMostAtOnce = 16 * 1024;
/// A pipe that is full is asked again so often, in ms.
constexpr int kLookAgainMs = 200;

/// @return bytes written, 0 to try again, -1 with errno when it failed
ssize_t writeSome(int file, std::span<const u8> bytes) {
    const ssize_t count = write(file, bytes.data(), bytes.size());
    if (count >= 0)
        return count;
    if (errno != EAGAIN && errno != EINTR)
        return -1;
    pollfd entry{file, POLLOUT, 0};
    if (errno == EAGAIN)
        poll(&entry, 1, kLookAgainMs);
    return 0;
}

}  // namespace

std::unique_ptr<RingWriter> RingWriter::start(Descriptor file, std::size_t bytes,
                                              const std::string& name, OnFailure onFailure) {
    auto shared = std::make_shared<Shared>(std::move(file), bytes, onFailure);
    if (!startThread(name, kWriterStack, [shared] { shared->run(); }))
        return nullptr;
    return std::unique_ptr<RingWriter>(new RingWriter(std::move(shared)));
}

RingWriter::~RingWriter() {
    const std::lock_guard lock(shared_->guard);
    shared_->ending = true;
    shared_->filled.notify_all();
}

bool RingWriter::put(std::span<const u8> first, std::span<const u8> second) {
    const std::lock_guard lock(shared_->guard);
    if (shared_->failure != 0)
        return false;
    if (first.size() + second.size() > shared_->size - shared_->used) {
        shared_->lost++;
        return false;
    }
    const bool waits = shared_->used == 0;
    shared_->append(first);
    shared_->append(second);
    if (waits)
        shared_->filled.notify_one();
    return true;
}

u64 RingWriter::takeLost() {
    const std::lock_guard lock(shared_->guard);
    return std::exchange(shared_->lost, 0);
}

void RingWriter::addLost(u64 count) {
    const std::lock_guard lock(shared_->guard);
    shared_->lost += count;
}

int RingWriter::failure() const {
    const std::lock_guard lock(shared_->guard);
    return shared_->failure;
}

bool RingWriter::flush(std::chrono::milliseconds within) {
    std::unique_lock lock(shared_->guard);
    return shared_->written.wait_for(lock, within, [this] { return shared_->used == 0; });
}

void RingWriter::Shared::append(std::span<const u8> bytes) {
    while (!bytes.empty()) {
        const std::size_t end = (begin + used) % size;
        const std::size_t part = std::min(bytes.size(), size - end);
        std::copy_n(bytes.begin(), part, ring.get() + end);
        used += part;
        bytes = bytes.subspan(part);
    }
}

/// What is to be written next: it stays in place until it is taken off.
std::span<const u8> RingWriter::Shared::next() {
    return std::span<const u8>(ring.get(), size)
        .subspan(begin, std::min({used, size - begin, kMostAtOnce}));
}

void RingWriter::Shared::run() {
    std::unique_lock lock(guard);
    for (;;) {
        filled.wait(lock, [this] { return used != 0 || ending; });
        if (used == 0)
            return;
        const std::span<const u8> bytes = next();
        lock.unlock();
        const ssize_t count = writeSome(file.get(), bytes);
        const int error = errno;
        lock.lock();
        take(count, bytes.size(), error);
        if (used == 0)
            written.notify_all();
    }
}

void RingWriter::Shared::take(ssize_t count, std::size_t tried, int error) {
    std::size_t done = count < 0 ? tried : static_cast<std::size_t>(count);
    if (count < 0 && onFailure == OnFailure::GoOn) {
        lost++;
    } else if (count < 0) {
        failure = error;
        done = used;
    }
    begin = (begin + done) % size;
    used -= done;
}

}  // namespace platform
