// SPDX-License-Identifier: MIT
#include "daemon/core/task.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "daemon/base/info.h"
#include "daemon/base/lock.h"
#include "daemon/db/port.h"
#include "daemon/events/route.h"
#include "daemon/fsm/machine.h"
#include "daemon/pdu/frame.h"
#include "daemon/pdu/receive.h"

namespace {

constexpr s32 kIdleWaitMs = 2000;
constexpr s32 kMsPerSecond = 1000;
constexpr s32 kUsPerMs = 1000;

/// Least milliseconds part of a wait: keeps short timers from turning the loop into a busy one.
constexpr s32 kWaitFloorMs = 17;

/// Items of ancillary data start at multiples of this.
constexpr size_t kControlAlignment = 4;

timeval mvrpWaitTime(s32 nextTimeoutMs) {
    if (nextTimeoutMs < 0)
        return {kIdleWaitMs / kMsPerSecond, 0};
    const s32 milliseconds = std::max(nextTimeoutMs % kMsPerSecond, kWaitFloorMs);
    return {nextTimeoutMs / kMsPerSecond, static_cast<suseconds_t>(milliseconds) * kUsPerMs};
}

/// Keeps the packet information among the ancillary data of a frame, if there is any.
void mvrpPacketInfoFind(MvrpTask* task, size_t controlLength) {
    const std::span<const u8> control(task->control.data(),
                                      std::min(controlLength, task->control.size()));
    size_t at = 0;
    while (control.size() - at >= sizeof(QorControlHeader)) {
        QorControlHeader item;
        std::memcpy(&item, control.data() + at, sizeof(item));
        if (item.length < sizeof(item) || item.length > control.size() - at)
            return;
        if (item.level == kQorLevelPacket && item.type == kQorOptionPacketInfo) {
            const size_t bytes = std::min(item.length - sizeof(item), sizeof(task->packetInfo));
            std::memcpy(&task->packetInfo, control.data() + at + sizeof(item), bytes);
            task->packetInfoKnown = true;
            return;
        }
        const size_t step = (item.length + kControlAlignment - 1) & ~(kControlAlignment - 1);
        if (step > control.size() - at)
            return;
        at += step;
    }
}

/// Receives one frame into the task's buffer. @return the socket's result
ssize_t mvrpFrameReceive(MvrpTask* task, s32 socket) {
    iovec buffer = {task->buffer.data(), task->buffer.size()};
    msghdr message = {};
    message.msg_name = &task->source;
    message.msg_namelen = sizeof(task->source);
    message.msg_iov = &buffer;
    message.msg_iovlen = 1;
    message.msg_control = task->control.data();
    message.msg_controllen = kMvrpControlBufferBytes;

    const ssize_t received = qor_recvmsg(socket, &message, 0);
    if (received > 0)
        mvrpPacketInfoFind(task, message.msg_controllen);
    return received;
}

/// Hands the frame in the task's buffer to the PDU engine, unless the ports speak the other
/// protocol now. The peer's protocol is noted in any case.
void mvrpFrameDispatch(MvrpTask* task, ssize_t received, MvrpProtocol peer) {
    const s32 offset = task->packetInfo.pduOffset;
    const s32 length = static_cast<s32>(std::min<ssize_t>(received, kMvrpReceiveBufferBytes));
    mvrpLock();
    MvrpPortEntry* port = mvrpPortEntryGet(static_cast<u32>(task->source.interfaceIndex));
    if (port != nullptr) {
        port->peerMode = peer == MVRP_PROTOCOL_MVRP ? 1 : 0;
        if (mvrpGvrpCompliant() == (peer == MVRP_PROTOCOL_GVRP))
            mvrpPktProcess(port, task->buffer.data() + offset, length - offset);
    }
    mvrpUnlock();
}

/// @return whether the rest of the pass is to be looked at
bool mvrpMvrpFrameServe(MvrpTask* task) {
    const ssize_t received = mvrpFrameReceive(task, gMvrpInfo.mvrpDataSock);
    if (!task->packetInfoKnown)
        return true;
    // A frame for somebody else ends the pass: what else is waiting is read in the next.
    if (!std::equal(kMvrpGroupAddress.begin(), kMvrpGroupAddress.end(),
                    task->packetInfo.destination))
        return false;
    mvrpFrameDispatch(task, received, MVRP_PROTOCOL_MVRP);
    return true;
}

void mvrpGvrpFrameServe(MvrpTask* task) {
    const ssize_t received = mvrpFrameReceive(task, gMvrpInfo.gvrpDataSock);
    if (task->packetInfoKnown)
        mvrpFrameDispatch(task, received, MVRP_PROTOCOL_GVRP);
}

void mvrpRouteServe(MvrpTask* task) {
    for (;;) {
        socklen_t addressLength = sizeof(task->routeSource);
        const ssize_t received =
            qor_recvfrom(gMvrpInfo.routeSock, task->buffer.data(), task->buffer.size(), 0,
                         &task->routeSource, &addressLength);
        if (received < 1)
            return;
        const size_t length = std::min(static_cast<size_t>(received), task->buffer.size());
        mvrpLock();
        mvrpEvtNotifyRecv({task->buffer.data(), length});
        mvrpUnlock();
    }
}

}  // namespace

void mvrpTaskPass(MvrpTask* task) {
    fd_set readable;
    FD_ZERO(&readable);
    for (const s32 socket : {gMvrpInfo.routeSock, gMvrpInfo.mvrpDataSock, gMvrpInfo.gvrpDataSock}) {
        FD_SET(socket, &readable);
        task->highestSocket = std::max(task->highestSocket, socket);
    }

    mvrpLock();
    timeval wait = mvrpWaitTime(silTimerListNextTimeout(&gMvrpInfo.timerList));
    mvrpUnlock();

    const int ready = qor_select(task->highestSocket + 1, &readable, nullptr, nullptr, &wait);

    mvrpLock();
    silTimerListCheck(&gMvrpInfo.timerList);
    mvrpUnlock();

    if (ready < 0)
        return;
    if (FD_ISSET(gMvrpInfo.mvrpDataSock, &readable) && !mvrpMvrpFrameServe(task))
        return;
    if (FD_ISSET(gMvrpInfo.gvrpDataSock, &readable))
        mvrpGvrpFrameServe(task);
    if (FD_ISSET(gMvrpInfo.routeSock, &readable))
        mvrpRouteServe(task);
}

void mvrpMain(void* /*argument*/) {
    MvrpTask task = {};
    for (;;)
        mvrpTaskPass(&task);
}
