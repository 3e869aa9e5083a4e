// SPDX-License-Identifier: MIT
//
// A directory of one test or benchmark, which goes with all that is in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

class ScratchDirectory {
  public:
    ScratchDirectory() {
        if (mkdtemp(path_.data()) == nullptr)
            throw std::runtime_error("no directory " + path_);
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ScratchDirectory(ScratchDirectory&&) = delete;
    ScratchDirectory& operator=(ScratchDirectory&&) = delete;

    const std::string& path() const { return path_; }
    /// Of a file in it.
    std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }

  private:
    std::string path_ = std::filesystem::temp_directory_path() / "mvrp-scratch-XXXXXX";
};
