// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/sem.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/contract/sil.h"
#include "platform/runtime/moment.h"

namespace platform {
namespace {

constexpr u32 kTimedOut = 110;

/// How deep the thread holds mutexes, as an upper bound: one that another thread deleted meanwhile
/// stays counted until somebody looks. Saves those that hold nothing the look.
thread_local u32 callerDepth = 0;

std::atomic<PutOffWork*> putOffWork{nullptr};

/// A thread that waits, on its own stack.
struct Waiter {
    std::condition_variable wake;
    std::thread::id thread;
    Waiter* next = nullptr;
    bool granted = false;
    bool deleted = false;

    bool settled() const { return granted || deleted; }
};

struct Sem {
    std::mutex guard;  // of all below
    bool exists = false;
    std::thread::id owner;  // meaningful while depth is not 0
    u32 depth = 0;
    Waiter* first = nullptr;

    bool heldByCaller() const { return depth > 0 && owner == std::this_thread::get_id(); }
};

std::array<Sem, kMaxSems>& sems() {
    static auto* table = new std::array<Sem, kMaxSems>;
    return *table;
}

Sem* semOf(u32 id) {
    return id >= 1 && id <= kMaxSems ? &sems()[id - 1] : nullptr;
}

void enqueue(Sem& sem, Waiter& waiter) {
    Waiter** end = &sem.first;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = &waiter;
}

void dequeue(Sem& sem, const Waiter& waiter) {
    for (Waiter** at = &sem.first; *at != nullptr; at = &(*at)->next)
        if (*at == &waiter) {
            *at = waiter.next;
            return;
        }
}

/// Hands a mutex whose depth came down to 0 to the thread that has waited longest.
void handOn(Sem& sem) {
    Waiter* waiter = sem.first;
    if (waiter == nullptr)
        return;
    sem.first = waiter->next;
    sem.owner = waiter->thread;
    sem.depth = 1;
    waiter->granted = true;
    waiter->wake.notify_one();
}

u32 waitFor(Sem& sem, std::unique_lock<std::mutex>& lock, s32 waitMs) {
    Waiter waiter;
    waiter.thread = std::this_thread::get_id();
    enqueue(sem, waiter);
    const auto settled = [&waiter] { return waiter.settled(); };
    if (waitMs < 0)
        waiter.wake.wait(lock, settled);
    else if (!waiter.wake.wait_for(lock, std::chrono::milliseconds(waitMs), settled)) {
        dequeue(sem, waiter);
        return kTimedOut;
    }
    return waiter.granted ? kStatusOk : kStatusFailed;
}

u32 takeLocked(Sem& sem, std::unique_lock<std::mutex>& lock, s32 waitMs) {
    if (!sem.exists)
        return kStatusFailed;
    if (sem.heldByCaller()) {
        sem.depth++;
        return kStatusOk;
    }
    if (sem.depth > 0)
        return waitMs == 0 ? kTimedOut : waitFor(sem, lock, waitMs);
    sem.owner = std::this_thread::get_id();
    sem.depth = 1;
    return kStatusOk;
}

u32 take(Sem& sem, s32 waitMs) {
    u32 status = kStatusFailed;
    {
        std::unique_lock lock(sem.guard);
        const bool waits = sem.depth > 0 && !sem.heldByCaller();
        status = takeLocked(sem, lock, waitMs);
        if (status == kStatusOk) {
            callerDepth++;
            lockTaken(waits);
        }
    }
    PutOffWork* const work = putOffWork.load(std::memory_order_acquire);
    if (status == kStatusOk && callerDepth == 1 && work != nullptr)
        work->lockComes();
    return status;
}

u32 give(Sem& sem) {
    if (PutOffWork* const work = putOffWork.load(std::memory_order_acquire))
        work->lockGoes();
    const std::lock_guard lock(sem.guard);
    if (!sem.exists || !sem.heldByCaller())
        return kStatusFailed;
    if (--callerDepth == 0)
        locksGiven();
    if (--sem.depth == 0)
        handOn(sem);
    return kStatusOk;
}

}  // namespace

void setPutOffWork(PutOffWork* work) {
    putOffWork.store(work, std::memory_order_release);
}

void finishPutOffWork() {
    if (PutOffWork* const work = putOffWork.load(std::memory_order_acquire))
        work->finish();
}

bool semHeldByCaller() {
    return callerDepth > 0;
}

u32 semReleaseHeldByCaller() {
    u32 depth = 0;
    if (callerDepth == 0)
        return depth;
    finishPutOffWork();
    callerDepth = 0;
    locksGiven();
    for (Sem& sem : sems()) {
        const std::lock_guard lock(sem.guard);
        if (!sem.heldByCaller())
            continue;
        depth += sem.depth;
        sem.depth = 0;
        handOn(sem);
    }
    return depth;
}

void semTakeAll() {
    for (Sem& sem : sems())
        take(sem, -1);
}

SemHoldAll::SemHoldAll() {
    for (u32 index = 0; index < kMaxSems; index++)
        held_[index] = take(sems()[index], -1) == kStatusOk;
}

SemHoldAll::~SemHoldAll() {
    for (u32 index = 0; index < kMaxSems; index++)
        if (held_[index])
            give(sems()[index]);
}

}  // namespace platform

using namespace platform;

u32 silCreateMSem(u32) {
    for (u32 index = 0; index < kMaxSems; index++) {
        Sem& sem = sems()[index];
        const std::lock_guard lock(sem.guard);
        if (sem.exists)
            continue;
        sem.exists = true;
        sem.depth = 0;
        return index + 1;
    }
    return 0;
}

u32 silTakeSem(u32 id, s32 waitMs) {
    Sem* sem = semOf(id);
    return sem == nullptr ? kStatusFailed : take(*sem, waitMs);
}

u32 silGiveSem(u32 id) {
    Sem* sem = semOf(id);
    return sem == nullptr ? kStatusFailed : give(*sem);
}

u32 silDeleteSem(u32 id) {
    Sem* sem = semOf(id);
    if (sem == nullptr)
        return kStatusFailed;
    const std::lock_guard lock(sem->guard);
    if (!sem->exists)
        return kStatusFailed;
    if (sem->heldByCaller())
        callerDepth -= std::min(callerDepth, sem->depth);
    if (callerDepth == 0)
        locksGiven();
    sem->exists = false;
    sem->depth = 0;
    for (Waiter* waiter = sem->first; waiter != nullptr; waiter = waiter->next) {
        waiter->deleted = true;
        waiter->wake.notify_one();
    }
    sem->first = nullptr;
    return kStatusOk;
}
