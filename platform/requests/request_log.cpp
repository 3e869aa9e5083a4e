// SPDX-License-Identifier: MIT
#include "platform/requests/request_log.h"

#include <algorithm>
#include <cstring>

#include "platform/contract/management.h"
#include "platform/model/cable.h"
#include "platform/net/port_words.h"
#include "platform/runtime/log_line.h"

namespace platform {
namespace {

std::string wordOf(std::span<const MvrpWord> words, u32 value) {
    const auto word = std::ranges::find(words, value, &MvrpWord::value);
    return word == words.end() ? std::to_string(value) : word->text;
}

std::string maskWords(u32 mask) {
    std::string text;
    for (const MvrpWord& word : kMvrpDebugWords)
        if ((mask & word.value) != 0)
            text += (text.empty() ? "" : ",") + std::string(word.text);
    return text.empty() ? "none" : text;
}

std::string vlansText(const VlanBitmap& vlans) {
    constexpr std::size_t kMost = 160;
    std::string text = formatVlanRanges(vlans);
    if (text.size() > kMost) {
        text.resize(text.rfind(',', kMost) + 1);
        text += "...";
    }
    return text;
}

std::string numberOrNone(u32 number) {
    return number == 0 ? "none" : std::to_string(number);
}

std::string formWord(WireForm form) {
    return form == WireForm::Native ? "native" : form == WireForm::Ieee ? "ieee" : "auto";
}

template <typename Record>
std::optional<Record> recordOf(std::span<const u8> value) {
    Record record{};
    if (value.size() != sizeof record)
        return std::nullopt;
    std::memcpy(&record, value.data(), sizeof record);
    return record;
}

template <std::size_t size>
std::string textOf(const std::array<char, size>& text) {
    return {text.begin(), std::ranges::find(text, '\0')};
}

std::string deedOf(const SwitchChangeRecord& change) {
    const std::string vlans = vlansText(change.vlans);
    switch (static_cast<SwitchChangeKind>(change.kind)) {
        case SwitchChangeKind::PortAdd:
            return "port " + std::to_string(change.unit) + " (" + textOf(change.text) + ") added";
        case SwitchChangeKind::PortDelete:
            return "the port is deleted";
        case SwitchChangeKind::PortReset:
            return "the port is reset";
        case SwitchChangeKind::PortReplay:
            return textOf(change.text) + " is replayed";
        case SwitchChangeKind::PortRecord:
            return change.text.front() == '\0' ? "the recording is ended"
                                               : "recorded to " + textOf(change.text);
        case SwitchChangeKind::PortRepair:
            return "the neighbours are asked to declare again";
        case SwitchChangeKind::VlanCreate:
            return "VLANs " + vlans + " created";
        case SwitchChangeKind::VlanDelete:
            return "VLANs " + vlans + " deleted";
        case SwitchChangeKind::VlanType:
            return "VLANs " + vlans + " made " +
                   (change.value == static_cast<u32>(QorVlanType::Dynamic) ? "dynamic" : "static");
        case SwitchChangeKind::TunnelMac:
            return std::string(change.value == 1 ? "the tunnel takes " : "the tunnel gives back ") +
                   formatMac(change.mac);
        default:
            return {};
    }
}

/// Of a change that has VLANs which it is about, rather than a list that it replaces.
bool isAboutVlans(const SwitchChangeRecord& change) {
    switch (static_cast<SwitchChangeKind>(change.kind)) {
        case SwitchChangeKind::VlanCreate:
        case SwitchChangeKind::VlanDelete:
        case SwitchChangeKind::VlanType:
        case SwitchChangeKind::VlanAddPort:
        case SwitchChangeKind::VlanRemovePort:
            return true;
        default:
            return false;
    }
}

std::optional<SwitchChangeRecord> changeOf(const RequestHeader& header, std::span<const u8> value) {
    return header.request == static_cast<u32>(Request::SwitchChange)
               ? recordOf<SwitchChangeRecord>(value)
               : std::nullopt;
}

/// The unit that a request is about; 0: none.
u32 unitOf(const RequestHeader& header, std::span<const u8> value) {
    const auto change = changeOf(header, value);
    return change ? change->unit : header.unit;
}

}  // namespace

std::string deedOf(const RequestHeader& header, std::span<const u8> value) {
    switch (static_cast<Request>(header.request)) {
        case Request::SwitchChange: {
            const auto change = changeOf(header, value);
            return change ? deedOf(*change) : std::string();
        }
        case Request::StatisticsClear:
            return "counted from zero";
        case Request::ShellCall: {
            const auto call = recordOf<ShellCallRecord>(value);
            return call ? "debug function " + textOf(call->name) + " called" : std::string();
        }
        case Request::StandbyTakeOver:
            return "take-over asked for";
        case Request::ConfigApply:
            return "the configuration read again";
        default:
            return {};
    }
}

std::optional<u32> RequestLog::read(Request request, u32 unit, u32 attribute) const {
    u32 value = 0;
    return dispatcher_.callNumber(request, unit, attribute, value) == kStatusOk
               ? std::optional(value)
               : std::nullopt;
}

std::optional<RequestLog::Setting> RequestLog::portSetting(u32 unit, u32 attribute) const {
    if (attribute == MVRP_PORT_ENABLE) {
        const bool on = read(Request::PortGet, unit, attribute) == u32{MVRP_ON};
        return Setting{"mvrp", on ? "on" : "off", unit};
    }
    const auto setting = std::ranges::find(
        kMvrpPortSettings, attribute, [](const MvrpSetting& each) { return u32{each.attribute}; });
    if (setting == kMvrpPortSettings.end())
        return std::nullopt;
    const auto value = read(Request::PortGet, unit, attribute);
    return Setting{setting->name, value ? wordOf(setting->words, *value) : "not set", unit};
}

std::optional<RequestLog::Setting> RequestLog::scalarSetting(u32 attribute) const {
    // Asked only of those that are numbers: other scalars answer with more.
    const auto value = [this, attribute] {
        return read(Request::ScalarGet, 0, attribute).value_or(0);
    };
    switch (attribute) {
        case MVRP_SCALAR_ENABLE:
            return Setting{std::string("global ") + kMvrpEnableName,
                           wordOf(kMvrpSwitchWords, value())};
        case MVRP_SCALAR_GVRP_COMPLIANCE:
            return Setting{std::string("global ") + kMvrpComplianceName,
                           wordOf(kMvrpSwitchWords, value())};
        case MVRP_SCALAR_DEBUG:
            return Setting{"debug", maskWords(value())};
        default:
            return std::nullopt;
    }
}

std::optional<RequestLog::Setting> RequestLog::switchSetting(
    const SwitchChangeRecord& change) const {
    const u32 unit = change.unit;
    PortState state{};
    driver_.portState(unit, state);
    switch (static_cast<SwitchChangeKind>(change.kind)) {
        case SwitchChangeKind::PortLink:
            return Setting{"link", state.linkUp ? "up" : "down", unit};
        case SwitchChangeKind::PortPvid:
            return Setting{"pvid", std::to_string(state.pvid), unit};
        case SwitchChangeKind::PortEligible:
            return Setting{"eligible", state.eligible ? "yes" : "no", unit};
        case SwitchChangeKind::PortPermit:
        case SwitchChangeKind::VlanAddPort:
        case SwitchChangeKind::VlanRemovePort: {
            VlanBitmap vlans{};
            driver_.portVlans(unit, VlanSet::PermittedTagged, vlans);
            return Setting{"permit", vlansText(vlans), unit};
        }
        case SwitchChangeKind::PortJoinAgg:
        case SwitchChangeKind::PortLeaveAgg: {
            const auto port = driver_.listPorts(unit - 1, 1);
            return Setting{"aggregation", numberOrNone(port.empty() ? 0 : port[0].aggregation),
                           unit};
        }
        case SwitchChangeKind::PortCable:
            return Setting{"cable", cables_.cableState(unit).cable, unit};
        case SwitchChangeKind::PortWireForm:
            return Setting{"wire-format", formWord(cables_.cableState(unit).form), unit};
        default:
            return std::nullopt;
    }
}

std::optional<RequestLog::Setting> RequestLog::settingOf(const RequestHeader& header,
                                                         std::span<const u8> value) const {
    switch (static_cast<Request>(header.request)) {
        case Request::PortSet:
            return portSetting(header.unit, header.attribute);
        case Request::ScalarSet:
            return scalarSetting(header.attribute);
        case Request::SwitchChange: {
            const auto change = changeOf(header, value);
            return change ? switchSetting(*change) : std::nullopt;
        }
        default:
            return std::nullopt;
    }
}

u32 RequestLog::serve(const std::string& who, const RequestHeader& header,
                      std::span<const u8> value, std::vector<u8>& reply) {
    if (who.empty())
        return dispatcher_.dispatch(header, value, reply);
    std::string deed = deedOf(header, value);
    const auto before = deed.empty() ? settingOf(header, value) : std::nullopt;
    // As it is called now: what the request does may delete it.
    std::string port;
    driver_.portName(unitOf(header, value), port);
    const u32 status = dispatcher_.dispatch(header, value, reply);
    if (status != kStatusOk)
        return status;
    if (const auto after = before ? settingOf(header, value) : std::nullopt)
        if (after->value != before->value)
            deed = before->name + " " + before->value + " -> " + after->value;
    if (!deed.empty())
        say(header, value, port, deed + ", by " + who);
    return status;
}

void RequestLog::say(const RequestHeader& header, std::span<const u8> value,
                     const std::string& port, const std::string& deed) {
    const auto change = changeOf(header, value);
    const std::string text = (port.empty() ? "" : port + ": ") + deed;
    writeLog({.event = LogEvent::Setting,
              .unit = unitOf(header, value),
              .port = port,
              .vlans = change && isAboutVlans(*change) ? &change->vlans : nullptr,
              .text = text});
}

}  // namespace platform
