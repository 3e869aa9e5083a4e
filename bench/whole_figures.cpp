// SPDX-License-Identifier: MIT
#include "bench/whole_figures.h"

#include <fstream>
#include <sstream>

namespace bench {

void Figures::pair(const std::string& name, double workNs, double limitNs) {
    std::ostringstream entry;
    entry << R"({"name": ")" << name << R"(", "work_ns": )" << workNs << R"(, "limit_ns": )"
          << limitNs << R"(, "ratio": )" << workNs / limitNs << '}';
    entries_.push_back(entry.str());
}

void Figures::figure(const std::string& name, const std::string& unit, double value,
                     std::optional<double> goal) {
    std::ostringstream entry;
    entry << R"({"name": ")" << name << R"(", "unit": ")" << unit << R"(", "value": )" << value;
    if (goal)
        entry << R"(, "goal": )" << *goal;
    entry << '}';
    entries_.push_back(entry.str());
}

void Figures::write(const std::string& path) const {
    std::ofstream file(path);
    file << "{\"benchmarks\": [\n";
    for (size_t i = 0; i < entries_.size(); ++i)
        file << "  " << entries_[i] << (i + 1 < entries_.size() ? ",\n" : "\n");
    file << "]}\n";
}

}  // namespace bench
