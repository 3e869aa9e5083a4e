// SPDX-License-Identifier: MIT
//
// Bounded reader of big-endian fields. A read past the end yields zero, moves to the end, and is
// remembered in failed(): a decoder checks once after a group of reads, and never over-reads.
#pragma once

#include <span>

#include "platform/contract/types.h"

namespace platform {

class ByteReader {
  public:
    explicit ByteReader(std::span<const u8> bytes) : bytes_(bytes) {}

    u8 readU8() {
        const std::span<const u8> field = take(1);
        return field.empty() ? u8{0} : field[0];
    }

    u16 readU16() {
        const std::span<const u8> field = take(2);
        return field.empty() ? u16{0} : static_cast<u16>(field[0] << 8 | field[1]);
    }

    /// The next `count` bytes, or none of them when fewer are left.
    std::span<const u8> take(std::size_t count) {
        if (count > bytes_.size()) {
            bytes_ = {};
            failed_ = true;
            return {};
        }
        const std::span<const u8> taken = bytes_.first(count);
        bytes_ = bytes_.subspan(count);
        return taken;
    }

    std::size_t left() const { return bytes_.size(); }
    bool failed() const { return failed_; }

  private:
    std::span<const u8> bytes_;
    bool failed_ = false;
};

}  // namespace platform
