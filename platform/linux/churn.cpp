// SPDX-License-Identifier: MIT
#include "platform/linux/churn.h"

#include <algorithm>

namespace platform {
namespace {

/// Collects what later events about the same thing said: an earlier one is history.
class Later {
  public:
    /// @return whether this is the last word about the index
    bool isLast(u32 index) {
        if (std::ranges::find(seen_, index) != seen_.end())
            return false;
        seen_.push_back(index);
        return true;
    }

  private:
    std::vector<u32> seen_;
};

bool concernsBridge(const KernelLink& link, const BridgeBook& book, const std::string& bridge) {
    return link.name == bridge || (book.bridge.index != 0 && (link.index == book.bridge.index ||
                                                              link.master == book.bridge.index));
}

bool isAsKnown(const KernelLink& link, const BridgeBook& book) {
    if (link.index == book.bridge.index)
        return link == book.bridge;
    const BridgePort* port = book.find(link.index);
    return port != nullptr && link == port->link;
}

bool isAsKnown(const KernelVlans& vlans, const BridgeBook& book) {
    if (vlans.index == book.bridge.index)
        return vlans.carried == book.bridgeVlans;
    const BridgePort* port = book.find(vlans.index);
    // Of what is no port, nothing is known and nothing is asked.
    return port == nullptr || (vlans.carried == port->carried && vlans.untagged == port->untagged &&
                               vlans.pvid == port->pvid);
}

/// A guard that could not be set has a reason that may have gone with another filter.
bool isAsKnown(const BridgePort* port, bool guarded) {
    return port == nullptr || (guarded == port->guard && !port->guardFailed);
}

void weighLink(const KernelLink& link, bool last, const BridgeBook& book, const std::string& bridge,
               Churn& churn) {
    const BridgePort* port = book.find(link.index);
    if (port == nullptr && !concernsBridge(link, book, bridge))
        return;
    if (port != nullptr && isUp(port->link, true) && !isUp(link, true))
        churn.bounced.push_back(link.index);
    // What was down for a moment has to be reported, also when it is as before.
    churn.look |= last ? !isAsKnown(link, book) : !churn.bounced.empty();
}

}  // namespace

Churn weighEvents(std::span<const KernelEvent> events, const BridgeBook& book,
                  const std::string& bridge) {
    Churn churn;
    Later links;
    Later vlans;
    Later guards;
    for (std::size_t left = events.size(); left > 0; left--) {
        const KernelEvent& event = events[left - 1];
        const u32 index = event.link.index;
        switch (event.kind) {
            case KernelEventKind::Lost:
                churn.lost = true;
                churn.look = true;
                break;
            case KernelEventKind::LinkGone:
                if (book.find(index) != nullptr)
                    churn.gone.push_back(index);
                churn.look |= book.find(index) != nullptr || index == book.bridge.index;
                break;
            case KernelEventKind::PortRemoved:
                if (book.find(index) != nullptr)
                    churn.removed.push_back(index);
                churn.look |= book.find(index) != nullptr;
                break;
            case KernelEventKind::Link:
                weighLink(event.link, links.isLast(index), book, bridge, churn);
                break;
            case KernelEventKind::Vlans:
                if (vlans.isLast(event.vlans.index))
                    churn.look |= !isAsKnown(event.vlans, book);
                break;
            case KernelEventKind::Guard:
                if (guards.isLast(index))
                    churn.look |= !isAsKnown(book.find(index), event.guarded);
                break;
        }
    }
    return churn;
}

}  // namespace platform
