// SPDX-License-Identifier: MIT
//
// Memory that another process filled and nobody can change any more (memfd_create, sealed): it can
// be read without waiting for anybody, and says the same each time.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace platform {

/// Whether the descriptor is of memory that is sealed against writing and shrinking.
bool isSealedMemory(int descriptor);

/// All that is in it. @return nothing when it is no sealed memory, or holds more than `mostBytes`
std::optional<std::string> readSealedMemory(int descriptor, std::size_t mostBytes);

}  // namespace platform
