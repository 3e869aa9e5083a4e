// SPDX-License-Identifier: MIT
//
// The ledger of a Linux bridge: which VLAN entries of its ports are the daemon's own. The kernel
// does not say who made an entry, so it is kept in a file: written before an entry is added and
// after one is removed, it always names at least what was added, also when the process was killed.
//
// The file is a header and one record for each port, of a fixed size and within one page each, so
// that a write of a record is there as a whole or not at all; each ends with a checksum. It is good
// for one boot, one network namespace and one bridge interface; a file of another is not used. It
// outlives the process and not the machine, whose bridge does not either, so nothing is
// synchronised to a disk.
//
// Locking: the caller's. Errors: what can not be written is logged once, until it can be again; the
// records in memory go on.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/model/vlan_ranges.h"
#include "platform/runtime/files/descriptor.h"

namespace platform {

/// What a ledger is good for.
struct LedgerScope {
    std::string bootId;
    u64 networkNamespace = 0;  ///< the kernel's cookie of it, 0 unknown
    std::string bridge;        ///< name of the interface
    u32 bridgeIndex = 0;

    bool operator==(const LedgerScope&) const = default;
};

/// The scope of a bridge of this boot in the namespace of the process.
LedgerScope currentScope(const std::string& bridge, u32 bridgeIndex);

struct LedgerRecord {
    u32 index = 0;  ///< of the port
    std::string name;
    VlanBitmap added{};  ///< entries that the daemon made
};

/// What a ledger's file holds, as somebody who only looks sees it.
struct LedgerContents {
    LedgerScope scope;
    std::vector<LedgerRecord> records;
    u32 damaged = 0;  ///< records that are not what was written, and left out
};

/// Reads a ledger without taking it, beside the daemon that keeps it: a change under way may be
/// seen in part, record by record.
/// @return nothing when the file is not there, may not be read, or is no ledger
std::optional<LedgerContents> readLedger(const std::string& path);

class Ledger {
  public:
    /// Opens or makes the file and takes it for this process alone.
    /// @param error  receives what was wrong
    /// @return false when the file can not be had; the ledger is in memory only then
    bool open(const std::string& path, const LedgerScope& scope, std::string& error);
    /// Closes the file and leaves it as it is.
    void close() { file_ = Descriptor(); }

    /// What the file held when it was opened, with other scopes left out.
    const std::vector<LedgerRecord>& found() const { return found_; }

    /// Begins anew for another scope: the bridge was made again.
    void restart(const LedgerScope& scope);
    /// Has a record for the port ready, so that store() allocates nothing. A port that was renamed
    /// keeps its record.
    void prepare(u32 index, const std::string& name);
    /// Writes what is the daemon's on a port that was prepared.
    void store(u32 index, const VlanBitmap& added);
    /// The port is gone with all its entries.
    void forget(u32 index);

  private:
    struct Slot {
        u32 number = 0;  ///< place in the file
        std::string name;
        VlanBitmap added{};
    };

    void adopt();
    bool writeRecord(u32 number, u32 index, const Slot* slot) const;
    bool writeAll() const;
    /// @param slot  null: the place becomes free
    void save(u32 number, u32 index, const Slot* slot);
    void noteResult(bool written);
    u32 freeNumber() const;

    std::string path_;
    LedgerScope scope_;
    Descriptor file_;
    std::vector<LedgerRecord> found_;
    std::map<u32, Slot> slots_;  ///< by index of the port
    bool failing_ = false;       ///< the last write failed
};

}  // namespace platform
