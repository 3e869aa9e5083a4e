// SPDX-License-Identifier: MIT
//
// Cables that can not be opened yet: of an interface that is not there, or for want of descriptors.
// The receive thread tries them again once a second.
#include <cerrno>

#include "platform/net/clock.h"
#include "platform/net/frame_net.h"
#include "platform/net/port_words.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

constexpr u64 kTryAgainUs = 1'000'000;

}  // namespace

void FrameNet::await(CabledPort& cabled, int error) {
    cabled.awaited = true;
    cabled.cableError = error;
    awaiting_ = true;
    wake();
}

void FrameNet::sayAwaited(u32 unit, const CableFailure& failure) const {
    logMessage(LogPriority::Error, "%s: %s; it is tried again until it can be opened",
               nameOf(driver_, unit).c_str(), failure.text.c_str());
}

void FrameNet::checkCable(u32 unit) {
    std::shared_ptr<Cable> gone;
    std::string cable;
    {
        const std::lock_guard lock(mutex_);
        const auto found = ports_.find(unit);
        if (found == ports_.end() || found->second.cable == nullptr ||
            !found->second.cable->isGone())
            return;
        cable = formatCable(found->second.cableConfig);
        std::string ignored;
        install(unit, found->second, gone, ignored);
        await(found->second, ENODEV);
    }
    logMessage(LogPriority::Warning, "%s: %s is gone; it is opened when it comes again",
               nameOf(driver_, unit).c_str(), cable.c_str());
}

/// An interface goes down first, which its socket tells, and then away, which it does not.
void FrameNet::checkCables() {
    if (watching_)
        for (const u32 unit : units())
            checkCable(unit);
}

int FrameNet::runAwaited() {
    if (!awaiting_ && !watching_)
        return -1;
    const u64 nowUs = monotonicUs();
    if (nowUs >= nextTryUs_) {
        nextTryUs_ = nowUs + kTryAgainUs;
        checkCables();
        {
            const std::lock_guard lock(mutex_);
            for (const auto& [unit, cabled] : ports_)
                if (cabled.awaited)
                    awaited_.emplace_back(unit, cabled.cableConfig);
            awaiting_ = !awaited_.empty();
        }
        for (const auto& [unit, config] : awaited_)
            openAwaited(unit, config);
        awaited_.clear();
    }
    return static_cast<int>((nextTryUs_ - nowUs + 999) / 1000);
}

void FrameNet::openAwaited(u32 unit, const CableConfig& config) {
    CableFailure failure;
    std::shared_ptr<Cable> cable = open(config, CableRules{}, failure);
    {
        const std::lock_guard lock(mutex_);
        const auto found = ports_.find(unit);
        // Another may have been plugged in meanwhile.
        if (found == ports_.end() || !found->second.awaited || found->second.cableConfig != config)
            return;
        std::string error;
        if (cable == nullptr || !install(unit, found->second, cable, error)) {
            await(found->second, failure.number == 0 ? ENOMEM : failure.number);
            return;
        }
    }
    logMessage(LogPriority::Notice, "%s: %s is open now", nameOf(driver_, unit).c_str(),
               formatCable(config).c_str());
    // What the daemon has declared since went nowhere.
    ask(unit, true);
}

}  // namespace platform
