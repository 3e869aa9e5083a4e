// SPDX-License-Identifier: MIT
//
// File descriptors with an owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform {

/// File descriptor that closes itself.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Descriptor taken(std::move(other));
        std::swap(number_, taken.number_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number_ >= 0)
            close(number_);
    }

    int get() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    int release() { return std::exchange(number_, -1); }

  private:
    int number_;
};

}  // namespace platform
