// SPDX-License-Identifier: MIT
//
// What a port declared last, and from which machines. Ports of one switch mostly declare the same:
// one that stands as the last did sends the same PDUs and stands as that did afterwards, without
// building them again.
//
// Only what follows from the machines and the MTU alone is kept: nothing that was traced, that
// asked the switch, or that depends on the participant mode. Lock: gMvrpInfo.sem held by the
// caller. Memory: static, none is allocated.
#pragma once

#include <cstring>

#include "daemon/db/port.h"
#include "daemon/pdu/frame.h"

class MvrpSentBefore {
  public:
    /// Whether the port would send what is kept.
    bool fits(const MvrpPortEntry* port) const;
    /// Whether there is something to repeat: what was sent last.
    bool kept() const { return whole_; }
    /// Whether the port would send what is kept if it stood as that one did.
    bool suits(const MvrpPortEntry* port) const;
    /// Calls `send` with each PDU, once the port stands as if it had built them.
    template <class Send>
    void repeat(MvrpPortEntry* port, Send send) const {
        std::memcpy(port->madMachine, after_.data(), after_.size());
        forEach(send);
    }
    /// Calls `send` with each PDU.
    template <class Send>
    void forEach(Send send) const {
        size_t at = 0;
        for (u32 i = 0; i < count_; ++i) {
            send(std::span<const u8>(bodies_).subspan(at, lengths_[i]));
            at += lengths_[i];
        }
    }

    /// From here on what the port sends is noted, until finish().
    void begin(const MvrpPortEntry* port);
    void note(std::span<const u8> body);
    /// What is being sent depends on more than it may.
    void spoil() { noting_ = false; }
    void finish(const MvrpPortEntry* port);

  private:
    using Machines = std::array<u8, kMvrpVlanCount>;
    static constexpr u32 kMostPdus = 8;

    Machines before_;
    Machines after_;
    std::array<u8, size_t{kMostPdus} * kMvrpPduBytes> bodies_;
    std::array<size_t, kMostPdus> lengths_;  ///< bytes of each body
    u32 count_ = 0;
    size_t used_ = 0;  ///< bytes of all bodies
    u16 mtu_ = 0;
    bool noting_ = false;
    bool whole_ = false;  ///< there is something to repeat
};

extern MvrpSentBefore gMvrpSentBefore;
