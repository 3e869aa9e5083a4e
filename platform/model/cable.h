// SPDX-License-Identifier: MIT
//
// What a port is connected to, and how people write it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/contract/types.h"

namespace platform {

/// Longest path of a UNIX socket, without its end.
inline constexpr std::size_t kMaxSocketPath = 107;

enum class CableKind { None, Unix, Interface };

/// What a port is connected to. Written as "none", "unix:LOCAL,PEER" (paths of two datagram
/// sockets: this port's and that of the port at the other end) or "interface:NAME".
struct CableConfig {
    CableKind kind = CableKind::None;
    std::string localPath;      ///< Unix
    std::string peerPath;       ///< Unix
    std::string interfaceName;  ///< Interface
    // Of a cable that a driver plugs in by itself; a file can not say it.
    u32 interfaceIndex = 0;  ///< opened by this index, whatever its name; 0: by its name
    u32 plugging = 0;        ///< differs when the interface was made anew under its old index

    bool operator==(const CableConfig&) const = default;
};

inline constexpr const char* kCableAllowed =
    "\"none\", \"unix:LOCAL,PEER\" (two socket paths of at most 107 bytes) or \"interface:NAME\"";

/// @return the cable, or nothing when `text` is not of the form of kCableAllowed
std::optional<CableConfig> parseCable(const std::string& text);
std::string formatCable(const CableConfig& cable);

}  // namespace platform
