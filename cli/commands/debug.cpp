// SPDX-License-Identifier: MIT
#include <algorithm>
#include <sstream>

#include "cli/client/safe_text.h"
#include "cli/commands/commands.h"
#include "cli/views/json.h"

namespace cli {

namespace {

using platform::Request;

constexpr u32 kAnyNumber = 0xFFFFFFFF;
constexpr u32 kNoFilter = 0;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::erase(line, '\r');
        lines.push_back(line);
    }
    return lines;
}

void shellList(const Context& context) {
    const Reply reply = context.client.exchange({Request::ShellList});
    if (reply.status != kStatusOk)
        context.finish(reply.status);
    context.print(context.json ? linesJson("functions", linesOf(textOf(reply))) : textOf(reply));
}

/// Calls a function of the daemon. @return what it printed
std::string callFunction(const Context& context, const platform::ShellCallRecord& record) {
    const auto bytes = std::as_bytes(std::span(&record, 1));
    const Reply reply =
        context.client.exchange({Request::ShellCall, 0, 0, {bytes.begin(), bytes.end()}});
    if (reply.status != kStatusOk)
        context.finish(reply.status, textOf(reply));
    std::string printed = textOf(reply);
    std::erase(printed, '\r');
    return printed;
}

platform::ShellCallRecord callOf(const std::string& function) {
    platform::ShellCallRecord record{};
    if (function.size() >= record.name.size())
        throw UsageError("there is no function of so long a name; `debug list` lists them");
    std::ranges::copy(function, record.name.begin());
    return record;
}

void shellCall(const Context& context) {
    platform::ShellCallRecord record = callOf(context.text(0));
    if (context.count() - 1 > record.parameters.size())
        throw UsageError("a function has at most three parameters");
    for (std::size_t i = 1; i < context.count(); ++i)
        record.parameters.at(i - 1) = context.number(i, 0, kAnyNumber);
    const std::string printed = callFunction(context, record);
    context.print(context.json ? linesJson("output", linesOf(printed)) : printed);
}

bool isAll(const Context& context) {
    return context.text(0) == "all";
}

void setFilter(const Context& context, const char* function, u32 value) {
    platform::ShellCallRecord record = callOf(function);
    record.parameters.front() = value;
    callFunction(context, record);
    context.finish(kStatusOk);
}

void filterVlan(const Context& context) {
    setFilter(context, "mvrpVlandbgSet", isAll(context) ? kNoFilter : context.vlan(0));
}

void filterPort(const Context& context) {
    setFilter(context, "mvrpPortdbgSet", isAll(context) ? kNoFilter : context.port(0).unit);
}

std::vector<std::byte> parseHex(const std::string& text) {
    std::vector<std::byte> bytes;
    const auto digit = [&text](char c) {
        const std::size_t value = std::string_view("0123456789abcdef").find(c);
        if (value == std::string_view::npos)
            throw UsageError("'" + text + "' is not a value in hexadecimal, for example 01000000");
        return value;
    };
    if (text.size() % 2 != 0)
        throw UsageError("'" + text + "' has half a byte; write two hexadecimal digits for each");
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<std::byte>(digit(text[i]) * 16 + digit(text[i + 1])));
    return bytes;
}

std::string formatHex(const std::vector<std::byte>& bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : bytes) {
        text += kDigits[std::to_integer<unsigned>(byte) >> 4U];
        text += kDigits[std::to_integer<unsigned>(byte) & 15U];
    }
    return text;
}

/// Any request of the command channel, as it is.
void rawRequest(const Context& context) {
    cli::Request request = {static_cast<Request>(context.number(0, 0, kAnyNumber)),
                            context.number(1, 0, kAnyNumber), context.number(2, 0, kAnyNumber)};
    if (context.count() > 3)
        request.value = parseHex(context.text(3));
    const Reply reply = context.client.exchange(request);
    if (reply.status != kStatusOk)
        context.finish(reply.status);
    context.print(context.json ? replyJson(reply.status, formatHex(reply.value))
                               : formatHex(reply.value) + "\n");
}

std::vector<Candidate> functionNames(const Typed& typed) {
    std::vector<Candidate> candidates;
    for (const std::string& name : linesOf(textOf(typed.client.exchange({Request::ShellList}))))
        candidates.push_back({name});
    return candidates;
}

constexpr Command kCommands[] = {
    {"debug list", "functions that can be called in the daemon", {}, shellList},
    {"debug call",
     "call one of them and show what it prints",
     {{{"function", "its name", false, false, functionNames},
       {"parameters", "up to three numbers", true, true}}},
     shellCall},
    {"debug vlan",
     "have trace lines about VLANs written for one VLAN only",
     {{{"vlan", "VLAN ID, 1 to 4094, or all"}}},
     filterVlan},
    {"debug port",
     "have trace lines about ports written for one port only",
     {{{"port", "name or unit of a port, or all"}}},
     filterPort},
    {"debug request",
     "send one request as it is and show the value of the answer",
     {{{"request", "number of the request"},
       {"unit", "port unit, or 0"},
       {"attribute", "number of the attribute"},
       {"value", "bytes in hexadecimal", true}}},
     rawRequest},
};

}  // namespace

constinit const std::span<const Command> kDebugCommands = kCommands;

}  // namespace cli
