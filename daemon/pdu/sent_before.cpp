// SPDX-License-Identifier: MIT
#include "daemon/pdu/sent_before.h"

#include <cstring>

namespace {

/// Whether what the port sends may be kept, and repeated, at all.
bool mvrpSendsPlainly(const MvrpPortEntry* port) {
    return (gMvrpInfo.debug & MVRP_DEBUG_TRANSMIT) == 0 &&
           port->participant_mode != MVRP_PARTICIPANT_QUIET;
}

}  // namespace

MvrpSentBefore gMvrpSentBefore;

bool MvrpSentBefore::suits(const MvrpPortEntry* port) const {
    return whole_ && mtu_ == port->mtu && mvrpSendsPlainly(port);
}

bool MvrpSentBefore::fits(const MvrpPortEntry* port) const {
    return suits(port) && std::memcmp(before_.data(), port->madMachine, before_.size()) == 0;
}

void MvrpSentBefore::begin(const MvrpPortEntry* port) {
    whole_ = false;
    noting_ = mvrpSendsPlainly(port);
    if (!noting_)
        return;
    std::memcpy(before_.data(), port->madMachine, before_.size());
    mtu_ = port->mtu;
    count_ = 0;
    used_ = 0;
}

void MvrpSentBefore::note(std::span<const u8> body) {
    if (!noting_)
        return;
    if (count_ == lengths_.size() || body.size() > bodies_.size() - used_) {
        spoil();
        return;
    }
    std::memcpy(bodies_.data() + used_, body.data(), body.size());
    lengths_[count_++] = body.size();
    used_ += body.size();
}

void MvrpSentBefore::finish(const MvrpPortEntry* port) {
    whole_ = noting_;
    noting_ = false;
    if (whole_)
        std::memcpy(after_.data(), port->madMachine, after_.size());
}
