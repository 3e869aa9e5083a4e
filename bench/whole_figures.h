// SPDX-License-Identifier: MIT
//
// What the measurements of the whole program write down: pairs like those of Google Benchmark, in
// its JSON, and figures that have a goal of their own.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace bench {

class Figures {
  public:
    /// Nanoseconds a unit of the work and of its limit.
    void pair(const std::string& name, double workNs, double limitNs);
    /// A figure that must not be above its goal, if it has one.
    void figure(const std::string& name, const std::string& unit, double value,
                std::optional<double> goal);
    /// Writes all to a file.
    void write(const std::string& path) const;

  private:
    std::vector<std::string> entries_;
};

}  // namespace bench
