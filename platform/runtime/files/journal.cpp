// SPDX-License-Identifier: MIT
#include "platform/runtime/files/journal.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <string_view>
#include <utility>

#include "platform/model/vlan_algebra.h"

namespace platform {
namespace {

constexpr std::string_view kIdentifier = "mvrp";

void addField(std::string& datagram, std::string_view name, std::string_view value) {
    datagram.append(name).append("=").append(value).append("\n");
}

void addVlans(std::string& datagram, const VlanBitmap& vlans) {
    addField(datagram, "MVRP_VLANS", formatVlanRanges(vlans));
    u32 count = 0;
    vlanForEach(vlans, [&](u32 vid) {
        if (count++ < kMostJournalVlans)
            addField(datagram, "MVRP_VLAN", std::to_string(vid));
    });
}

}  // namespace

std::string journalDatagram(const LogLine& line) {
    std::string datagram;
    addField(datagram, "PRIORITY", std::to_string(static_cast<int>(line.priority)));
    addField(datagram, "SYSLOG_IDENTIFIER", kIdentifier);
    addField(datagram, "MESSAGE", line.text);
    if (const LogEventFacts* facts = factsOf(line.event)) {
        addField(datagram, "MESSAGE_ID", facts->messageId);
        addField(datagram, "MVRP_EVENT", facts->name);
    }
    if (!line.port.empty())
        addField(datagram, "MVRP_PORT", line.port);
    if (line.unit != 0)
        addField(datagram, "MVRP_UNIT", std::to_string(line.unit));
    if (line.vlans != nullptr)
        addVlans(datagram, *line.vlans);
    return datagram;
}

Journal::Journal(std::string path)
    : path_(std::move(path)), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

bool Journal::put(const LogLine& line) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!socket_.isOpen() || path_.size() >= sizeof address.sun_path)
        return false;
    path_.copy(address.sun_path, path_.size());
    const std::string datagram = journalDatagram(line);
    return sendto(socket_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&address),
                  sizeof address) == static_cast<ssize_t>(datagram.size());
}

}  // namespace platform
