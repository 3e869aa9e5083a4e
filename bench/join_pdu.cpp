// SPDX-License-Identifier: MIT
#include "bench/join_pdu.h"

#include "daemon/pdu/gvrp_format.h"
#include "daemon/pdu/vector.h"

namespace bench {
namespace {

void putBe16(std::vector<u8>* out, u32 value) {
    out->push_back(static_cast<u8>(value >> 8U));
    out->push_back(static_cast<u8>(value));
}

}  // namespace

std::vector<u8> mvrpJoinPdu(std::span<const u32> vids) {
    constexpr u8 kThreeJoinIns = 36 + 6 + 1;
    std::vector<u8> pdu = {0, 1, 1};
    for (size_t i = 0; i < vids.size();) {
        size_t end = i + 1;
        while (end < vids.size() && vids[end] == vids[end - 1] + 1)
            ++end;
        const u32 count = static_cast<u32>(end - i);
        putBe16(&pdu, count);
        putBe16(&pdu, vids[i]);
        pdu.insert(pdu.end(), mvrpPackedBytes(count), kThreeJoinIns);
        i = end;
    }
    putBe16(&pdu, 0);
    return pdu;
}

std::vector<u8> gvrpJoinPdu(std::span<const u32> vids) {
    std::vector<u8> pdu = {0, 1, 1};
    for (const u32 vid : vids) {
        pdu.push_back(kGvrpVlanAttributeBytes);
        pdu.push_back(GVRP_ATTRIBUTE_JOIN_IN);
        putBe16(&pdu, vid);
    }
    putBe16(&pdu, 0);
    return pdu;
}

std::vector<u32> vlansFrom(u32 first, u32 count, u32 step) {
    std::vector<u32> vids(count);
    for (u32 i = 0; i < count; ++i)
        vids[i] = first + i * step;
    return vids;
}

}  // namespace bench
