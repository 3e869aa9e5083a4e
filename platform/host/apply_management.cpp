// SPDX-License-Identifier: MIT
#include "platform/host/apply_management.h"

#include "platform/config/management_commands.h"
#include "platform/contract/management.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

/// Each time is checked against the others as they are at that moment, so a set of times that is
/// right as a whole may need as many rounds as there are times.
constexpr u32 kRounds = 3;

class Applier {
  public:
    explicit Applier(Dispatcher& dispatcher) : dispatcher_(dispatcher) {}

    u32 refused() const { return refused_; }

    void scalar(u32 attribute, std::optional<u32> before, std::optional<u32> wanted,
                const char* name) {
        if (!wanted || wanted == before)
            return;
        const u32 status = dispatcher_.setNumber(Request::ScalarSet, 0, attribute, *wanted);
        if (status != kStatusOk)
            report(std::string("[management] ") + name, *wanted, status);
    }

    void portEnable(u32 unit, u32 value) {
        const u32 status = dispatcher_.setNumber(Request::PortSet, unit, MVRP_PORT_ENABLE, value);
        // A port that is gone does not run the protocol.
        const bool isGone = status == MVRP_ERR_UNREADABLE || status == MVRP_ERR_NO_PORT;
        if (status != kStatusOk && !(value == MVRP_OFF && isGone))
            report("[[management.port]] unit " + std::to_string(unit) + " " + kMvrpEnableName,
                   value, status);
    }

    void portSettings(u32 unit, const PortManagement& before, const PortManagement& wanted) {
        for (u32 round = 1; round <= kRounds; round++)
            if (portRound(unit, before, wanted, round == kRounds))
                return;
    }

  private:
    /// @return whether nothing was refused
    bool portRound(u32 unit, const PortManagement& before, const PortManagement& wanted,
                   bool last) {
        bool accepted = true;
        for (std::size_t i = 0; i < kMvrpPortSettings.size(); i++) {
            const MvrpSetting& setting = kMvrpPortSettings[i];
            const std::optional<u32>& value = wanted.*kPortSettingFields[i];
            if (!value || value == before.*kPortSettingFields[i])
                continue;
            const u32 status =
                dispatcher_.setNumber(Request::PortSet, unit, setting.attribute, *value);
            if (status == kStatusOk)
                continue;
            accepted = false;
            if (last)
                report("[[management.port]] unit " + std::to_string(unit) + " " + setting.name,
                       *value, status);
        }
        return accepted;
    }

    void report(const std::string& setting, u32 value, u32 status) {
        refused_++;
        const char* text = mvrpErrorText(status);
        logMessage(LogPriority::Error,
                   "%s: the daemon refused the value %u with status %u (0x%x)%s%s", setting.c_str(),
                   value, status, status, text == nullptr ? "" : ": ", text == nullptr ? "" : text);
    }

    Dispatcher& dispatcher_;
    u32 refused_ = 0;
};

const PortManagement& settingsOf(const ManagementConfig& config, u32 unit) {
    static const PortManagement kNone;
    const auto found = config.ports.find(unit);
    return found == config.ports.end() ? kNone : found->second;
}

void disablePorts(Applier& applier, const ManagementConfig& before,
                  const ManagementConfig& wanted) {
    for (const auto& [unit, settings] : before.ports)
        if (settings.enable == MVRP_ON && settingsOf(wanted, unit).enable != MVRP_ON)
            applier.portEnable(unit, MVRP_OFF);
}

/// A port that was just enabled has the daemon's defaults.
void applyPort(Applier& applier, u32 unit, const PortManagement& before,
               const PortManagement& wanted) {
    if (wanted.enable != MVRP_ON)
        return;
    const bool fresh = before.enable != MVRP_ON;
    if (fresh)
        applier.portEnable(unit, MVRP_ON);
    applier.portSettings(unit, fresh ? PortManagement{} : before, wanted);
}

std::optional<u32> numberOf(const Dispatcher& dispatcher, Request request, u32 unit,
                            u32 attribute) {
    u32 value = 0;
    return dispatcher.callNumber(request, unit, attribute, value) == kStatusOk
               ? std::optional(value)
               : std::nullopt;
}

}  // namespace

ManagementConfig readManagement(const Dispatcher& dispatcher, std::span<const u32> units) {
    ManagementConfig now;
    now.enable = numberOf(dispatcher, Request::ScalarGet, 0, MVRP_SCALAR_ENABLE);
    now.compliance = numberOf(dispatcher, Request::ScalarGet, 0, MVRP_SCALAR_GVRP_COMPLIANCE);
    for (const u32 unit : units) {
        if (numberOf(dispatcher, Request::PortGet, unit, MVRP_PORT_ENABLE) != u32{MVRP_ON})
            continue;
        PortManagement port;
        port.enable = u32{MVRP_ON};
        for (std::size_t i = 0; i < kMvrpPortSettings.size(); i++)
            port.*kPortSettingFields[i] =
                numberOf(dispatcher, Request::PortGet, unit, kMvrpPortSettings[i].attribute);
        now.ports.emplace(unit, port);
    }
    return now;
}

u32 applyPortSettings(Dispatcher& dispatcher, u32 unit, const PortManagement& wanted) {
    Applier applier(dispatcher);
    applier.portSettings(unit, {}, wanted);
    return applier.refused();
}

u32 applyManagement(Dispatcher& dispatcher, const ManagementConfig& before,
                    const ManagementConfig& wanted) {
    Applier applier(dispatcher);
    if (wanted.enable != MVRP_ON) {
        if (before.enable == MVRP_ON)
            applier.scalar(MVRP_SCALAR_ENABLE, MVRP_ON, MVRP_OFF, kMvrpEnableName);
        return applier.refused();
    }
    // Disabling drops every port, so after it there is nothing to compare with.
    const ManagementConfig& base = before.enable == MVRP_ON ? before : ManagementConfig{};
    applier.scalar(MVRP_SCALAR_ENABLE, before.enable, MVRP_ON, kMvrpEnableName);
    disablePorts(applier, base, wanted);
    const u32 complianceBefore = base.compliance.value_or(u32{MVRP_OFF});
    applier.scalar(MVRP_SCALAR_GVRP_COMPLIANCE, complianceBefore,
                   wanted.compliance.value_or(u32{MVRP_OFF}), kMvrpComplianceName);
    for (const auto& [unit, settings] : wanted.ports)
        applyPort(applier, unit, settingsOf(base, unit), settings);
    return applier.refused();
}

}  // namespace platform
