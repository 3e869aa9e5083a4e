// SPDX-License-Identifier: MIT
#include "platform/virtual/state/host.h"

#include <cstdarg>

#include "daemon/base/info.h"
#include "daemon/core/start.h"
#include "daemon/db/port_vlan.h"
#include "platform/containers/fixed_pool.h"
#include "platform/containers/timer_heap.h"
#include "platform/virtual/state/format.h"

namespace scenario {
ScenarioHost* bindScenarioHost(ScenarioHost* host) {
    return std::exchange(gBoundHost, host);
}

void traceEvent(const char* format, ...) {
    if (!tracing())
        return;
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatText(format, arguments);
    va_end(arguments);
    scenarioHost().trace.event(scenarioHost().nowMs, text);
}

void resetDaemon(ScenarioHost& host) {
    platform::timerHeapDestroy(gMvrpInfo.timerList);
    platform::fixedPoolDestroy(gMvrpInfo.portPool);
    platform::fixedPoolDestroy(gMvrpInfo.vlanPool);
    for (auto& pool : host.abandonedPools)
        platform::fixedPoolDestroy(pool);
    host.abandonedPools.clear();
    mvrpUnitPlacesFree();
    gMvrpInfo = MvrpInfo{};
    // A daemon that is configured off leaves the record as it is; empty containers keep every later
    // command of the scenario well-defined.
    mvrpListInit(&gMvrpInfo.portList);
    host.task = MvrpTask{};
    host.lockDepth = 0;
    host.started = false;
}

u32 startDaemon(ScenarioHost& host) {
    resetDaemon(host);
    host.started = true;
    return static_cast<u32>(mvrpStart());
}

}  // namespace scenario
