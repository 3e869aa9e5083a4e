// SPDX-License-Identifier: MIT
#include "bench/passes.h"

#include <cstring>

// Two forms, and the loader's choice between them, where that is known to work.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define BENCH_WIDEST [[gnu::target_clones("avx2", "default")]]
#else
#define BENCH_WIDEST
#endif

namespace bench {
namespace {

/// One register where there are such wide ones, else two or four.
using Vector = u8 __attribute__((vector_size(32)));
constexpr u8 kChanged = 1;

}  // namespace

BENCH_WIDEST void passInPlace(std::span<u8> bytes) {
    size_t at = 0;
    for (; at + sizeof(Vector) <= bytes.size(); at += sizeof(Vector)) {
        Vector vector;
        std::memcpy(&vector, bytes.data() + at, sizeof(vector));
        vector ^= kChanged;
        std::memcpy(bytes.data() + at, &vector, sizeof(vector));
    }
    for (; at < bytes.size(); ++at)
        bytes[at] ^= kChanged;
}

BENCH_WIDEST u8 passReading(std::span<const u8> bytes) {
    Vector seen{};
    size_t at = 0;
    for (; at + sizeof(Vector) <= bytes.size(); at += sizeof(Vector)) {
        Vector vector;
        std::memcpy(&vector, bytes.data() + at, sizeof(vector));
        seen |= vector;
    }
    u8 all = 0;
    for (size_t i = 0; i < sizeof(Vector); ++i)
        all = static_cast<u8>(all | seen[i]);
    for (; at < bytes.size(); ++at)
        all = static_cast<u8>(all | bytes[at]);
    return all;
}

}  // namespace bench
