// SPDX-License-Identifier: MIT
//
// What qorHwilCmdSyncApi() does on this host: a command goes to the standby, if one is connected,
// and into the configuration store.
#pragma once

#include <memory>
#include <string>

#include "platform/replication/standby_link.h"
#include "platform/replication/store.h"

namespace platform {

/// Why commands are given, which decides what becomes of the store.
enum class CommandSource {
    Management,  ///< somebody asks for it now: it is kept
    StartUp,     ///< file and store are applied: the store stays as it is
    ConfigFile,  ///< a file that has changed is applied: what it sets leaves the store
};

class CommandCarrier {
  public:
    /// @param storeFile  empty: no store
    /// @param corrections  that this process runs with: a standby has to run with the same
    /// @param owner  of the link
    CommandCarrier(const std::string& storeFile, const StandbyConfig& standby,
                   CorrectionSet corrections, LinkOwner owner);

    /// Reads the store and starts to look for the standby, where one is configured.
    void start();

    /// Command task.
    void setSource(CommandSource source) { source_ = source; }
    CommandSource source() const { return source_; }

    /// A person asks for something, or a file is read: all settings that follow from it wait for
    /// the standby for kPeerWait together. Command task.
    void newRequest() { until_ = std::chrono::steady_clock::now() + kPeerWait; }

    /// Arguments and result are those of qorHwilCmdSyncApi(). Settings come from the command task
    /// and wait for the standby; synchronisation packets come from any and do not.
    u32 carry(u32 unit, u32 command, void* value);

    bool standbyConnected() const { return link_ != nullptr && link_->connected(); }
    CommandStore& store() { return store_; }

  private:
    CommandStore store_;
    std::unique_ptr<StandbyLink> link_;  ///< of an active with a peer
    CommandSource source_ = CommandSource::StartUp;
    Deadline until_{};  ///< the command task's
};

}  // namespace platform
