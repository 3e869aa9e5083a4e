// SPDX-License-Identifier: MIT
//
// The road of a sent frame: into the wire form of its port, and into its cable, in parts where it
// is too long for that.
#include <cerrno>
#include <utility>

#include "platform/net/clock.h"
#include "platform/net/frame_net.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/sem.h"
#include "platform/runtime/tasks/timer.h"
#include "platform/wire/cut.h"

namespace platform {

int FrameNet::transmit(u32 unit, std::span<const u8> frame) {
    std::array<u8, kLongestNativeFrame> converted;
    std::span<const u8> sent = frame;
    std::shared_ptr<Cable> cable;
    u32 port = 0;
    const bool mayGather = semHeldByCaller();
    std::unique_lock gathering(gatherMutex_, std::defer_lock);
    if (mayGather)
        gathering.lock();
    else
        finish();  // what was gathered goes first
    {
        const std::lock_guard lock(mutex_);
        CabledPort& own = cabledPort(unit);
        const PortAnswers& answers = answersOf(unit, own);
        if (answers.policy.unit == 0)
            return ENXIO;
        if (!answers.policy.active || answers.egress == 0)
            return 0;
        if (own.speaksIeee() && classifyFrame(frame).kind == FrameKind::NativeMvrp) {
            sent = std::span(converted).first(nativeToIeee(frame, converted));
            if (sent.empty())
                return 0;
        }
        port = answers.egress;
        if (mayGather && outlastsLock_ && gathered_->endsWith(port, sent)) {
            repeated_.fetch_add(1, std::memory_order_relaxed);
            return 0;
        }
        noteOwnAddress(unit, own, frame);
        CabledPort& cabled = cabledPort(port);
        record(cabled, sent);
        cable = cabled.cable;
    }
    if (cable == nullptr || (mayGather && gather(unit, port, cable, sent)))
        return 0;
    if (mayGather)
        gathering.unlock();
    return sendAlone(unit, port, *cable, sent);
}

int FrameNet::sendAlone(u32 unit, u32 port, Cable& cable, std::span<const u8> frame) {
    const int error = cable.send(frame, NoRoom::Keep);
    if (error == EMSGSIZE)
        return sendInParts(unit, port, cable, frame);
    noteSending(unit, port, frame, error);
    return error;
}

bool FrameNet::gather(u32 unit, u32 port, const std::shared_ptr<Cable>& cable,
                      std::span<const u8> frame) {
    const bool fits = frame.size() <= kLongestNativeFrame;
    if (!fits || gathered_->isFull())
        sendGathered();
    if (!fits ||
        (gathered_->isEmpty() && !gathered_->takesTogether(*cable) && !sockets_.framesWait()))
        return false;
    if (gathered_->isEmpty()) {
        gatheredUs_ = monotonicUs();
        gatherer_ = std::this_thread::get_id();
    }
    gathered_->add(unit, port, cable, frame);
    anyGathered_.store(true, std::memory_order_relaxed);
    return true;
}

void FrameNet::finish() {
    // What this thread has gathered it sees; what others have is theirs to send.
    if (!anyGathered_.load(std::memory_order_relaxed))
        return;
    const std::lock_guard lock(gatherMutex_);
    sendGathered();
}

void FrameNet::lockGoes() {
    if (!anyGathered_.load(std::memory_order_relaxed))
        return;
    const std::lock_guard lock(gatherMutex_);
    outlastsLock_ = sockets_.framesWait() && monotonicUs() - gatheredUs_ < kGatherUs;
    if (!outlastsLock_)
        sendGathered();
}

void FrameNet::lockComes() {
    if (!anyGathered_.load(std::memory_order_relaxed))
        return;
    const std::lock_guard lock(gatherMutex_);
    if (gatherer_ != std::this_thread::get_id())
        sendGathered();
}

void FrameNet::sendGathered() {
    if (gathered_->isEmpty())
        return;
    const std::span<SendBatch::Item> items = gathered_->send();
    const u64 nowMs = monotonicMs();
    {
        const std::lock_guard lock(mutex_);
        for (const SendBatch::Item& item : items)
            if (item.isSent)
                countSending(item.unit, item.port, item.frame, 0, nowMs);
    }
    // What is refused gets the care of a cable that sends it alone: parts, and a name for it.
    for (const SendBatch::Item& item : items)
        if (!item.isSent)
            sendAlone(item.unit, item.port, *item.cable, item.frame);
    gathered_->clear();
    outlastsLock_ = false;
    anyGathered_.store(false, std::memory_order_relaxed);
}

int FrameNet::sendInParts(u32 unit, u32 port, Cable& cable, std::span<const u8> frame) {
    std::array<u8, kLongestNativeFrame> bytes;
    std::size_t mostBytes = frame.size() / 2;
    bool isSent = false;
    for (FrameCutter cutter(frame); !cutter.done();) {
        FrameCutter after = cutter;
        const std::span<const u8> part = std::span(bytes).first(after.next(mostBytes, bytes));
        const int error = part.empty() ? EMSGSIZE : cable.send(part, NoRoom::Keep);
        if (error == EMSGSIZE && !part.empty()) {
            mostBytes /= 2;
            continue;
        }
        noteSending(unit, port, part.empty() ? frame : part, error);
        if (error != 0)
            return error;
        isSent = true;
        cutter = after;
    }
    if (!isSent) {
        noteSending(unit, port, frame, EMSGSIZE);
        return EMSGSIZE;
    }
    sayParts(port, frame.size());
    return 0;
}

void FrameNet::sayParts(u32 port, std::size_t bytes) {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(cabledPort(port).saidParts, true))
            return;
    }
    std::string name;
    driver_.portName(port, name);
    logMessage(LogPriority::Notice,
               "%s: a frame of %zu bytes does not fit the interface's MTU: such frames are sent in "
               "parts",
               name.c_str(), bytes);
}

void FrameNet::noteSending(u32 unit, u32 port, std::span<const u8> sent, int error) {
    const u64 nowMs = monotonicMs();
    {
        const std::lock_guard lock(mutex_);
        if (!countSending(unit, port, sent, error, nowMs))
            return;
    }
    logMessage(LogPriority::Error, "port %u: its frames can not be sent: %s", port,
               errorText(error).c_str());
}

bool FrameNet::countSending(u32 unit, u32 port, std::span<const u8> sent, int error, u64 nowMs) {
    if (observer_ != nullptr)
        observer_->frameSent(unit, sent, error, nowMs);
    PortCountersRecord& counters = cabledPort(unit).counters;
    if (error != 0) {
        ++counters.sendFailed;
        if (isWant(error))
            askWhenCalm(cabledPort(unit));
    } else {
        ++counters.framesOut;
        counters.bytesOut += sent.size();
    }
    // A full queue passes by itself, and is counted; a want of descriptors, or an interface that
    // not even one VLAN fits, lasts.
    const bool lasts = error == EMFILE || error == ENFILE || error == EMSGSIZE;
    return std::exchange(cabledPort(port).cableError, lasts ? error : 0) == 0 && lasts;
}

}  // namespace platform
