// SPDX-License-Identifier: MIT
//
// The vocabulary of management: what may be asked of the daemon and set, what it answers, and which
// values are allowed. This is the one place of these numbers and words. The daemon's handlers, the
// host's configuration, store and standby, the client and the planning tool read them here, and
// their help and error texts are made from it.
//
// Numbers of attributes, values, statuses and commands are on the command channel, in stores and on
// the way to a standby, where other versions read them: they are added to and never changed.
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "platform/contract/types.h"

/// Attributes of the daemon as a whole. A u32, unless it says otherwise.
enum MvrpScalar : u32 {
    MVRP_SCALAR_ENABLE = 1,           ///< MvrpSwitchState
    MVRP_SCALAR_DEBUG = 2,            ///< MvrpDebug bits
    MVRP_SCALAR_GVRP_COMPLIANCE = 3,  ///< MvrpSwitchState
    MVRP_SCALAR_SYNC_PACKET = 4,      ///< set only, QorBuffer
    MVRP_SCALAR_VERSION = 5,          ///< get only, QorBuffer
    MVRP_SCALAR_MVRP_NUM = 6,         ///< get only
    MVRP_SCALAR_ENTRY_NUM = 7,        ///< get only
    MVRP_SCALAR_STATUS = 8,           ///< set only, QorBuffer
};

/// Attributes of a port. A u32; times in ms.
enum MvrpPortAttribute : u32 {
    MVRP_PORT_ENABLE = 1,             ///< MvrpSwitchState
    MVRP_PORT_REGISTRATION_MODE = 2,  ///< MvrpRegistrationMode
    MVRP_PORT_PARTICIPANT_MODE = 3,   ///< MvrpParticipantMode
    MVRP_PORT_PERIOD_TIMEOUT = 4,
    MVRP_PORT_JOIN_TIMEOUT = 5,
    MVRP_PORT_LEAVE_TIMEOUT = 6,
    MVRP_PORT_LEAVE_ALL_TIMEOUT = 7,
    MVRP_PORT_APPLICANT = 8,       ///< get only; the value carries a VLAN ID in
    MVRP_PORT_REGISTRAR = 9,       ///< the same
    MVRP_PORT_REG_BIT = 10,        ///< the same
    MVRP_PORT_PROPAGATE_BIT = 11,  ///< the same
};

/// Command numbers of qorHwilCmdSyncApi(): the attribute plus one of these.
inline constexpr u32 kMvrpScalarCommandBase = 0xFC000;
inline constexpr u32 kMvrpPortCommandBase = 0x040A8000;

/// Statuses of the daemon's handlers, beside kStatusOk and kStatusFailed.
enum MvrpError : u32 {
    MVRP_ERR_ARGUMENT = 22,              ///< unknown attribute or bad argument
    MVRP_ERR_NO_MEMORY = 0x03E80001,     ///< memory exhausted, or the port could not be created
    MVRP_ERR_NO_PORT = 0x03E80002,       ///< no such port
    MVRP_ERR_POOL_BUSY = 0x03E80003,     ///< the pools could not be released
    MVRP_ERR_UNREADABLE = 0x03E80010,    ///< the port's eligibility could not be read
    MVRP_ERR_DISABLED = 0x03E80016,      ///< MVRP is globally disabled
    MVRP_ERR_NOT_ELIGIBLE = 0x04040002,  ///< the port may not run MVRP
    MVRP_ERR_RANGE = 0x04040003,         ///< value out of range
};

/// Values of everything that is switched; 0 only before the first enable.
enum MvrpSwitchState : u8 { MVRP_ON = 1, MVRP_OFF = 2 };

/// The Registrar Administrative Control of IEEE 802.1Q 10.7.2.
enum MvrpRegistrationMode : u8 {
    MVRP_REGISTRATION_NORMAL = 1,
    MVRP_REGISTRATION_FIXED = 2,
    MVRP_REGISTRATION_FORBIDDEN = 3,
};

/// Which applicant variant a port runs.
enum MvrpParticipantMode : u8 {
    MVRP_PARTICIPANT_FULL = 1,
    MVRP_PARTICIPANT_NO_OBSERVE = 2,  ///< a received JoinIn makes no observer of an idle applicant
    MVRP_PARTICIPANT_QUIET = 3,       ///< sends no event for a VLAN it has not registered
};

/// Bits of MVRP_SCALAR_DEBUG.
enum MvrpDebug : u8 {
    MVRP_DEBUG_RECEIVE = 0x01,   ///< received vectors, propagation of leaves
    MVRP_DEBUG_TRANSMIT = 0x02,  ///< transmission, propagation of joins, sync sending
    MVRP_DEBUG_PACKET = 0x04,    ///< PDU hex dumps, sync sending
    MVRP_DEBUG_DATABASE = 0x08,  ///< port table, pending entries, start and stop
    MVRP_DEBUG_STATE = 0x20,     ///< port and VLAN state changes, platform failures
    MVRP_DEBUG_TIMER = 0x40,
    MVRP_DEBUG_START = 0x80,  ///< start-up errors; the only bit set at start
};

/// A value and the word that people read and write for it.
struct MvrpWord {
    u32 value;
    const char* text;
};

inline constexpr std::array<MvrpWord, 2> kMvrpSwitchWords = {{{MVRP_ON, "on"}, {MVRP_OFF, "off"}}};
inline constexpr std::array<MvrpWord, 3> kMvrpRegistrationWords = {{
    {MVRP_REGISTRATION_NORMAL, "normal"},
    {MVRP_REGISTRATION_FIXED, "fixed"},
    {MVRP_REGISTRATION_FORBIDDEN, "forbidden"},
}};
inline constexpr std::array<MvrpWord, 3> kMvrpParticipantWords = {{
    {MVRP_PARTICIPANT_FULL, "full"},
    {MVRP_PARTICIPANT_NO_OBSERVE, "no-observe"},
    {MVRP_PARTICIPANT_QUIET, "quiet"},
}};
inline constexpr std::array<MvrpWord, 7> kMvrpDebugWords = {{
    {MVRP_DEBUG_RECEIVE, "receive"},
    {MVRP_DEBUG_TRANSMIT, "transmit"},
    {MVRP_DEBUG_PACKET, "packet"},
    {MVRP_DEBUG_DATABASE, "database"},
    {MVRP_DEBUG_STATE, "state"},
    {MVRP_DEBUG_TIMER, "timer"},
    {MVRP_DEBUG_START, "start"},
}};

/// What a status means to the person whose request was answered with it.
inline constexpr std::array<MvrpWord, 8> kMvrpErrorTexts = {{
    {MVRP_ERR_ARGUMENT,
     "the daemon does not know this attribute, or the value is not allowed for it"},
    {MVRP_ERR_NO_MEMORY, "no room: mvrp.maxifnum limits the number of ports that run MVRP"},
    {MVRP_ERR_NO_PORT, "MVRP is not switched on at this port"},
    {MVRP_ERR_POOL_BUSY, "the daemon could not release its memory; MVRP stays enabled"},
    {MVRP_ERR_UNREADABLE, "the switch has no such port"},
    {MVRP_ERR_DISABLED, "MVRP is switched off globally"},
    {MVRP_ERR_NOT_ELIGIBLE,
     "this port can not run MVRP: it is a member of an aggregation, or no switch port"},
    {MVRP_ERR_RANGE, "this time is out of range"},
}};

/// @return the text of a status other than kStatusOk; null for one that the daemon does not answer
constexpr const char* mvrpErrorText(u32 status) {
    for (const MvrpWord& error : kMvrpErrorTexts)
        if (error.value == status)
            return error.text;
    return status == kStatusFailed ? "the switch refused the change; the daemon's log says why"
                                   : nullptr;
}

/// A setting of a port: its name in files and commands, what a port starts with, and what it may
/// be set to, which is one of the words, or where there are none a number of milliseconds.
struct MvrpSetting {
    MvrpPortAttribute attribute;
    const char* name;
    u32 initial;
    u32 least;
    u32 most;
    std::span<const MvrpWord> words;

    constexpr bool allows(u32 value) const { return value >= least && value <= most; }
};

inline constexpr MvrpSetting kMvrpRegistration = {
    MVRP_PORT_REGISTRATION_MODE, "registration",
    MVRP_REGISTRATION_NORMAL,    MVRP_REGISTRATION_NORMAL,
    MVRP_REGISTRATION_FORBIDDEN, kMvrpRegistrationWords};
inline constexpr MvrpSetting kMvrpParticipant = {MVRP_PORT_PARTICIPANT_MODE, "participant",
                                                 MVRP_PARTICIPANT_FULL,      MVRP_PARTICIPANT_FULL,
                                                 MVRP_PARTICIPANT_QUIET,     kMvrpParticipantWords};
inline constexpr MvrpSetting kMvrpJoinTime = {
    MVRP_PORT_JOIN_TIMEOUT, "join-time", 6000, 200, 6000, {}};
inline constexpr MvrpSetting kMvrpLeaveTime = {
    MVRP_PORT_LEAVE_TIMEOUT, "leave-time", 30'000, 450, 30'000, {}};
inline constexpr MvrpSetting kMvrpLeaveAllTime = {
    MVRP_PORT_LEAVE_ALL_TIMEOUT, "leave-all-time", 120'000, 650, 327'650, {}};
/// 0 is off. The daemon takes any number; this much is what people may ask for.
inline constexpr MvrpSetting kMvrpPeriodicTime = {
    MVRP_PORT_PERIOD_TIMEOUT, "periodic-time", 1000, 0, 3'600'000, {}};

/// A leave takes at least this many joins, so that a refresh can arrive in time; and a leave-all at
/// least one leave.
inline constexpr u32 kMvrpJoinsPerLeave = 2;

/// All settings of a port but its enabling, by attribute.
inline constexpr std::array<MvrpSetting, 6> kMvrpPortSettings = {
    kMvrpRegistration, kMvrpParticipant, kMvrpPeriodicTime,
    kMvrpJoinTime,     kMvrpLeaveTime,   kMvrpLeaveAllTime,
};

/// Names of what is switched on and off: of the daemon or a port, and of the daemon.
inline constexpr const char* kMvrpEnableName = "enable";
inline constexpr const char* kMvrpComplianceName = "compliance";

constexpr bool mvrpSettingsInOrder() {
    u32 attribute = MVRP_PORT_ENABLE;
    for (const MvrpSetting& setting : kMvrpPortSettings)
        if (setting.attribute != ++attribute || !setting.allows(setting.initial))
            return false;
    return attribute == MVRP_PORT_LEAVE_ALL_TIMEOUT;
}
static_assert(mvrpSettingsInOrder());
static_assert(kMvrpJoinTime.initial * kMvrpJoinsPerLeave <= kMvrpLeaveTime.initial);
static_assert(kMvrpLeaveTime.initial <= kMvrpLeaveAllTime.initial);
