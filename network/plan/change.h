// SPDX-License-Identifier: MIT
//
// What is to be done to a network: changes as people write them, checked against the network that
// they are about.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "network/join/topology.h"

namespace network {

enum class ChangeKind {
    Times,    ///< of ports; before all others, so that these find the network at rest with them
    Cut,      ///< a cable goes down
    Mend,     ///< a cable comes up
    Restart,  ///< a switch goes away, and comes back with its configuration
    Delete,   ///< VLANs are static no longer
    Add,      ///< VLANs become static
};

/// Times in ms; what is not given stays.
struct NewTimes {
    std::optional<u32> joinMs{};
    std::optional<u32> leaveMs{};
    std::optional<u32> leaveAllMs{};
};

struct Change {
    ChangeKind kind = ChangeKind::Cut;
    std::size_t of = 0;               ///< switch of Restart, Delete and Add
    std::vector<std::size_t> cables;  ///< of Cut and Mend, by place in the network
    VlanBitmap vlans{};               ///< of Delete and Add
    std::vector<PortAt> ports;        ///< of Times
    NewTimes times;
    std::string text;  ///< for people: "cut a:b"
};

/// Changes as they stand on the command line, by kind.
struct ChangeWords {
    std::vector<std::string> cut;      ///< A:B; B is a port of A, or a switch
    std::vector<std::string> mend;     ///< the same
    std::vector<std::string> restart;  ///< S
    std::vector<std::string> remove;   ///< S:VLANS
    std::vector<std::string> add;      ///< S:VLANS
    std::vector<std::string> times;    ///< [S[:PORT]:]join=MS,leave=MS,leave-all=MS

    bool empty() const;
};

/// A change that the network does not allow; says what is.
class ChangeError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads changes, those of times first. Throws ChangeError.
std::vector<Change> readChanges(const Network& network, const ChangeWords& words);

/// The network as its administrators have it after a change: static VLANs, links, times. What the
/// protocol makes of it is not followed.
void applyToSettings(Network& network, const Change& change);

}  // namespace network
