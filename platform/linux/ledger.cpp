// SPDX-License-Identifier: MIT
#include "platform/linux/ledger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <optional>
#include <span>

#include "platform/runtime/log.h"

namespace platform {
namespace {

constexpr std::array<char, 16> kMagic = {"mvrp ledger 2\n"};
constexpr const char* kBootIdFile = "/proc/sys/kernel/random/boot_id";
constexpr std::size_t kNameField = 16;  ///< an interface's name with its end
constexpr std::size_t kBlockBytes = 1024;
constexpr std::size_t kPageBytes = 4096;
static_assert(kPageBytes % kBlockBytes == 0, "a block lies within a page");

#ifndef SO_NETNS_COOKIE
constexpr int kNamespaceCookie = 71;  ///< socket option of kernels that older headers do not know
#else
constexpr int kNamespaceCookie = SO_NETNS_COOKIE;
#endif

struct HeaderBlock {
    std::array<char, 16> magic;
    std::array<char, 64> bootId;
    std::array<char, kNameField> bridge;
    u64 networkNamespace;
    u32 bridgeIndex;
    std::array<u8, 912> reserved;
    u32 checksum;  ///< of all before it, as in a record
};
static_assert(sizeof(HeaderBlock) == kBlockBytes);

struct RecordBlock {
    u32 index;  ///< 0: free
    std::array<char, kNameField> name;
    VlanBitmap added;
    std::array<u8, 488> reserved;
    u32 checksum;
};
static_assert(sizeof(RecordBlock) == kBlockBytes);

/// FNV-1a of a block without its last field. It tells what a disk, or another program, has damaged;
/// nobody else may write the file.
template <typename Block>
u32 checksumOf(const Block& block) {
    static_assert(sizeof block == kBlockBytes && offsetof(Block, checksum) == kBlockBytes - 4);
    u32 sum = 2166136261U;
    for (const u8 byte : std::span(reinterpret_cast<const u8*>(&block), kBlockBytes - 4))
        sum = (sum ^ byte) * 16777619U;
    return sum;
}

template <std::size_t size>
void copyText(std::array<char, size>& to, const std::string& text) {
    text.copy(to.data(), to.size() - 1);
}

HeaderBlock headerOf(const LedgerScope& scope) {
    HeaderBlock header{};
    header.magic = kMagic;
    copyText(header.bootId, scope.bootId);
    copyText(header.bridge, scope.bridge);
    header.networkNamespace = scope.networkNamespace;
    header.bridgeIndex = scope.bridgeIndex;
    header.checksum = checksumOf(header);
    return header;
}

off_t placeOf(u32 number) {
    return static_cast<off_t>(kBlockBytes) * (static_cast<off_t>(number) + 1);
}

bool readBlock(int file, void* block, off_t place) {
    return pread(file, block, kBlockBytes, place) == static_cast<ssize_t>(kBlockBytes);
}

bool writeBlock(int file, const void* block, off_t place) {
    return pwrite(file, block, kBlockBytes, place) == static_cast<ssize_t>(kBlockBytes);
}

u64 namespaceCookie() {
    const Descriptor any(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    u64 cookie = 0;
    socklen_t size = sizeof cookie;
    if (getsockopt(any.get(), SOL_SOCKET, kNamespaceCookie, &cookie, &size) != 0)
        return 0;
    return cookie;
}

template <std::size_t size>
std::string textOf(std::array<char, size> field) {
    field.back() = '\0';
    return field.data();
}

LedgerScope scopeOf(const HeaderBlock& header) {
    return {textOf(header.bootId), header.networkNamespace, textOf(header.bridge),
            header.bridgeIndex};
}

/// With the places that are free, so that the number of a record is its place.
std::optional<LedgerContents> readContents(int file) {
    HeaderBlock header{};
    if (!readBlock(file, &header, 0) || header.magic != kMagic ||
        header.checksum != checksumOf(header))
        return std::nullopt;
    LedgerContents contents{scopeOf(header), {}};
    RecordBlock block{};
    for (u32 number = 0; readBlock(file, &block, placeOf(number)); number++) {
        const bool whole = block.checksum == checksumOf(block);
        contents.damaged += whole || block.index == 0 ? 0 : 1;
        contents.records.push_back(
            whole ? LedgerRecord{block.index, textOf(block.name), block.added} : LedgerRecord{});
    }
    return contents;
}

/// The runtime directory may be one that everybody writes to.
bool isOwnFile(int file) {
    struct stat facts {};
    return fstat(file, &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_uid == geteuid() &&
           facts.st_nlink == 1;
}

}  // namespace

LedgerScope currentScope(const std::string& bridge, u32 bridgeIndex) {
    LedgerScope scope{{}, namespaceCookie(), bridge, bridgeIndex};
    std::ifstream file(kBootIdFile);
    std::getline(file, scope.bootId);
    return scope;
}

std::optional<LedgerContents> readLedger(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen())
        return std::nullopt;
    std::optional<LedgerContents> contents = readContents(file.get());
    if (contents)
        std::erase_if(contents->records, [](const LedgerRecord& r) { return r.index == 0; });
    return contents;
}

bool Ledger::open(const std::string& path, const LedgerScope& scope, std::string& error) {
    path_ = path;
    scope_ = scope;
    Descriptor file(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen()) {
        error = path + ": " + errorText(errno) +
                "; the ledger of the bridge has to be writable for the daemon";
        return false;
    }
    if (!isOwnFile(file.get())) {
        error = path + ": not a file of this user; the daemon keeps its ledger there: remove it";
        return false;
    }
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        error = path + ": " +
                (errno == EWOULDBLOCK ? "another daemon drives this bridge; allowed: one"
                                      : "it can not be locked: " + errorText(errno));
        return false;
    }
    file_ = std::move(file);
    adopt();
    return true;
}

void Ledger::adopt() {
    const std::optional<LedgerContents> contents = readContents(file_.get());
    if (!contents || contents->scope != scope_) {
        if (contents)
            logMessage(LogPriority::Notice,
                       "%s is of another boot, network namespace or bridge: it is not used",
                       path_.c_str());
        restart(scope_);
        return;
    }
    if (contents->damaged != 0)
        logMessage(LogPriority::Warning,
                   "%s: %u records are damaged and not used: entries that they named count as "
                   "configured by others",
                   path_.c_str(), contents->damaged);
    for (u32 number = 0; number < contents->records.size(); number++) {
        const LedgerRecord& record = contents->records[number];
        if (record.index == 0)
            continue;
        found_.push_back(record);
        slots_[record.index] = {number, record.name, record.added};
    }
    if (contents->damaged != 0)
        noteResult(writeAll());
}

void Ledger::restart(const LedgerScope& scope) {
    scope_ = scope;
    slots_.clear();
    if (file_.isOpen())
        noteResult(writeAll());
}

u32 Ledger::freeNumber() const {
    u32 number = 0;
    while (std::ranges::any_of(slots_,
                               [number](const auto& slot) { return slot.second.number == number; }))
        number++;
    return number;
}

void Ledger::prepare(u32 index, const std::string& name) {
    auto found = slots_.find(index);
    if (found == slots_.end())
        found = slots_.emplace(index, Slot{freeNumber(), {}, {}}).first;
    else if (found->second.name == name)
        return;
    found->second.name = name;
    save(found->second.number, index, &found->second);
}

void Ledger::store(u32 index, const VlanBitmap& added) {
    const auto found = slots_.find(index);
    if (found == slots_.end() || found->second.added == added)
        return;
    found->second.added = added;
    save(found->second.number, index, &found->second);
}

void Ledger::forget(u32 index) {
    const auto found = slots_.find(index);
    if (found == slots_.end())
        return;
    const u32 number = found->second.number;
    slots_.erase(found);
    save(number, 0, nullptr);
}

bool Ledger::writeRecord(u32 number, u32 index, const Slot* slot) const {
    RecordBlock block{};
    if (slot != nullptr) {
        block.index = index;
        copyText(block.name, slot->name);
        block.added = slot->added;
    }
    block.checksum = checksumOf(block);
    return writeBlock(file_.get(), &block, placeOf(number));
}

bool Ledger::writeAll() const {
    const HeaderBlock header = headerOf(scope_);
    if (ftruncate(file_.get(), 0) != 0 || !writeBlock(file_.get(), &header, 0))
        return false;
    return std::ranges::all_of(slots_, [this](const auto& slot) {
        return writeRecord(slot.second.number, slot.first, &slot.second);
    });
}

void Ledger::save(u32 number, u32 index, const Slot* slot) {
    if (!file_.isOpen())
        return;
    // After a failure nobody knows what the file holds.
    noteResult(failing_ ? writeAll() : writeRecord(number, index, slot));
}

void Ledger::noteResult(bool written) {
    if (!written && !failing_)
        logMessage(LogPriority::Error,
                   "%s: %s; the daemon goes on, but what it adds to the bridge stays there when it "
                   "is killed",
                   path_.c_str(), errorText(errno).c_str());
    else if (written && failing_)
        logMessage(LogPriority::Notice, "%s is written again", path_.c_str());
    failing_ = !written;
}

}  // namespace platform
