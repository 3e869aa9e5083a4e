// SPDX-License-Identifier: MIT
//
// What the program prints: text for people, and JSON.
#pragma once

#include <string>
#include <vector>

#include "cli/print/table.h"
#include "network/check/finding.h"
#include "network/diff/diff.h"
#include "network/explain/way.h"

namespace network {

/// How a cable is known: "heard both ways, LLDP".
std::string evidenceText(const Evidence& evidence);
std::string topologyText(const Network& network, const cli::Style& style);
std::string topologyJson(const Network& network);

std::string findingsText(const Network& network, const std::vector<Finding>& findings,
                         const cli::Style& style);
std::string findingsJson(const Network& network, const std::vector<Finding>& findings);

struct Explained {
    u32 vid = 0;
    std::vector<std::string> wanted;
    std::vector<Way> ways;
};
std::string explainText(const Network& network, const Explained& explained,
                        const cli::Style& style);
std::string explainJson(const Network& network, const Explained& explained);

std::string differencesText(const std::vector<Difference>& differences, const cli::Style& style);
std::string differencesJson(const std::vector<Difference>& differences);

}  // namespace network
