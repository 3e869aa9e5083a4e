// SPDX-License-Identifier: MIT
#include "platform/channel/dispatcher.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/channel/value_forms.h"
#include "platform/channel/version.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/sem.h"

namespace platform {
namespace {

/// Room for what a handler reads out: the longest is a version text of 17 bytes.
constexpr u32 kReadOutBytes = 64;

u32 numberOf(std::span<const u8> value, u32 absent) {
    u32 number = absent;
    if (value.size() == sizeof number)
        std::memcpy(&number, value.data(), sizeof number);
    return number;
}

void appendNumber(std::vector<u8>& reply, u32 number) {
    const auto* bytes = reinterpret_cast<const u8*>(&number);
    reply.insert(reply.end(), bytes, bytes + sizeof number);
}

u32 callWithNumber(IcmAttributeHandler handler, const RequestHeader& header,
                   std::span<const u8> value, bool answers, std::vector<u8>& reply) {
    u32 number = numberOf(value, 0);
    const u32 status = handler(header.unit, header.attribute, &number);
    if (status == kStatusOk && answers)
        appendNumber(reply, number);
    return status;
}

/// Has the handler fill a buffer. The text of an answer ends where the handler stopped writing, a
/// record where it set the length to.
u32 callWithRoom(IcmAttributeHandler handler, const RequestHeader& header,
                 std::span<const u8> value, ValueForm form, std::vector<u8>& reply) {
    std::array<u8, kReadOutBytes> room{};
    QorBuffer buffer{room.data(), std::min(numberOf(value, kReadOutBytes), kReadOutBytes)};
    const u32 status = handler(header.unit, header.attribute, &buffer);
    if (status != kStatusOk)
        return status;
    const auto end = room.begin() + std::min(buffer.length, kReadOutBytes);
    reply.insert(reply.end(), room.begin(),
                 form == ValueForm::Text ? std::find(room.begin(), end, u8{0}) : end);
    return status;
}

u32 callWithPacket(IcmAttributeHandler handler, const RequestHeader& header,
                   std::span<const u8> value) {
    // A copy, since handlers take a buffer that they may write to; also an empty one has an
    // address.
    std::vector<u8> packet(std::max<std::size_t>(value.size(), 1));
    std::ranges::copy(value, packet.begin());
    QorBuffer buffer{packet.data(), static_cast<u32>(value.size())};
    return handler(header.unit, header.attribute, &buffer);
}

u32 callAttribute(IcmAttributeHandler handler, const RequestHeader& header,
                  std::span<const u8> value, std::vector<u8>& reply) {
    const ValueForm form = valueForm(static_cast<Request>(header.request), header.attribute);
    if (!sizeFits(form, value.size()))
        return kBadArgument;
    switch (form) {
        case ValueForm::Text:
        case ValueForm::Record:
            return callWithRoom(handler, header, value, form, reply);
        case ValueForm::Packet:
            return callWithPacket(handler, header, value);
        default:
            return callWithNumber(handler, header, value, form != ValueForm::Setting, reply);
    }
}

/// The request as a person may find it in the log.
void releaseLocks(const RequestHeader& header, LogLimit& limit) {
    const u32 depth = semReleaseHeldByCaller();
    if (depth == 0)
        return;
    if (const auto left = limit.mayLog())
        logMessage(LogPriority::Warning,
                   "request %u (unit %u, attribute %u) returned with the daemon's lock held %u "
                   "deep; it was released%s",
                   header.request, header.unit, header.attribute, depth,
                   LogLimit::leftOut(*left).c_str());
}

}  // namespace

void Dispatcher::registerRequest(Request number, HostHandler handler) {
    hostHandlers_[static_cast<u32>(number)] = std::move(handler);
}

const IcmFunc* Dispatcher::find(u32 request) const {
    const auto found = std::ranges::find(table_, request, &IcmFunc::request);
    return found == table_.end() ? nullptr : &*found;
}

u32 Dispatcher::dispatchTable(const RequestHeader& header, std::span<const u8> value,
                              std::vector<u8>& reply) const {
    const IcmFunc* function = find(header.request);
    if (function == nullptr)
        return kBadArgument;
    if (const auto* attribute = std::get_if<IcmAttributeHandler>(&function->handler))
        return callAttribute(*attribute, header, value, reply);
    if (!value.empty())
        return kBadArgument;
    u32 unit = 0;
    u32 status = kBadArgument;
    if (const auto* first = std::get_if<IcmFirstHandler>(&function->handler))
        status = (*first)(&unit);
    else if (const auto* next = std::get_if<IcmNextHandler>(&function->handler))
        status = (*next)(header.unit, &unit);
    if (status == kStatusOk)
        appendNumber(reply, unit);
    return status;
}

void Dispatcher::done(const RequestHeader& header) const {
    switch (static_cast<Request>(header.request)) {
        case Request::PortSet:
        case Request::PortSync:
        case Request::ScalarSet:
        case Request::ScalarSync:
            for (const auto& hook : onDone_)
                hook(header);
            break;
        default:
            break;
    }
}

u32 Dispatcher::serve(const RequestHeader& header, std::span<const u8> value,
                      std::vector<u8>& reply) const {
    if (header.request < kFirstPlatformRequest)
        return dispatchTable(header, value, reply);
    const auto found = hostHandlers_.find(header.request);
    if (found != hostHandlers_.end())
        return found->second(header, value, reply);
    const std::string text = unknownRequest(header.request);
    reply.insert(reply.end(), text.begin(), text.end());
    return static_cast<u32>(HostStatus::Unsupported);
}

u32 Dispatcher::ask(const RequestHeader& header, std::vector<u8>& reply) const {
    return serve(header, {}, reply);
}

u32 Dispatcher::dispatch(const RequestHeader& header, std::span<const u8> value,
                         std::vector<u8>& reply) {
    const u32 status = serve(header, value, reply);
    releaseLocks(header, lockHeld_);
    if (status == kStatusOk)
        done(header);
    return status;
}

u32 Dispatcher::callNumber(Request request, u32 unit, u32 attribute, u32& value) const {
    const IcmFunc* function = find(static_cast<u32>(request));
    const auto* handler =
        function == nullptr ? nullptr : std::get_if<IcmAttributeHandler>(&function->handler);
    if (handler == nullptr)
        return kBadArgument;
    return (*handler)(unit, attribute, &value);
}

u32 Dispatcher::setNumber(Request request, u32 unit, u32 attribute, u32 value) const {
    const RequestHeader header{static_cast<u32>(request), unit, attribute, sizeof value};
    const u32 status = callNumber(request, unit, attribute, value);
    releaseLocks(header, lockHeld_);
    if (status == kStatusOk)
        done(header);
    return status;
}

}  // namespace platform
