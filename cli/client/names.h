// SPDX-License-Identifier: MIT
//
// Words for the numbers of the command channel: modes, states, kinds, and what a refusal means.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/contract/management.h"

namespace cli {

/// One value of an enumeration and the word that people read and write for it.
using Name = MvrpWord;
using Names = std::span<const Name>;

extern const Names kOnOff;              ///< 1 on, 2 off
extern const Names kUpDown;             ///< 1 up, 0 down
extern const Names kYesNo;              ///< 1 yes, 0 no
extern const Names kRegistrationModes;  ///< Registrar Administrative Control of IEEE 802.1Q
extern const Names kParticipantModes;
extern const Names kApplicantStates;  ///< as IEEE 802.1Q names them, and VA of GARP
extern const Names kRegistrarStates;  ///< IN, LV, MT, and INF for fixed
extern const Names kVlanKinds;
extern const Names kWireForms;
extern const Names kDrivers;
extern const Names kRoles;
extern const Names kDebugCategories;  ///< one bit each

/// The word of a value, or the number when it has none.
std::string nameOf(Names names, u32 value);

/// The value of a word, or of a number that is one of the values.
std::optional<u32> valueOf(Names names, std::string_view text);

/// "a, b or c".
std::string listOf(Names names);

/// "a|b|c".
std::string syntaxOf(Names names);

/// The set bits of a debug mask as words with commas, "none" for 0.
std::string formatDebugMask(u32 mask);

/// Reads words with commas, "all", "none", or a number up to 255.
std::optional<u32> parseDebugMask(std::string_view text);

/// Of mvrpctl itself: what `wait` waited for did not come.
inline constexpr u32 kStatusTimedOut = 110;

/// What a status other than 0 means, for a person.
std::string statusText(u32 status);

/// One word for a status, for a program: "noSuchPort"; "unknown" for one that has none.
std::string_view statusName(u32 status);

}  // namespace cli
