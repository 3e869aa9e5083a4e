// SPDX-License-Identifier: MIT
//
// fuzz-slice TARGET FOLDER [--inputs N] [--seed N] [--first I]: inputs made from those of a folder
// by simple changes, without a look at what they reach, so that any compiler's build can run them.
// Input I of a seed is always the same. They run in a process of their own; when that ends badly,
// the input is written to fuzz-TARGET-SEED-I and the way to run it again is printed. Exit status 0;
// 1 for a failing input; 2 for wrong arguments.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/virtual/network/random.h"
#include "tests/fuzz/targets.h"

namespace {

using Bytes = std::vector<u8>;
using simulation::Random;

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr std::size_t kMostBytes = 2048;
constexpr u32 kMostChanges = 8;

struct Options {
    std::string_view target;
    std::string folder;
    u64 inputs = 1000;
    u64 seed = 0;
    u64 first = 0;
};

bool parseNumber(std::string_view text, u64& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool parseArguments(int count, char** values, Options& options) {
    if (count < 3 || count % 2 == 0)
        return false;
    options.target = values[1];
    options.folder = values[2];
    options.seed = static_cast<u64>(std::chrono::system_clock::now().time_since_epoch().count());
    for (int at = 3; at < count; at += 2) {
        const std::string_view name = values[at];
        u64* number = name == "--inputs"  ? &options.inputs
                      : name == "--seed"  ? &options.seed
                      : name == "--first" ? &options.first
                                          : nullptr;
        if (number == nullptr || !parseNumber(values[at + 1], *number))
            return false;
    }
    return true;
}

std::vector<Bytes> readCorpus(const std::string& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<Bytes> corpus;
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        corpus.emplace_back(text.begin(), text.end());
    }
    return corpus;
}

/// A place in the input, its end included.
std::ptrdiff_t anyPlace(const Bytes& input, Random& random) {
    return random.below(static_cast<u32>(input.size()) + 1);
}

/// Numbers at which something often changes, as one or two bytes.
void writeInteresting(Bytes& input, Random& random) {
    static constexpr std::array<u32, 12> kNumbers = {
        0, 1, 2, 0x7F, 0x80, 0xFF, 0x0FFE, 0x0FFF, 0x1000, 0x1FFF, 0x2001, 0xFFFF};
    const u32 number = kNumbers[random.below(kNumbers.size())];
    const auto at = static_cast<std::size_t>(anyPlace(input, random));
    const std::size_t length = random.percent(50) ? 1 : 2;
    for (std::size_t index = 0; index < length && at + index < input.size(); index++)
        input[at + index] = static_cast<u8>(number >> 8U * (length - 1 - index));
}

void insertPart(Bytes& input, const Bytes& other, Random& random) {
    const std::ptrdiff_t from = anyPlace(other, random);
    const auto left = static_cast<u32>(static_cast<std::ptrdiff_t>(other.size()) - from);
    const std::ptrdiff_t length = random.below(left + 1);
    const Bytes part(other.begin() + from, other.begin() + from + length);
    input.insert(input.begin() + anyPlace(input, random), part.begin(), part.end());
}

void change(Bytes& input, const std::vector<Bytes>& corpus, Random& random) {
    const auto size = static_cast<u32>(input.size());
    switch (random.below(7)) {
        case 0:  // a bit
            if (size != 0)
                input[random.below(size)] ^= static_cast<u8>(1U << random.below(8));
            return;
        case 1:  // a byte
            if (size != 0)
                input[random.below(size)] = static_cast<u8>(random.next());
            return;
        case 2:
            return writeInteresting(input, random);
        case 3:  // some bytes more
            for (u32 count = 1 + random.below(8); count > 0; count--)
                input.insert(input.begin() + anyPlace(input, random),
                             static_cast<u8>(random.next()));
            return;
        case 4: {  // some bytes fewer
            const std::ptrdiff_t from = anyPlace(input, random);
            const u32 left = size - static_cast<u32>(from);
            input.erase(input.begin() + from, input.begin() + from + random.below(left + 1));
            return;
        }
        case 5:  // a part of another input, or of itself
            return insertPart(input, corpus[random.below(static_cast<u32>(corpus.size()))], random);
        default:  // cut off
            input.resize(static_cast<std::size_t>(anyPlace(input, random)));
    }
}

Bytes makeInput(const std::vector<Bytes>& corpus, u64 seed, u64 number) {
    Random random(seed ^ Random(number).next());
    Bytes input = corpus[random.below(static_cast<u32>(corpus.size()))];
    for (u32 count = 1 + random.below(kMostChanges); count > 0; count--)
        change(input, corpus, random);
    input.resize(std::min(input.size(), kMostBytes));
    return input;
}

/// In the process of its own. `reached` is what the process that waits sees of it.
void runInputs(const fuzz::Target& target, const std::vector<Bytes>& corpus, const Options& options,
               volatile u64* reached) {
    for (u64 number = options.first; number < options.first + options.inputs; number++) {
        *reached = number;
        const Bytes input = makeInput(corpus, options.seed, number);
        target.run(input);
    }
}

int reportFailure(const Options& options, const Bytes& input, u64 number) {
    const std::string name = "fuzz-" + std::string(options.target) + "-" +
                             std::to_string(options.seed) + "-" + std::to_string(number);
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(input.data()),
               static_cast<std::streamsize>(input.size()));
    std::fprintf(stderr,
                 "FAILED: input %llu, written to %s\n"
                 "again: fuzz-slice %s %s --seed %llu --first %llu --inputs 1\n",
                 static_cast<unsigned long long>(number), name.c_str(),
                 std::string(options.target).c_str(), options.folder.c_str(),
                 static_cast<unsigned long long>(options.seed),
                 static_cast<unsigned long long>(number));
    return kExitFailed;
}

int runSlice(const fuzz::Target& target, const std::vector<Bytes>& corpus, const Options& options) {
    void* shared =
        ::mmap(nullptr, sizeof(u64), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::perror("fuzz-slice: no shared memory");
        return kExitFailed;
    }
    auto* reached = static_cast<volatile u64*>(shared);
    const pid_t child = ::fork();
    if (child == 0) {
        runInputs(target, corpus, options, reached);
        std::exit(0);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) < 0) {
        std::perror("fuzz-slice: no process for the inputs");
        return kExitFailed;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return 0;
    const u64 number = *reached;
    return reportFailure(options, makeInput(corpus, options.seed, number), number);
}

}  // namespace

int main(int count, char** values) {
    Options options;
    const auto all = fuzz::targets();
    const bool understood = parseArguments(count, values, options);
    const auto target = std::find_if(
        all.begin(), all.end(), [&options](const auto& row) { return row.name == options.target; });
    const auto corpus = understood ? readCorpus(options.folder) : std::vector<Bytes>();
    if (target == all.end() || corpus.empty()) {
        std::fputs(
            "usage: fuzz-slice TARGET FOLDER [--inputs N] [--seed N] [--first I], a folder with "
            "inputs; targets here:",
            stderr);
        for (const auto& row : all)
            std::fprintf(stderr, " %s", std::string(row.name).c_str());
        std::fputc('\n', stderr);
        return kExitUsage;
    }
    std::fprintf(stderr, "seed %llu, %llu inputs\n", static_cast<unsigned long long>(options.seed),
                 static_cast<unsigned long long>(options.inputs));
    return runSlice(*target, corpus, options);
}
