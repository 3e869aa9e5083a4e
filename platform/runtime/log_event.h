// SPDX-License-Identifier: MIT
//
// What the log tells of, by kind: each has a word for programs and a message id, by which the
// journal finds its lines and the text of packaging/systemd/mvrp.catalog. Ids are for ever: a kind
// that goes takes its id with it.
#pragma once

#include <array>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

enum class LogEvent : u32 {
    None = 0,  ///< a line of no kind
    VlansLearnt,
    VlansLeft,
    LinkUp,
    LinkDown,
    PortAdded,
    PortRemoved,
    ProtocolOn,
    ProtocolOff,
    NeighbourFound,
    NeighbourLost,
    Setting,        ///< somebody changed something over the command channel
    ConfigChanged,  ///< a file that was read again changed something
    ConfigRefused,
    StandbyFound,
    StandbyLost,
    RoleTaken,  ///< a standby became the active
};

struct LogEventFacts {
    LogEvent event;
    std::string_view name;
    std::string_view messageId;  ///< 32 digits, as the journal writes it
};

inline constexpr std::array<LogEventFacts, 16> kLogEvents = {{
    {LogEvent::VlansLearnt, "vlans-learnt", "6a8918c0fff7411e8dbdc3152ec44ed9"},
    {LogEvent::VlansLeft, "vlans-left", "616d6396661141b598f0089bbcec3f63"},
    {LogEvent::LinkUp, "link-up", "14d8da7bbbcf4cb38cdd8fed3ccde319"},
    {LogEvent::LinkDown, "link-down", "b3fe641767ab4ed5bebfc943125fa33a"},
    {LogEvent::PortAdded, "port-added", "5f42bc6eb3664c1c8f9184d7ed847d34"},
    {LogEvent::PortRemoved, "port-removed", "fbfe79d33ad340e4a82d025e30067468"},
    {LogEvent::ProtocolOn, "protocol-on", "4e0519549c754764ba41599c8d1e8c45"},
    {LogEvent::ProtocolOff, "protocol-off", "ba9164e2e418450482c50e491eb80adb"},
    {LogEvent::NeighbourFound, "neighbour-found", "222f68979b2a44e7b00a7c71e0b5006c"},
    {LogEvent::NeighbourLost, "neighbour-lost", "e80b109cec7748d29cce040a4579731b"},
    {LogEvent::Setting, "setting", "0d964c688dbf4c82a19e7061168c9b80"},
    {LogEvent::ConfigChanged, "config-changed", "41ac6541e87740399b5ed908606f1105"},
    {LogEvent::ConfigRefused, "config-refused", "dd092d46b65b428185b56b1c5afde7ce"},
    {LogEvent::StandbyFound, "standby-found", "77b07a000ac64debbf630468da9e53c3"},
    {LogEvent::StandbyLost, "standby-lost", "4a54412d55a945aaa87abc83a9dba58e"},
    {LogEvent::RoleTaken, "role-taken", "f85939c25a7144729923181fb251d307"},
}};

/// @return its facts; null for None
constexpr const LogEventFacts* factsOf(LogEvent event) {
    const auto index = static_cast<std::size_t>(event);
    return index == 0 || index > kLogEvents.size() ? nullptr : &kLogEvents[index - 1];
}

constexpr bool logEventsInOrder() {
    u32 next = 1;
    for (const LogEventFacts& facts : kLogEvents) {
        if (static_cast<u32>(facts.event) != next++ || facts.messageId.size() != 32)
            return false;
        for (const LogEventFacts& other : kLogEvents)
            if (other.event != facts.event &&
                (other.name == facts.name || other.messageId == facts.messageId))
                return false;
    }
    return true;
}
static_assert(logEventsInOrder());

}  // namespace platform
