// SPDX-License-Identifier: MIT
//
// `cmd`: the requests of the command channel, through the daemon's handler table.
#include <algorithm>
#include <array>
#include <variant>

#include "daemon/mgmt/config.h"
#include "platform/virtual/state/sync_message.h"
#include "tests/scenario/lang/commands.h"
#include "tests/scenario/lang/sync_words.h"

namespace scenario {
namespace {

constexpr u32 kVersionRoom = 64;   // bytes offered for the version text, whatever length is claimed
constexpr u32 kVersionBytes = 17;  // of the text itself
constexpr u32 kStatusRoom = 64;    // bytes offered for the status read-out

enum RequestNumber : u32 {
    kRequestFirst = 1,
    kRequestNext = 2,
    kRequestPortGet = 3,
    kRequestPortSet = 4,
    kRequestPortSync = 5,
    kRequestScalarGet = 6,
    kRequestScalarSet = 7,
    kRequestScalarSync = 8,
};

/// The daemon's handler of a request.
template <typename Handler>
Handler handlerOf(u32 request) {
    const auto row =
        std::find_if(gMvrpFuncMap.begin(), gMvrpFuncMap.end(),
                     [request](const IcmFunc& func) { return func.request == request; });
    const auto* handler = row == gMvrpFuncMap.end() ? nullptr : std::get_if<Handler>(&row->handler);
    if (handler == nullptr)
        throw UsageError("the daemon has no handler of this kind for request " +
                         std::to_string(request));
    return *handler;
}

/// Writes a result with the value of a get, which a failed one does not have.
void traceValue(ScenarioHost& host, u32 status, std::string_view value) {
    traceResult(host, status, status == kStatusOk ? " value=" + std::string(value) : "");
}

void requestFirst(ScenarioHost& host, Words words, u32 request) {
    requireWords(words, 0, 0);
    u32 unit = 0;
    const u32 status = handlerOf<IcmFirstHandler>(request)(&unit);
    traceValue(host, status, std::to_string(unit));
}

void requestNext(ScenarioHost& host, Words words, u32 request) {
    requireWords(words, 1, 1);
    u32 next = 0;
    const u32 status = handlerOf<IcmNextHandler>(request)(parseU32(words[0], "UNIT"), &next);
    traceValue(host, status, std::to_string(next));
}

void requestPortGet(ScenarioHost& host, Words words, u32 request) {
    requireWords(words, 2, 3);
    const u32 unit = parseU32(words[0], "UNIT");
    const u32 attribute = parseU32(words[1], "ATTR");
    u32 value = words.size() > 2 ? parseU32(words[2], "VID") : 0;
    const u32 status = handlerOf<IcmAttributeHandler>(request)(unit, attribute, &value);
    traceValue(host, status, std::to_string(value));
}

void requestPortSet(ScenarioHost& host, Words words, u32 request) {
    requireWords(words, 3, 3);
    const u32 unit = parseU32(words[0], "UNIT");
    const u32 attribute = parseU32(words[1], "ATTR");
    u32 value = parseU32(words[2], "VALUE");
    traceResult(host, handlerOf<IcmAttributeHandler>(request)(unit, attribute, &value));
}

void getVersion(ScenarioHost& host, Words words, IcmAttributeHandler handler) {
    requireWords(words, 1, 1);
    std::array<char, kVersionRoom> text{};
    QorBuffer descriptor{text.data(), kVersionBytes};
    if (words[0] == "null")
        descriptor.data = nullptr;
    else
        descriptor.length = parseU32(words[0], "LENGTH");
    const u32 length = std::min(descriptor.length, kVersionBytes);
    const u32 status = handler(0, MVRP_SCALAR_VERSION, &descriptor);
    traceValue(host, status, std::string_view(text.data(), length));
}

void requestScalarGet(ScenarioHost& host, Words words, u32 request) {
    const u32 attribute = parseU32(wordAt(words, 0, "ATTR"), "ATTR");
    const auto handler = handlerOf<IcmAttributeHandler>(request);
    if (attribute == MVRP_SCALAR_VERSION) {
        getVersion(host, words.subspan(1), handler);
        return;
    }
    requireWords(words, 1, 1);
    u32 value = 0;
    const u32 status = handler(0, attribute, &value);
    traceValue(host, status, std::to_string(value));
}

u32 setStatusReadOut(std::string_view word, IcmAttributeHandler handler) {
    std::array<u8, kStatusRoom> room{};
    QorBuffer descriptor{room.data(), kStatusRoom};
    if (word == "nullptr")
        descriptor.data = nullptr;
    else
        descriptor.length = parseU32(word, "LENGTH");
    return handler(0, MVRP_SCALAR_STATUS, &descriptor);
}

u32 setSyncPacket(Words words, IcmAttributeHandler handler) {
    auto bytes = parseSyncWords(words);
    QorBuffer descriptor{bytes.data(), static_cast<u32>(bytes.size())};
    return handler(0, MVRP_SCALAR_SYNC_PACKET, &descriptor);
}

void requestScalarSet(ScenarioHost& host, Words words, u32 request) {
    requireWords(words, 2, SIZE_MAX);
    const u32 attribute = parseU32(words[0], "ATTR");
    const auto handler = handlerOf<IcmAttributeHandler>(request);
    if (words[1] == "null") {
        traceResult(host, handler(0, attribute, nullptr));
        return;
    }
    if (attribute == MVRP_SCALAR_SYNC_PACKET) {
        traceResult(host, setSyncPacket(words.subspan(1), handler));
        return;
    }
    requireWords(words, 2, 2);
    if (attribute == MVRP_SCALAR_STATUS) {
        traceResult(host, setStatusReadOut(words[1], handler));
        return;
    }
    u32 value = parseU32(words[1], "VALUE");
    traceResult(host, handler(0, attribute, &value));
}

struct Request {
    std::string_view name;
    u32 number;
    void (*run)(ScenarioHost& host, Words words, u32 request);
};

constexpr auto kRequests = std::to_array<Request>({
    {"first", kRequestFirst, requestFirst},
    {"next", kRequestNext, requestNext},
    {"port-get", kRequestPortGet, requestPortGet},
    {"port-set", kRequestPortSet, requestPortSet},
    {"port-sync", kRequestPortSync, requestPortSet},
    {"scalar-get", kRequestScalarGet, requestScalarGet},
    {"scalar-set", kRequestScalarSet, requestScalarSet},
    {"scalar-sync", kRequestScalarSync, requestScalarSet},
});

}  // namespace

void commandCmd(ScenarioHost& host, Words words) {
    const Request& request = rowNamed(kRequests, words[0], "a request");
    request.run(host, words.subspan(1), request.number);
}

}  // namespace scenario
