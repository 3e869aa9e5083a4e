// SPDX-License-Identifier: MIT
//
// fuzz-replay TARGET FOLDER: runs the files of a folder through a target, without libFuzzer. Exit
// status 0; 2 for an unknown target, or a folder without files.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "tests/fuzz/targets.h"

namespace {

constexpr int kExitUsage = 2;

std::vector<std::filesystem::path> filesOf(const char* folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int count, char** values) {
    const auto all = fuzz::targets();
    const auto target = std::find_if(all.begin(), all.end(), [&](const auto& row) {
        return count == 3 && row.name == values[1];
    });
    const auto files =
        target == all.end() ? std::vector<std::filesystem::path>() : filesOf(values[2]);
    if (files.empty()) {
        std::cerr << "usage: fuzz-replay TARGET FOLDER, a folder with inputs; targets here:";
        for (const auto& row : all)
            std::cerr << ' ' << row.name;
        std::cerr << '\n';
        return kExitUsage;
    }
    for (const auto& path : files) {
        std::cerr << path.filename().string() << '\n';
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
        target->run({reinterpret_cast<const u8*>(bytes.data()), bytes.size()});
    }
    std::cerr << files.size() << " inputs\n";
    return 0;
}
