// SPDX-License-Identifier: MIT
//
// Frames for tests, and a reader of our form's vectors that shares no code with the adapter.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/contract/types.h"

namespace frames {

using Bytes = std::vector<u8>;

/// Bytes of a hex text; blanks are skipped.
inline Bytes hex(std::string_view text) {
    Bytes bytes;
    std::string digits;
    for (const char c : text) {
        if (c == ' ')
            continue;
        digits += c;
        if (digits.size() == 2) {
            bytes.push_back(static_cast<u8>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return bytes;
}

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline const Bytes kAddresses = hex("0180c2000021 020000000102");

/// A frame with an 802.3 length around LLC and what follows it.
inline Bytes llcFrame(const Bytes& llc) {
    const Bytes length = {static_cast<u8>(llc.size() >> 8), static_cast<u8>(llc.size() & 0xFF)};
    return kAddresses + length + llc;
}

inline Bytes nativeFrame(std::string_view pdu) {
    return llcFrame(hex("aaaa03 000000 88f5") + hex(pdu));
}
inline Bytes gvrpFrame(std::string_view pdu) {
    return llcFrame(hex("424203") + hex(pdu));
}
inline Bytes ieeeFrame(std::string_view pdu) {
    return kAddresses + hex("88f5") + hex(pdu);
}

inline Bytes padded(Bytes frame) {
    if (frame.size() < 60)
        frame.resize(60, 0);
    return frame;
}

struct Event {
    u32 vid;
    u32 event;
    bool operator==(const Event&) const = default;
};

struct NativePdu {
    bool leaveAll = false;  ///< the first vector's: what the daemon looks at
    std::vector<Event> events;
    bool operator==(const NativePdu&) const = default;
};

/// Reads a whole native frame as the daemon would: PDU at 22, vectors from 25 up to the end mark.
inline NativePdu readNative(const u8* frame, std::size_t size) {
    NativePdu pdu;
    std::size_t at = 25;
    while (at + 4 <= size) {
        const u32 header = static_cast<u32>(frame[at] << 8 | frame[at + 1]);
        if (header == 0)
            break;
        pdu.leaveAll = pdu.leaveAll || (at == 25 && (header & 0x2000) != 0);
        const u32 first = static_cast<u32>(frame[at + 2] << 8 | frame[at + 3]);
        const u32 count = header & 0x1FFF;
        for (u32 i = 0; i < count && at + 4 + i / 3 < size; ++i) {
            const u32 byte = frame[at + 4 + i / 3];
            const u32 event = i % 3 == 0 ? byte / 36 : i % 3 == 1 ? byte / 6 % 6 : byte % 6;
            pdu.events.push_back({first + i, event});
        }
        at += 4 + (count + 2) / 3;
    }
    return pdu;
}

}  // namespace frames
