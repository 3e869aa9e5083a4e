// SPDX-License-Identifier: MIT
//
// The configuration store: a file that keeps the commands that management gave, so that a restart
// finds them. They are later than the configuration file: at a start the file is applied first,
// then they are. A setting that a changed configuration file sets again (SIGHUP) leaves the store.
//
// Ports are kept by unit, or by name where units may be others at the next start.
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
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/config/management_commands.h"

namespace platform {

/// Names of ports, each with a number that stands for it in the commands of a store by name.
class StoredNames {
  public:
    /// The number of a name, from 1; a new one when it has none.
    u32 numberOf(const std::string& name);
    const std::string& name(u32 number) const { return names_.at(number - 1); }

  private:
    std::vector<std::string> names_;
};

class CommandStore {
  public:
    /// @param path  of the file; empty: nothing is kept
    explicit CommandStore(std::string path);
    ~CommandStore();
    CommandStore(const CommandStore&) = delete;
    CommandStore& operator=(const CommandStore&) = delete;
    CommandStore(CommandStore&&) = delete;
    CommandStore& operator=(CommandStore&&) = delete;

    /// Keeps ports by name. Before open().
    /// @param nameOf  name of a unit; empty when there is no such port: nothing is kept of it.
    /// Called
    ///                without the guard of the store
    void keepByName(std::function<std::string(u32 unit)> nameOf) { nameOf_ = std::move(nameOf); }

    /// Reads the file, if there is one, and starts the writer. A file that is not a store is kept
    /// aside under another name, with a log line, and what it says is not used.
    void open();

    /// What the configuration file says, with the commands kept here on top of it.
    ManagementConfig appliedTo(ManagementConfig settings) const;
    /// The same of a store by name, for the ports that there are.
    /// @param unitOf  unit of a port that there is
    using UnitOf = std::function<std::optional<u32>(const std::string& name)>;
    ManagementConfig appliedTo(ManagementConfig settings, const UnitOf& unitOf) const;

    void record(const ManagementCommand& command);
    /// The configuration file has set this: what is kept of it is no longer later.
    void supersede(const ManagementCommand& command);
    /// The same of a store by name, for all that a file sets otherwise than the one before it.
    /// @param settingsOf  of a port in one of the two
    using SettingsOf = std::function<PortManagement(const std::string& name)>;
    void supersede(const ManagementConfig& before, const SettingsOf& portBefore,
                   const ManagementConfig& next, const SettingsOf& portNext);

    /// What is kept, to come back to.
    std::vector<ManagementCommand> kept() const;
    void restore(std::vector<ManagementCommand> commands);

    /// Waits until all that was recorded is in the file, or could not be written, but no longer
    /// than `within`. @return whether it is done
    bool flush(std::chrono::milliseconds within = std::chrono::hours(1));

  private:
    void writerLoop();
    void changed();
    /// @pre guard_ is held
    void erase(const ManagementCommand& command);
    /// As it is kept. @return nothing when its port is gone
    std::optional<ManagementCommand> numbered(ManagementCommand command);

    const std::string path_;
    std::function<std::string(u32)> nameOf_;  ///< absent: ports are kept by unit
    mutable std::mutex guard_;                ///< of all below
    std::condition_variable wake_;
    std::condition_variable settled_;
    std::vector<ManagementCommand> commands_;  ///< in the order in which they were given
    StoredNames names_;                        ///< of a store by name, whose units are numbers here
    bool dirty_ = false;
    bool writing_ = false;
    bool running_ = false;
    bool stopping_ = false;
};

/// Adds a command to a list and takes out what it makes meaningless, so that a list never grows
/// beyond a few commands for each port.
void appendCommand(std::vector<ManagementCommand>& commands, const ManagementCommand& command);

/// The text of a store file, and the commands of one.
/// @param names  of a store by name; null: it is one by unit
std::string formatStore(std::span<const ManagementCommand> commands,
                        const StoredNames* names = nullptr);
/// @param line  receives the number of the wrong line when there is one
std::optional<std::vector<ManagementCommand>> parseStore(const std::string& text, u32& line,
                                                         StoredNames* names = nullptr);

}  // namespace platform
