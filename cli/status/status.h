// SPDX-License-Identifier: MIT
//
// `mvrpctl status`: one page about a switch. First the verdict, which is what the doctor finds,
// then what a person asks next. Facts are collected (commands.cpp), put into the order of the page
// by a pure function, and shown as text or JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/client/queries.h"
#include "cli/doctor/doctor.h"
#include "cli/print/table.h"
#include "cli/watch/watch_output.h"

namespace cli {

struct StatusFacts {
    DaemonFacts daemon;
    std::vector<Finding> findings;  ///< the worst first
    platform::VlanBitmap staticVlans{};
    platform::VlanBitmap learntVlans{};
    std::vector<GatheredChange> changes;  ///< the newest last
};

/// Ports whose link and protocol stand alike.
struct PortsAlike {
    Cell condition{""};  ///< "link up, MVRP on"
    bool linkUp = false;
    bool runs = false;  ///< takes part in the protocol
    std::vector<std::string> names;
};

/// Who is heard on a port.
struct Peer {
    std::string port;
    std::string address;
    std::string speaks;               ///< "GVRP", or the form of MVRP: "native", "ieee"
    u64 heardMs = platform::kNever;   ///< ago
    platform::VlanBitmap declared{};  ///< what it declares and is not static here: learnt from it
};

struct StatusPage {
    /// What to do next; nothing when all is well. Its subject is that of all findings alike, as
    /// ranges: "swp3-8".
    std::optional<Finding> next;
    std::size_t more = 0;   ///< other warnings and errors
    std::size_t notes = 0;  ///< findings that need nothing to be done
    std::vector<PortsAlike> ports;
    std::vector<Peer> peers;
    std::vector<std::string>
        silent;  ///< ports that take part, whose link is up, and that hear nobody
};

StatusPage pageOf(const StatusFacts& facts);

std::string statusPageText(const StatusFacts& facts, const StatusPage& page, const Style& style);
std::string statusPageJson(const StatusFacts& facts, const StatusPage& page);

}  // namespace cli
