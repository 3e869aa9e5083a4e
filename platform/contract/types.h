// SPDX-License-Identifier: MIT
//
// Fixed-width names and the two records that every family of contract calls shares.
#pragma once

#include <cstdint>

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using s32 = std::int32_t;

/// Result of a contract call that worked. Every status call of the contract returns 0 for success.
inline constexpr u32 kStatusOk = 0;

/// Result of a contract call that failed for no more precise reason (-1 in 32 bits).
inline constexpr u32 kStatusFailed = 0xFFFFFFFFU;

/// Bytes of a VLAN bitmap. Bit index n (mask 0x80 >> (n mod 8) of byte n / 8) stands for VLAN ID n
/// + 1.
inline constexpr u32 kVlanBitmapBytes = 512;

/// A buffer handed to the platform by reference. The caller owns the bytes for the length of the
/// call.
struct QorBuffer {
    void* data;
    u32 length;  ///< bytes
};
