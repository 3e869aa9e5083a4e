// SPDX-License-Identifier: MIT
//
// The request that asks what a configuration would change. Nothing is changed by it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/channel/dispatcher.h"
#include "platform/config/host_config.h"
#include "platform/config/load.h"
#include "platform/runtime/files/descriptor.h"
#include "platform/switch/switch_driver.h"

namespace platform {

/// What the request is about. All outlive the dispatcher, and belong to the command task.
struct PlanFacts {
    const HostConfig& running;
    const SwitchDriver& driver;
    /// The descriptor that came with the request that is being served.
    std::function<Descriptor()> takeDescriptor;
};

/// Registers ConfigPlan.
void registerPlanRequest(Dispatcher& dispatcher, const PlanFacts& facts);

/// The files of a configuration as the request carries them.
/// @return nothing when it is cut off, or has no main file
std::optional<ConfigDocuments> parsePlanDocuments(std::string_view bytes);

/// The lines of the reply. @param force  ConfigForce::Yes: what a person would insist on
std::string planLines(const PlanFacts& facts, ConfigDocuments documents, ConfigForce force);

}  // namespace platform
