// SPDX-License-Identifier: MIT
//
// Memory pools of the scenario host: the shared fixed-size pools, with failures on demand.
#include "daemon/base/info.h"
#include "platform/containers/fixed_pool.h"
#include "platform/contract/sil.h"
#include "platform/virtual/state/host.h"

using scenario::scenarioHost;
using scenario::traceEvent;

namespace {

const char* nameOf(const SilMemPool* pool) {
    return pool == &gMvrpInfo.portPool ? "mvrp_port" : "mvrp_vlan";
}

bool holds(const SilMemPool& pool, const void* item) {
    const auto offset =
        reinterpret_cast<std::uintptr_t>(item) - reinterpret_cast<std::uintptr_t>(pool.items);
    return pool.items != nullptr && offset < std::size_t{pool.itemSize} * pool.untouched;
}

}  // namespace

u32 silMemPoolInit(SilMemPool* pool, const char* name, u32 count, u32 itemSize, u32) {
    traceEvent("pool init %s %u %u", name, count, itemSize);
    if (const auto failure = scenarioHost().failures.take("poolinit", {name}))
        return *failure;
    if (pool->items != nullptr)  // a scenario may force the global enable on
        scenarioHost().abandonedPools.push_back(*pool);
    return platform::fixedPoolInit(*pool, name, count, itemSize) ? kStatusOk : kStatusFailed;
}

void* silMemPoolAlloc(SilMemPool* pool, u32) {
    const bool failed = scenarioHost().failures.take("poolalloc", {nameOf(pool)}).has_value();
    void* item = failed ? nullptr : platform::fixedPoolAlloc(*pool);
    traceEvent("pool alloc %s %s", nameOf(pool), item != nullptr ? "ok" : "none");
    return item;
}

void silMemPoolFree(SilMemPool* pool, void* item) {
    traceEvent("pool free %s", nameOf(pool));
    if (holds(*pool, item))  // else an item of an abandoned pool
        platform::fixedPoolFree(*pool, item);
}

u32 silMemPoolDestroy(SilMemPool* pool) {
    traceEvent("pool destroy %s", nameOf(pool));
    if (const auto failure = scenarioHost().failures.take("pooldestroy", {nameOf(pool)}))
        return *failure;
    platform::fixedPoolDestroy(*pool);
    return kStatusOk;
}
