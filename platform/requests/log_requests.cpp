// SPDX-License-Identifier: MIT
#include "platform/requests/log_requests.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/model/vlan_algebra.h"
#include "platform/requests/reply.h"

namespace platform {
namespace {

/// A line that is not about a port by itself is about the one that it begins with.
bool beginsWith(std::string_view text, std::string_view port) {
    return text.starts_with(port) && text.substr(port.size()).starts_with(": ");
}

bool isAbout(const LogBook::Kept& line, const LogQuery& query) {
    const std::string_view port(query.port.data(), strnlen(query.port.data(), query.port.size()));
    const bool anyPort = query.unit == 0 && port.empty();
    const bool ofPort = anyPort || (query.unit != 0 && line.unit == query.unit) ||
                        (!port.empty() && (line.port() == port || beginsWith(line.text(), port)));
    const bool ofVlan = query.vid == 0 || (line.ofVlans && vlanContains(line.vlans, query.vid));
    return ofPort && ofVlan && line.timeMs >= query.fromMs;
}

struct Range {
    u16 first;
    u16 last;
};

std::vector<Range> rangesOf(const LogBook::Kept& line) {
    std::vector<Range> ranges;
    if (!line.ofVlans)
        return ranges;
    vlanForEach(line.vlans, [&ranges](u32 vid) {
        const auto last = static_cast<u16>(vid);
        if (!ranges.empty() && ranges.back().last + 1 == last)
            ranges.back().last = last;
        else
            ranges.push_back({last, last});
    });
    return ranges;
}

void appendBytes(std::vector<u8>& reply, std::string_view text) {
    reply.insert(reply.end(), text.begin(), text.end());
}

void appendLine(std::vector<u8>& reply, const LogBook::Kept& line) {
    const LogEventFacts* facts = factsOf(line.event);
    const std::string_view event = facts == nullptr ? std::string_view() : facts->name;
    const std::vector<Range> ranges = rangesOf(line);
    appendRecord(reply,
                 LogRecord{line.sequence, line.timeMs, static_cast<u32>(line.priority), line.unit,
                           static_cast<u16>(line.port().size()), static_cast<u16>(event.size()),
                           static_cast<u16>(line.text().size()), static_cast<u16>(ranges.size())});
    appendBytes(reply, line.port());
    appendBytes(reply, event);
    appendBytes(reply, line.text());
    for (const Range& range : ranges)
        appendRecord(reply, range);
}

}  // namespace

void readLog(const LogBook& book, const LogQuery& query, std::vector<u8>& reply) {
    const std::size_t begin = reply.size();
    const u64 oldest = book.oldest();
    LogHeader header{book.newest(), oldest, query.since, 0, 0};
    header.lost = book.overwritten() && query.since + 1 < oldest ? 1 : 0;
    appendRecord(reply, header);
    // Written while this is read: it is for the next query.
    auto line = std::make_unique_for_overwrite<LogBook::Kept>();
    while (header.next < header.newest && book.next(header.next, *line)) {
        const std::size_t before = reply.size();
        if (isAbout(*line, query)) {
            appendLine(reply, *line);
            header.count++;
        }
        if (reply.size() - begin > kMaxValueBytes) {
            reply.resize(before);
            header.count--;
            break;
        }
        header.next = line->sequence;
    }
    std::memcpy(reply.data() + begin, &header, sizeof header);
}

void registerLogRequests(Dispatcher& dispatcher, const LogBook* book) {
    dispatcher.registerRequest(
        Request::LogRead,
        [book](const RequestHeader&, std::span<const u8> value, std::vector<u8>& reply) -> u32 {
            LogQuery query{};
            if (value.size() != sizeof query)
                return refuseSize(value.size(), sizeof query, reply);
            std::memcpy(&query, value.data(), sizeof query);
            if (book == nullptr)
                return refuse(HostStatus::Unsupported, "this daemon keeps no lines of its log",
                              reply);
            readLog(*book, query, reply);
            return kStatusOk;
        });
}

}  // namespace platform
