// SPDX-License-Identifier: MIT
#include "daemon/base/bitmap.h"

static_assert(kMvrpBitmapBits == kMvrpVlanCount + 1);
static_assert([] {
    MvrpVlanBitmap bitmap = {};
    mvrpBitSet(bitmap.data(), 0);
    mvrpBitSet(bitmap.data(), kMvrpBitmapBits - 1);
    return bitmap.front() == 0x80 && bitmap.back() == 0x01;
}());

void mvrpBitmapIntersect(std::span<u8> destination, std::span<const u8> a, std::span<const u8> b,
                         u32 bits) {
    const u32 wholeBytes = bits / 8;
    for (u32 i = 0; i < wholeBytes; ++i)
        destination[i] = a[i] & b[i];

    const u32 rest = bits % 8;
    if (rest != 0) {
        const u32 firstBits = 0xFF00U >> rest;
        destination[wholeBytes] = static_cast<u8>(a[wholeBytes] & b[wholeBytes] & firstBits);
    }
}
