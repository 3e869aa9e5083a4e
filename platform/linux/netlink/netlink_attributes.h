// SPDX-License-Identifier: MIT
//
// Bounded reading of netlink attributes. Every look stays inside the bytes that it was given,
// whatever lengths they claim: an attribute that does not fit ends the walk, a value that is too
// short is no value.
#pragma once

#include <libmnl/libmnl.h>

#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "platform/contract/types.h"

namespace platform {

/// Calls `visit(const nlattr&)` for each whole attribute in `bytes`, which are aligned to 4.
template <typename Visit>
void forEachAttribute(std::span<const u8> bytes, Visit&& visit) {
    const auto* attribute = reinterpret_cast<const nlattr*>(bytes.data());
    int left = static_cast<int>(bytes.size());
    while (mnl_attr_ok(attribute, left)) {
        visit(*attribute);
        left -= static_cast<int>(MNL_ALIGN(attribute->nla_len));
        attribute = mnl_attr_next(attribute);
    }
}

/// Number of an attribute, without the bits that say how it is coded.
inline u32 typeOf(const nlattr& attribute) {
    return mnl_attr_get_type(&attribute);
}

/// What an attribute of forEachAttribute() holds; nested attributes, too.
inline std::span<const u8> payloadOf(const nlattr& attribute) {
    return {static_cast<const u8*>(mnl_attr_get_payload(&attribute)),
            mnl_attr_get_payload_len(&attribute)};
}

/// The first bytes of `bytes` as a number or record of the kernel's interface.
/// @return nothing when there are too few
template <typename Value>
std::optional<Value> leadingValue(std::span<const u8> bytes) {
    Value value{};
    if (bytes.size() < sizeof(value))
        return std::nullopt;
    std::memcpy(&value, bytes.data(), sizeof(value));
    return value;
}

template <typename Value>
std::optional<Value> valueOf(const nlattr& attribute) {
    return leadingValue<Value>(payloadOf(attribute));
}

/// A text, up to its terminator or the end of the attribute.
inline std::string_view textOf(const nlattr& attribute) {
    const std::span<const u8> bytes = payloadOf(attribute);
    const auto* text = reinterpret_cast<const char*>(bytes.data());
    return {text, strnlen(text, bytes.size())};
}

/// What follows the fixed record of a message, `fixed` bytes long; empty when it is cut short.
inline std::span<const u8> attributesBehind(std::span<const u8> payload, size_t fixed) {
    const size_t offset = MNL_ALIGN(fixed);
    return offset < payload.size() ? payload.subspan(offset) : std::span<const u8>();
}

}  // namespace platform
