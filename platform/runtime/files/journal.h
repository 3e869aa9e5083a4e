// SPDX-License-Identifier: MIT
//
// Lines with fields for the journal, in its native protocol: a datagram for each line, which holds
// fields as NAME=VALUE and a line end each.
#pragma once

#include <string>

#include "platform/runtime/files/descriptor.h"
#include "platform/runtime/log_line.h"

namespace platform {

inline constexpr const char* kJournalSocket = "/run/systemd/journal/socket";

/// A field MVRP_VLAN is written for each VLAN of a line, so that the journal finds it by a VLAN, up
/// to so many; MVRP_VLANS has all of them as ranges in any case.
inline constexpr u32 kMostJournalVlans = 256;

/// The datagram of a line: PRIORITY, SYSLOG_IDENTIFIER, MESSAGE, and where the line has them
/// MESSAGE_ID, MVRP_EVENT, MVRP_PORT, MVRP_UNIT, MVRP_VLANS and MVRP_VLAN.
/// @param line  its text and port without control characters
std::string journalDatagram(const LogLine& line);

class Journal final : public LineSink {
  public:
    explicit Journal(std::string path = kJournalSocket);

    bool put(const LogLine& line) override;

  private:
    const std::string path_;
    const Descriptor socket_;
};

}  // namespace platform
