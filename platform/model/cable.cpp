// SPDX-License-Identifier: MIT
#include <string_view>

#include "platform/model/cable.h"

namespace platform {
namespace {

constexpr std::string_view kNone = "none";
constexpr std::string_view kUnixPrefix = "unix:";
constexpr std::string_view kInterfacePrefix = "interface:";

/// Longest name of a kernel interface, without its end.
constexpr std::size_t kMaxInterfaceName = 15;

bool isSocketPath(const std::string& path) {
    return !path.empty() && path.size() <= kMaxSocketPath;
}

std::optional<CableConfig> parseUnixCable(const std::string& text) {
    const auto comma = text.find(',');
    if (comma == std::string::npos)
        return std::nullopt;
    CableConfig cable;
    cable.kind = CableKind::Unix;
    cable.localPath = text.substr(0, comma);
    cable.peerPath = text.substr(comma + 1);
    if (!isSocketPath(cable.localPath) || !isSocketPath(cable.peerPath) ||
        cable.localPath == cable.peerPath)
        return std::nullopt;
    return cable;
}

}  // namespace

std::optional<CableConfig> parseCable(const std::string& text) {
    if (text == kNone)
        return CableConfig{};
    if (text.starts_with(kUnixPrefix))
        return parseUnixCable(text.substr(kUnixPrefix.size()));
    if (!text.starts_with(kInterfacePrefix))
        return std::nullopt;
    CableConfig cable;
    cable.kind = CableKind::Interface;
    cable.interfaceName = text.substr(kInterfacePrefix.size());
    if (cable.interfaceName.empty() || cable.interfaceName.size() > kMaxInterfaceName)
        return std::nullopt;
    return cable;
}

std::string formatCable(const CableConfig& cable) {
    switch (cable.kind) {
        case CableKind::None:
            return std::string(kNone);
        case CableKind::Unix:
            return std::string(kUnixPrefix) + cable.localPath + "," + cable.peerPath;
        case CableKind::Interface:
            return std::string(kInterfacePrefix) + cable.interfaceName;
    }
    return {};
}

}  // namespace platform
