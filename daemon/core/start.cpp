// SPDX-License-Identifier: MIT
#include "daemon/core/start.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "daemon/base/info.h"
#include "daemon/base/trace.h"
#include "daemon/core/sockets.h"
#include "daemon/core/task.h"
#include "daemon/db/port.h"
#include "daemon/db/port_vlan.h"
#include "daemon/mgmt/config.h"
#include "daemon/timers/pending.h"
#include "platform/contract/icm.h"
#include "platform/contract/process.h"
#include "platform/contract/qor_hwil.h"
#include "platform/contract/qor_if.h"

namespace {

constexpr char kProcessName[] = "mvrp";
constexpr char kCommandSocketPath[] = "/tmp/mvrpcmd.socket";

constexpr u32 kSemOptions = 9;
constexpr u32 kTaskPriority = 50;
constexpr u32 kTaskStackBytes = 32768;

constexpr u32 kMaxPortNumDefault = 48;
constexpr u32 kMaxVlanNumPerIfDefault = 4094;
constexpr u32 kVlanNumPerTimesDefault = 50;
constexpr u32 kVlanNumPerTimesAggDefault = 20;

/// Level of the two operator messages.
constexpr u8 kOperatorLogLevel = 5;

constexpr std::chrono::seconds kMainSleep{10};

/// Text of one option; zeroed before it is read.
struct MvrpOptionText {
    char text[32] = {};
};

bool mvrpOptionRead(const char* key, MvrpOptionText* option) {
    return silOptRead(0, key, 0, 0, 1, option->text, sizeof(option->text) - 1) > 0;
}

/// The number an option holds, whatever atoi makes of its text, or `fallback` when it is absent.
u32 mvrpOptionNumber(const char* key, u32 fallback) {
    MvrpOptionText option;
    return mvrpOptionRead(key, &option) ? static_cast<u32>(std::atoi(option.text)) : fallback;
}

void mvrpInfoReset(u32 maxIfNum, u32 maxVlanNumPerIf) {
    std::memset(static_cast<void*>(&gMvrpInfo), 0, sizeof(gMvrpInfo));
    gMvrpInfo.corrections = correctionsWanted();
    mvrpListInit(&gMvrpInfo.portList);
    silTimerListInit(&gMvrpInfo.timerList);
    gMvrpInfo.logLevel[MVRP_LOG_PROTO_ENABLE] = kOperatorLogLevel;
    gMvrpInfo.logLevel[MVRP_LOG_PROTO_DISABLE] = kOperatorLogLevel;
    gMvrpInfo.maxPortNum = maxIfNum != 0 ? maxIfNum : kMaxPortNumDefault;
    gMvrpInfo.maxVlanNumPerIf = maxVlanNumPerIf != 0 ? maxVlanNumPerIf : kMaxVlanNumPerIfDefault;
    gMvrpInfo.debug = MVRP_DEBUG_START;
}

/// Everything that can fail. What it opened is closed by the caller.
bool mvrpResourcesOpen() {
    gMvrpInfo.sem = silCreateMSem(kSemOptions);
    if (gMvrpInfo.sem == 0) {
        mvrpStartTrace("Failed to create sem for mrp\n\r");
        return false;
    }
    if (!mvrpSocketsOpen())
        return false;

    u32 taskId = 0;
    if (silCreateTask("mvrptask", kTaskPriority, kTaskStackBytes, mvrpMain, nullptr, 0, &taskId) !=
        kStatusOk) {
        mvrpStartTrace("create task failed\n\r");
        return false;
    }
    return true;
}

}  // namespace

s32 mvrpInit(u32 maxIfNum, u32 maxVlanNumPerIf, u32 vlanNumPerTimes, u32 vlanNumPerTimesAgg) {
    mvrpInfoReset(maxIfNum, maxVlanNumPerIf);
    if (!mvrpResourcesOpen()) {
        mvrpSocketsClose();
        silDeleteSem(gMvrpInfo.sem);
        return -1;
    }

    // The protocol task runs from here on and reads the fields below as they are filled in:
    // harmless, because nothing uses them before management has enabled the protocol.
    icmProcTcpInit("mvrpcmdtask", kCommandSocketPath, gMvrpFuncMap.data(),
                   static_cast<u32>(gMvrpFuncMap.size()));
    silTimerNodeInit(&gMvrpInfo.pendingTimer);
    gMvrpInfo.pendingHandler = mvrpPendingTimerHandler;
    silTimerStart(&gMvrpInfo.timerList, &gMvrpInfo.pendingTimer, 0, kMvrpPendingIdleMs,
                  mvrpPendingTimerHandler, nullptr, nullptr, nullptr);
    gMvrpInfo.vlanNumPerTimes = static_cast<u16>(vlanNumPerTimes);
    gMvrpInfo.vlanNumPerTimesAgg = static_cast<u16>(vlanNumPerTimesAgg);
    gMvrpInfo.enable = MVRP_OFF;

    u32 protocol = kProtocolMvrp;
    qorHwilScalarSet(0, kHwilScalarProtocol, &protocol, 0);
    return 0;
}

s32 mvrpOptInit() {
    MvrpOptionText enable;
    if (mvrpOptionRead("mvrp.enable", &enable) && (enable.text[0] == 'f' || enable.text[0] == 'F'))
        return -1;

    const u32 maxIfNum = mvrpOptionNumber("mvrp.maxifnum", 0);
    const u32 maxVlanNumPerIf = mvrpOptionNumber("mvrp.maxvlannumperif", 0);
    const u32 perTimes = mvrpOptionNumber("mvrp.vlannumpertimes", kVlanNumPerTimesDefault);
    const u32 perTimesAgg = mvrpOptionNumber("mvrp.vlannumpertimesagg", kVlanNumPerTimesAggDefault);
    return mvrpInit(maxIfNum, maxVlanNumPerIf, perTimes, perTimesAgg);
}

s32 mvrpStart() {
    silCatchSegFault();
    std::signal(SIGPIPE, SIG_IGN);
    patchSignalHandler();
    procShellInit(kProcessName, 0, 0);
    return mvrpOptInit();
}

int mvrpProcessMain(int /*argc*/, char** /*argv*/) {
    if (mvrpStart() != 0)
        return -1;
    for (;;)
        std::this_thread::sleep_for(kMainSleep);
}
