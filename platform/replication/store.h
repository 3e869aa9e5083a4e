// SPDX-License-Identifier: MIT
//
// The configuration store: a file that keeps the commands that management gave, so that a restart
// finds them. They are later than the configuration file: at a start the file is applied first,
// then they are. A setting that a changed configuration file sets again (SIGHUP) leaves the store.
//
// Writing goes on in a thread of its own, which replaces the file as a whole, so a command never
// waits for a disk; a crash of the machine may lose the commands of the last moment. When the file
// can not be written that is logged, the commands succeed all the same, and the next change tries
// again.
//
// Locking: any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "platform/config/management_commands.h"

namespace platform {

class CommandStore {
  public:
    /// @param path  of the file; empty: nothing is kept
    explicit CommandStore(std::string path);
    ~CommandStore();
    CommandStore(const CommandStore&) = delete;
    CommandStore& operator=(const CommandStore&) = delete;
    CommandStore(CommandStore&&) = delete;
    CommandStore& operator=(CommandStore&&) = delete;

    /// Reads the file, if there is one, and starts the writer. A file that is not a store is kept
    /// aside under another name, with a log line, and what it says is not used.
    void open();

    /// What the configuration file says, with the commands kept here on top of it.
    ManagementConfig appliedTo(ManagementConfig settings) const;

    void record(const ManagementCommand& command);
    /// The configuration file has set this: what is kept of it is no longer later.
    void supersede(const ManagementCommand& command);

    /// Waits until all that was recorded is in the file, or could not be written, but no longer
    /// than `within`. @return whether it is done
    bool flush(std::chrono::milliseconds within = std::chrono::hours(1));

  private:
    void writerLoop();
    void changed();

    const std::string path_;
    mutable std::mutex guard_;  ///< of all below
    std::condition_variable wake_;
    std::condition_variable settled_;
    std::vector<ManagementCommand> commands_;  ///< in the order in which they were given
    bool dirty_ = false;
    bool writing_ = false;
    bool running_ = false;
    bool stopping_ = false;
};

/// Adds a command to a list and takes out what it makes meaningless, so that a list never grows
/// beyond a few commands for each port.
void appendCommand(std::vector<ManagementCommand>& commands, const ManagementCommand& command);

/// The text of a store file, and the commands of one.
std::string formatStore(std::span<const ManagementCommand> commands);
/// @param line  receives the number of the wrong line when there is one
std::optional<std::vector<ManagementCommand>> parseStore(const std::string& text, u32& line);

}  // namespace platform
