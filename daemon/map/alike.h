// SPDX-License-Identifier: MIT
//
// Ports that stand the same before one PDU is propagated stand, and send, the same afterwards: the
// others take over what became of the first of them. It holds for one PDU: what is asked of the
// targets, and of which VLANs, is no part of the comparison.
//
// Lock: gMvrpInfo.sem held by the caller, for as long as the object lives.
#pragma once

#include <cstring>

#include "daemon/db/port.h"
#include "daemon/pdu/sent_before.h"

class MvrpAlike {
  public:
    /// Whether the port stands as the last reference did, and would send what it sent.
    bool covers(const MvrpPortEntry* port) const {
        return reference_ != nullptr && (!sent_ || gMvrpSentBefore.suits(port)) &&
               std::memcmp(before_.data(), port->madMachine, before_.size()) == 0;
    }
    /// Has a port that is covered stand as the reference does now.
    void follow(MvrpPortEntry* port) const {
        if (changed_)
            std::memcpy(port->madMachine, reference_->madMachine, before_.size());
    }
    /// Whether the reference sent anything; it is kept in gMvrpSentBefore.
    bool sent() const { return sent_; }

    /// The port is about to be the reference.
    void begin(const MvrpPortEntry* port) {
        reference_ = nullptr;
        std::memcpy(before_.data(), port->madMachine, before_.size());
    }
    /// It was dealt with, and is until the next begin(). @param sent  whether it sent anything
    void finish(const MvrpPortEntry* port, bool sent) {
        if (sent && !gMvrpSentBefore.kept())
            return;
        reference_ = port;
        sent_ = sent;
        changed_ = std::memcmp(before_.data(), port->madMachine, before_.size()) != 0;
    }

  private:
    const MvrpPortEntry* reference_ = nullptr;  ///< null: there is none
    std::array<u8, kMvrpVlanCount> before_;     ///< its machines, before
    bool sent_ = false;
    bool changed_ = false;  ///< its machines became others
};
