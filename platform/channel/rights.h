// SPDX-License-Identifier: MIT
//
// What a client that may only read may ask. Whatever is not named here changes something, or may.
#pragma once

#include "platform/channel/protocol.h"

namespace platform {

/// Whether a request leaves the daemon, the switch and the pair as they are. Pure.
constexpr bool onlyReads(Request request) {
    switch (request) {
        case Request::PortFirst:
        case Request::PortNext:
        case Request::PortGet:
        case Request::ScalarGet:
        case Request::HostInfo:
        case Request::PortList:
        case Request::PortVlans:
        case Request::SwitchVlans:
        case Request::PortCounters:
        case Request::PortMachines:
        case Request::Corrections:
        case Request::CorrectionLast:
        case Request::Losses:
        case Request::ShellList:
        case Request::StandbyInfo:
        case Request::PortStatistics:
        case Request::PortHistory:
        case Request::Changes:
        case Request::CaptureRead:
        case Request::ConfigSource:
        case Request::LogRead:
        case Request::Snapshot:
        case Request::ConfigPlan:
            return true;
        case Request::PortSet:
        case Request::PortSync:
        case Request::ScalarSet:
        case Request::ScalarSync:
        case Request::ShellCall:
        case Request::SwitchChange:
        case Request::StandbyTakeOver:
        case Request::StandbyAgree:
        case Request::StandbyHello:
        case Request::StandbyBeat:
        case Request::StatisticsClear:
        case Request::ConfigApply:
            break;
    }
    return false;
}

/// What a client is told that may only read and asks for more.
inline constexpr const char* kReadOnlyText =
    "this client may only read: who changes something has to be root, the daemon's own user or of "
    "the group of [command] group";

}  // namespace platform
