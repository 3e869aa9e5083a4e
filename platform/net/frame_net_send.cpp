// SPDX-License-Identifier: MIT
//
// The road of a sent frame: into the wire form of its port, and into its cable, in parts where it
// is too long for that.
#include <cerrno>
#include <utility>

#include "platform/net/frame_net.h"
#include "platform/runtime/log.h"
#include "platform/wire/cut.h"

namespace platform {

int FrameNet::transmit(u32 unit, std::span<const u8> frame) {
    std::array<u8, kLongestNativeFrame> converted;
    std::span<const u8> sent = frame;
    std::shared_ptr<Cable> cable;
    u32 port = 0;
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
        noteOwnAddress(unit, own, frame);
        CabledPort& cabled = cabledPort(port);
        record(cabled, sent);
        cable = cabled.cable;
    }
    const int error = cable == nullptr ? 0 : cable->send(sent, NoRoom::Keep);
    if (error == EMSGSIZE)
        return sendInParts(unit, port, *cable, sent);
    noteSending(unit, port, sent, cable != nullptr, error);
    return error;
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
        noteSending(unit, port, part.empty() ? frame : part, true, error);
        if (error != 0)
            return error;
        isSent = true;
        cutter = after;
    }
    if (!isSent) {
        noteSending(unit, port, frame, true, EMSGSIZE);
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

void FrameNet::noteSending(u32 unit, u32 port, std::span<const u8> sent, bool hasCable, int error) {
    {
        const std::lock_guard lock(mutex_);
        if (!countSending(unit, port, sent, hasCable, error))
            return;
    }
    logMessage(LogPriority::Error, "port %u: its frames can not be sent: %s", port,
               errorText(error).c_str());
}

bool FrameNet::countSending(u32 unit, u32 port, std::span<const u8> sent, bool hasCable,
                            int error) {
    if (observer_ != nullptr && hasCable)
        observer_->frameSent(unit, sent, error);
    PortCountersRecord& counters = cabledPort(unit).counters;
    if (error != 0) {
        ++counters.sendFailed;
        if (isWant(error))
            askWhenCalm(cabledPort(unit));
    } else if (hasCable) {
        ++counters.framesOut;
        counters.bytesOut += sent.size();
    }
    if (!hasCable)
        return false;
    // A full queue passes by itself, and is counted; a want of descriptors, or an interface that
    // not even one VLAN fits, lasts.
    const bool lasts = error == EMFILE || error == ENFILE || error == EMSGSIZE;
    return std::exchange(cabledPort(port).cableError, lasts ? error : 0) == 0 && lasts;
}

}  // namespace platform
