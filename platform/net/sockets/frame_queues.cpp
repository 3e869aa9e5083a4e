// SPDX-License-Identifier: MIT
#include "platform/net/sockets/frame_queues.h"

#include <unistd.h>

#include <utility>

namespace platform {

FrameQueues::FrameQueues(int readyDescriptor, const Rules& rules, std::atomic<u32>* waitingBytes)
    : readyDescriptor_(readyDescriptor),
      rules_(rules),
      waitingBytes_(waitingBytes == nullptr ? &ownWaitingBytes_ : waitingBytes) {}

bool FrameQueues::push(u32 source, const FrameMeta& meta, std::span<const u8> frame) {
    // An empty ring takes any frame that is not too long, so no queue stays without one.
    if (frame.size() > FrameRing::kLongestFrame)
        return false;
    Queue* found = find(source);
    Queue& queue = found != nullptr ? *found : begin(source);
    if (!queue.ring.push(meta, frame, rules_.limitBytes))
        return false;
    const u32 frames = frames_.load(std::memory_order_relaxed);
    frames_.store(frames + 1, std::memory_order_release);
    waitingBytes_->fetch_add(static_cast<u32>(frame.size()), std::memory_order_release);
    if (frames == 0) {
        // The counter can not overflow: it goes up with the first frame and is read with the last.
        const u64 one = 1;
        [[maybe_unused]] const ssize_t written = write(readyDescriptor_, &one, sizeof one);
    }
    return true;
}

ssize_t FrameQueues::pop(FrameMeta& meta, std::span<u8> out) {
    if (turn_ == nullptr)
        return -1;
    Queue& queue = *turn_;
    turn_ = std::exchange(queue.next, nullptr);
    const ssize_t length = queue.ring.pop(meta, out);
    if (queue.ring.isEmpty())
        end(queue);
    else
        appendToTurns(queue);
    const u32 frames = frames_.load(std::memory_order_relaxed);
    frames_.store(frames - 1, std::memory_order_release);
    waitingBytes_->fetch_sub(static_cast<u32>(length), std::memory_order_release);
    if (frames == 1) {
        u64 count = 0;
        [[maybe_unused]] const ssize_t cleared = read(readyDescriptor_, &count, sizeof count);
    }
    return length;
}

FrameQueues::Queue* FrameQueues::find(u32 source) {
    Queue* queue = bucketOf(source);
    while (queue != nullptr && queue->source != source)
        queue = queue->beside;
    return queue;
}

FrameQueues::Queue& FrameQueues::begin(u32 source) {
    if (idle_ == nullptr)
        idle_ = queues_.emplace_back(std::make_unique<Queue>(rules_.guaranteedFrames)).get();
    Queue& queue = *idle_;
    idle_ = std::exchange(queue.next, nullptr);
    queue.source = source;
    queue.beside = std::exchange(bucketOf(source), &queue);
    appendToTurns(queue);
    return queue;
}

void FrameQueues::end(Queue& queue) {
    Queue** place = &bucketOf(queue.source);
    while (*place != &queue)
        place = &(*place)->beside;
    *place = std::exchange(queue.beside, nullptr);
    queue.next = std::exchange(idle_, &queue);
}

void FrameQueues::appendToTurns(Queue& queue) {
    (turn_ == nullptr ? turn_ : lastTurn_->next) = &queue;
    lastTurn_ = &queue;
}

}  // namespace platform
