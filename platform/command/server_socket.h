// SPDX-License-Identifier: MIT
//
// Listening UNIX stream sockets of the host.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace platform {

/// A file descriptor that is closed at its end.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int number() const { return number_; }
    bool valid() const { return number_ >= 0; }
    void reset();

  private:
    int number_ = -1;
};

/// Listens on `path`, non-blocking. A socket that a process left behind is replaced, one that is
/// served is not. Owner and `group`, if given, may connect.
/// @param error  receives what was wrong when the result is not valid
Descriptor listenUnix(const std::string& path, std::optional<gid_t> group, std::string& error);

/// Connects to `path`, waiting at most the time that the listener needs to accept.
/// @param error  as above
Descriptor connectUnix(const std::string& path, std::string& error);

}  // namespace platform
