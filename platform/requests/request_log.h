// SPDX-License-Identifier: MIT
//
// Who set what over the command channel: a line of the log for each request that changed something,
// with the value before and after. What is refused changes nothing, and is not logged.
//
// Called by the command task, without the daemon's lock.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/channel/dispatcher.h"
#include "platform/net/port_cables.h"
#include "platform/switch/switch_driver.h"

namespace platform {

class RequestLog {
  public:
    /// All outlive it.
    RequestLog(Dispatcher& dispatcher, const SwitchDriver& driver, const PortCables& cables)
        : dispatcher_(dispatcher), driver_(driver), cables_(cables) {}

    /// Dispatches the request and says what it changed.
    /// @param who  whose request it is, for the log; empty: nobody's, and nothing is said
    /// @return the status, as Dispatcher::dispatch()
    u32 serve(const std::string& who, const RequestHeader& header, std::span<const u8> value,
              std::vector<u8>& reply);

  private:
    /// What a setting is called, and as what it reads now.
    struct Setting {
        std::string name;
        std::string value;
        u32 unit = 0;
    };

    /// @return nothing for a request that changes no setting that can be read
    std::optional<Setting> settingOf(const RequestHeader& header, std::span<const u8> value) const;
    std::optional<Setting> portSetting(u32 unit, u32 attribute) const;
    std::optional<Setting> scalarSetting(u32 attribute) const;
    std::optional<Setting> switchSetting(const SwitchChangeRecord& change) const;
    std::optional<u32> read(Request request, u32 unit, u32 attribute) const;
    static void say(const RequestHeader& header, std::span<const u8> value, const std::string& port,
                    const std::string& deed);

    Dispatcher& dispatcher_;
    const SwitchDriver& driver_;
    const PortCables& cables_;
};

/// What a request without a value that can be read does, for the log: "VLANs 10-12 created".
/// @return empty for one that changes nothing, or whose value says more
std::string deedOf(const RequestHeader& header, std::span<const u8> value);

}  // namespace platform
