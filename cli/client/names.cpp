// SPDX-License-Identifier: MIT
#include "cli/client/names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "platform/channel/protocol.h"
#include "platform/contract/machine_states.h"
#include "platform/contract/qor_vlan.h"

namespace cli {

namespace {

template <typename Enum>
constexpr u32 number(Enum value) {
    return static_cast<u32>(value);
}

constexpr Name kUpDownTable[] = {{1, "up"}, {0, "down"}};
constexpr Name kYesNoTable[] = {{1, "yes"}, {0, "no"}};
constexpr Name kApplicantTable[] = {
    {APP_STATE_VO, "VO"},   {APP_STATE_VP, "VP"}, {APP_STATE_VN_M, "VN"}, {APP_STATE_AN_M, "AN"},
    {APP_STATE_AA, "AA"},   {APP_STATE_QA, "QA"}, {APP_STATE_LA, "LA"},   {APP_STATE_LO, "LO"},
    {APP_STATE_AO, "AO"},   {APP_STATE_QO, "QO"}, {APP_STATE_AP, "AP"},   {APP_STATE_QP, "QP"},
    {APP_STATE_VA_G, "VA"},
};
constexpr Name kRegistrarTable[] = {
    {REG_STATE_IN, "IN"},
    {REG_STATE_LV, "LV"},
    {REG_STATE_MT, "MT"},
    {REG_STATE_INF, "INF"},
};
constexpr Name kStatuses[] = {
    {kStatusOk, "done"},
    {number(platform::HostStatus::NotAllowed), "notAllowed"},
    {number(platform::HostStatus::NoSuchPort), "noSuchPort"},
    {number(platform::HostStatus::Exists), "exists"},
    {number(platform::HostStatus::BadArgument), "badArgument"},
    {number(platform::HostStatus::Unsupported), "unsupported"},
    {MVRP_ERR_NO_MEMORY, "noRoom"},
    {MVRP_ERR_NO_PORT, "mvrpOffOnPort"},
    {MVRP_ERR_POOL_BUSY, "poolsBusy"},
    {MVRP_ERR_UNREADABLE, "portUnreadable"},
    {MVRP_ERR_DISABLED, "mvrpOff"},
    {MVRP_ERR_NOT_ELIGIBLE, "portNotEligible"},
    {MVRP_ERR_RANGE, "outOfRange"},
    {kStatusTimedOut, "timedOut"},
    {kStatusFailed, "refused"},
};
constexpr Name kVlanKindTable[] = {
    {number(QorVlanType::Static), "static"},
    {number(QorVlanType::Dynamic), "dynamic"},
};
constexpr Name kWireFormTable[] = {
    {number(platform::WireForm::Native), "native"},
    {number(platform::WireForm::Ieee), "ieee"},
    {number(platform::WireForm::Auto), "auto"},
};
constexpr Name kDriverTable[] = {
    {number(platform::DriverKind::SoftwareSwitch), "software switch"},
    {number(platform::DriverKind::LinuxBridge), "Linux bridge"},
};
constexpr Name kRoleTable[] = {
    {number(platform::HostRole::Active), "active"},
    {number(platform::HostRole::Standby), "standby"},
};
constexpr u32 kDebugMaskLimit = 255;

std::string joined(Names names, const char* between, const char* last) {
    std::string text;
    for (const Name& name : names) {
        if (!text.empty())
            text += &name == &names.back() ? last : between;
        text += name.text;
    }
    return text;
}

std::optional<u32> parseNumber(std::string_view text) {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const std::string_view digits = hex ? text.substr(2) : text;
    u32 value = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), value, hex ? 16 : 10);
    if (digits.empty() || error != std::errc() || end != digits.end())
        return std::nullopt;
    return value;
}

}  // namespace

constinit const Names kOnOff = kMvrpSwitchWords;
constinit const Names kUpDown = kUpDownTable;
constinit const Names kYesNo = kYesNoTable;
constinit const Names kRegistrationModes = kMvrpRegistrationWords;
constinit const Names kParticipantModes = kMvrpParticipantWords;
constinit const Names kApplicantStates = kApplicantTable;
constinit const Names kRegistrarStates = kRegistrarTable;
constinit const Names kVlanKinds = kVlanKindTable;
constinit const Names kWireForms = kWireFormTable;
constinit const Names kDrivers = kDriverTable;
constinit const Names kRoles = kRoleTable;
constinit const Names kDebugCategories = kMvrpDebugWords;

std::string nameOf(Names names, u32 value) {
    const auto found = std::ranges::find(names, value, &Name::value);
    return found == names.end() ? std::to_string(value) : found->text;
}

std::optional<u32> valueOf(Names names, std::string_view text) {
    const std::optional<u32> asNumber = parseNumber(text);
    for (const Name& name : names)
        if (text == name.text || asNumber == name.value)
            return name.value;
    return std::nullopt;
}

std::string listOf(Names names) {
    return joined(names, ", ", " or ");
}

std::string syntaxOf(Names names) {
    return joined(names, "|", "|");
}

std::string formatDebugMask(u32 mask) {
    std::string text;
    for (const Name& category : kDebugCategories)
        if ((mask & category.value) != 0)
            text += (text.empty() ? "" : ",") + std::string(category.text);
    return text.empty() ? "none" : text;
}

std::optional<u32> parseDebugMask(std::string_view text) {
    if (text == "none")
        return 0;
    if (text == "all")
        return kDebugMaskLimit;
    if (const std::optional<u32> mask = parseNumber(text))
        return *mask <= kDebugMaskLimit ? mask : std::nullopt;
    u32 mask = 0;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        const std::string_view word = text.substr(start, comma - start);
        const auto found = std::ranges::find(kDebugCategories, word, &Name::text);
        if (found == kDebugCategories.end())
            return std::nullopt;
        mask |= found->value;
        start = comma + 1;
    }
    return mask;
}

std::string_view statusName(u32 status) {
    const auto found = std::ranges::find(kStatuses, status, &Name::value);
    return found == std::end(kStatuses) ? "unknown" : found->text;
}

std::string statusText(u32 status) {
    if (status == kStatusOk)
        return "success";
    if (status == MVRP_ERR_DISABLED)
        return std::string(mvrpErrorText(status)) + "; `set global enable on` comes first";
    if (const char* text = mvrpErrorText(status))
        return text;
    switch (static_cast<platform::HostStatus>(status)) {
        case platform::HostStatus::NotAllowed:
            return "you may only read: who changes something has to be root, the daemon's own user "
                   "or "
                   "of the group of [command] group";
        case platform::HostStatus::NoSuchPort:
            return "the switch has no such port";
        case platform::HostStatus::Unsupported:
            return "this daemon's switch driver can not do that";
        case platform::HostStatus::Exists:
            return "it exists already";
        case platform::HostStatus::Ok:
        case platform::HostStatus::BadArgument:
            break;
    }
    if (status == kStatusTimedOut)
        return "what was waited for did not happen in time";
    std::array<char, 16> hex{};
    std::snprintf(hex.data(), hex.size(), "0x%08X", status);
    return std::string("the daemon refused it with status ") + hex.data() +
           ", which has no name; mvrpctl and mvrp may be of different versions";
}

}  // namespace cli
