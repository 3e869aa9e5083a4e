// SPDX-License-Identifier: MIT
#include "cli/client/observed.h"

#include <algorithm>
#include <cstring>

#include "cli/client/names.h"
#include "cli/client/safe_text.h"

namespace cli {

namespace {

/// The first bytes of an answer as a record.
template <typename Record>
Record leading(const Reply& reply, std::size_t at = 0) {
    throwIfRefused(reply);
    if (reply.value.size() < at + sizeof(Record)) {
        throw ConnectionError(
            "the daemon's answer is too short; mvrpctl and mvrp are of different "
            "versions");
    }
    Record record;
    std::memcpy(&record, reply.value.data() + at, sizeof record);
    return record;
}

/// The same question about each port, or about one VLAN on each.
std::vector<Reply> askEach(Client& client, platform::Request question,
                           const std::vector<platform::SwitchPortRecord>& ports, u32 vid = 0) {
    std::vector<Request> requests;
    requests.reserve(ports.size());
    for (const platform::SwitchPortRecord& port : ports)
        requests.push_back({question, port.unit, vid});
    return client.exchange(requests);
}

}  // namespace

void throwIfRefused(const Reply& reply) {
    if (reply.status == 0)
        return;
    const std::string text = textOf(reply);
    throw RefusedError(reply.status, text.empty() ? statusText(reply.status) : text);
}

std::vector<PortStatistics> queryStatistics(Client& client,
                                            const std::vector<platform::SwitchPortRecord>& ports) {
    const std::vector<Reply> replies = askEach(client, platform::Request::PortStatistics, ports);
    std::vector<PortStatistics> statistics;
    for (std::size_t i = 0; i < ports.size(); ++i)
        statistics.push_back({ports[i], leading<platform::PortStatisticsRecord>(replies[i])});
    return statistics;
}

std::vector<VlanHistory> queryVlanHistory(Client& client, u32 vid,
                                          const std::vector<platform::SwitchPortRecord>& ports) {
    std::vector<VlanHistory> histories;
    for (const Reply& reply : askEach(client, platform::Request::PortHistory, ports, vid)) {
        const auto port = leading<platform::PortHistoryRecord>(reply);
        histories.push_back({port, leading<platform::VlanHistoryRecord>(reply, sizeof port)});
    }
    return histories;
}

bool wasNotRenewed(const VlanHistory& history, u32 joinTime) {
    // The PDU of the LeaveAll may say it, too, and the clocks of the two ages differ a little.
    constexpr u64 kSamePduMs = 100;
    constexpr u64 kPatienceJoins = 2;
    const u64 leaveAllMs = std::min(history.port.leaveAllInMs, history.port.leaveAllOutMs);
    return leaveAllMs != platform::kNever && leaveAllMs >= kPatienceJoins * joinTime &&
           history.vlan.sentMs > leaveAllMs + kSamePduMs;
}

std::vector<platform::CorrectionLastRecord> queryLastCorrections(
    Client& client, u32 vid, const std::vector<platform::SwitchPortRecord>& ports) {
    std::vector<platform::CorrectionLastRecord> last;
    for (const Reply& reply : askEach(client, platform::Request::CorrectionLast, ports, vid)) {
        const bool known = reply.status == kStatusOk;
        last.push_back(known ? leading<platform::CorrectionLastRecord>(reply)
                             : platform::CorrectionLastRecord{platform::kNoCorrection, 0});
    }
    return last;
}

}  // namespace cli
