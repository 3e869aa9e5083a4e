// SPDX-License-Identifier: MIT
#include "platform/replication/store.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "platform/runtime/files/atomic_file.h"
#include "platform/runtime/log.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kWriterStack = 256 * 1024;
constexpr const char* kHeadline = "mvrp configuration store 1";
constexpr const char* kHeadlineByName = "mvrp configuration store 1 by name";
/// In the place of a port, for what is about none.
constexpr const char* kNoPort = "-";
constexpr const char* kBrokenSuffix = ".broken";

std::optional<ManagementCommand> parseLine(const std::string& line, StoredNames* names) {
    std::istringstream words(line);
    u32 command = 0;
    u32 unit = 0;
    u32 value = 0;
    std::string name;
    std::string more;
    words >> std::hex >> command >> std::dec;
    if (names == nullptr)
        words >> unit;
    else if (words >> name && name != kNoPort)
        unit = names->numberOf(name);
    if (!(words >> value) || words >> more)
        return std::nullopt;
    const auto parsed = parseCommand(unit, command, value);
    return parsed && names != nullptr && parsed->ofPort != (unit != 0) ? std::nullopt : parsed;
}

/// Calls `take` for each setting that is another than before.
template <typename Take>
void forEachChange(u32 number, const PortManagement& before, const PortManagement& next,
                   Take take) {
    if (next.enable != before.enable)
        take({true, number, MVRP_PORT_ENABLE, next.enable.value_or(MVRP_OFF)});
    for (std::size_t i = 0; i < kMvrpPortSettings.size(); i++)
        if (next.*kPortSettingFields[i] != before.*kPortSettingFields[i])
            take({true, number, kMvrpPortSettings[i].attribute, 0});
}

}  // namespace

void appendCommand(std::vector<ManagementCommand>& commands, const ManagementCommand& command) {
    std::erase_if(commands, [&command](const ManagementCommand& earlier) {
        if (command.disablesAll())
            return true;
        if (command.disablesPort())
            return earlier.ofPort && earlier.unit == command.unit;
        // What was disabled before stays known: it is what later settings begin from.
        return earlier.sameSetting(command) && !earlier.disablesAll() && !earlier.disablesPort();
    });
    commands.push_back(command);
}

u32 StoredNames::numberOf(const std::string& name) {
    const auto found = std::ranges::find(names_, name);
    const auto number = static_cast<u32>(found - names_.begin()) + 1;
    if (found == names_.end())
        names_.push_back(name);
    return number;
}

std::string formatStore(std::span<const ManagementCommand> commands, const StoredNames* names) {
    std::ostringstream text;
    text << (names == nullptr ? kHeadline : kHeadlineByName) << "\n";
    for (const ManagementCommand& command : commands) {
        text << std::hex << commandNumber(command) << " " << std::dec;
        if (names == nullptr)
            text << command.unit;
        else
            text << (command.ofPort ? names->name(command.unit) : kNoPort);
        text << " " << command.value << "\n";
    }
    return text.str();
}

std::optional<std::vector<ManagementCommand>> parseStore(const std::string& text, u32& line,
                                                         StoredNames* names) {
    std::istringstream lines(text);
    std::vector<ManagementCommand> commands;
    std::string written;
    line = 1;
    if (!std::getline(lines, written) ||
        written != (names == nullptr ? kHeadline : kHeadlineByName))
        return std::nullopt;
    while (std::getline(lines, written)) {
        line++;
        const auto command = parseLine(written, names);
        if (!command)
            return std::nullopt;
        appendCommand(commands, *command);
    }
    return commands;
}

CommandStore::CommandStore(std::string path) : path_(std::move(path)) {}

CommandStore::~CommandStore() {
    std::unique_lock lock(guard_);
    stopping_ = true;
    wake_.notify_all();
    settled_.wait(lock, [this] { return !running_; });
}

void CommandStore::open() {
    if (path_.empty())
        return;
    std::ifstream file(path_, std::ios::binary);
    if (file) {
        const std::string text((std::istreambuf_iterator<char>(file)), {});
        u32 line = 0;
        if (auto commands = parseStore(text, line, nameOf_ ? &names_ : nullptr)) {
            commands_ = std::move(*commands);
        } else {
            const std::string aside = path_ + kBrokenSuffix;
            std::rename(path_.c_str(), aside.c_str());
            logMessage(LogPriority::Error,
                       "%s:%u: not a configuration store of this program; it is kept as %s and "
                       "not used",
                       path_.c_str(), line, aside.c_str());
        }
    }
    running_ = startThread("mvrpstore", kWriterStack, [this] { writerLoop(); });
    if (!running_)
        logMessage(LogPriority::Error, "%s: no thread to write it", path_.c_str());
}

ManagementConfig CommandStore::appliedTo(ManagementConfig settings) const {
    const std::lock_guard lock(guard_);
    for (const ManagementCommand& command : commands_)
        applyCommand(settings, command);
    return settings;
}

ManagementConfig CommandStore::appliedTo(ManagementConfig settings, const UnitOf& unitOf) const {
    const std::lock_guard lock(guard_);
    for (ManagementCommand command : commands_) {
        const auto unit =
            command.ofPort ? unitOf(names_.name(command.unit)) : std::optional<u32>(0);
        if (!unit)
            continue;
        command.unit = *unit;
        applyCommand(settings, command);
    }
    return settings;
}

/// Caller holds the guard.
void CommandStore::changed() {
    dirty_ = true;
    wake_.notify_all();
}

std::optional<ManagementCommand> CommandStore::numbered(ManagementCommand command) {
    if (!nameOf_ || !command.ofPort)
        return command;
    const std::string name = nameOf_(command.unit);
    if (name.empty())
        return std::nullopt;
    const std::lock_guard lock(guard_);
    command.unit = names_.numberOf(name);
    return command;
}

void CommandStore::record(const ManagementCommand& command) {
    if (path_.empty())
        return;
    const auto kept = numbered(command);
    if (!kept)
        return;
    const std::lock_guard lock(guard_);
    appendCommand(commands_, *kept);
    changed();
}

void CommandStore::supersede(const ManagementCommand& command) {
    const auto kept = path_.empty() ? std::nullopt : numbered(command);
    if (!kept)
        return;
    const std::lock_guard lock(guard_);
    erase(*kept);
}

void CommandStore::supersede(const ManagementConfig& before, const SettingsOf& portBefore,
                             const ManagementConfig& next, const SettingsOf& portNext) {
    const std::lock_guard lock(guard_);
    const auto eraseOne = [this](const ManagementCommand& command) { erase(command); };
    if (next.enable != before.enable)
        eraseOne({false, 0, MVRP_SCALAR_ENABLE, next.enable.value_or(MVRP_OFF)});
    if (next.compliance != before.compliance)
        eraseOne({false, 0, MVRP_SCALAR_GVRP_COMPLIANCE, 0});
    std::vector<u32> numbers;
    for (const ManagementCommand& command : commands_)
        if (command.ofPort)
            numbers.push_back(command.unit);
    for (const u32 number : numbers) {
        const std::string& name = names_.name(number);
        forEachChange(number, portBefore(name), portNext(name), eraseOne);
    }
}

std::vector<ManagementCommand> CommandStore::kept() const {
    const std::lock_guard lock(guard_);
    return commands_;
}

void CommandStore::restore(std::vector<ManagementCommand> commands) {
    const std::lock_guard lock(guard_);
    commands_ = std::move(commands);
    changed();
}

void CommandStore::erase(const ManagementCommand& command) {
    const auto before = commands_.size();
    std::erase_if(commands_, [&command](const ManagementCommand& kept) {
        return command.disablesAll() || kept.sameSetting(command) ||
               (command.disablesPort() && kept.ofPort && kept.unit == command.unit);
    });
    if (commands_.size() != before)
        changed();
}

bool CommandStore::flush(std::chrono::milliseconds within) {
    std::unique_lock lock(guard_);
    return settled_.wait_for(lock, within, [this] { return !running_ || (!dirty_ && !writing_); });
}

void CommandStore::writerLoop() {
    std::unique_lock lock(guard_);
    while (!stopping_ || dirty_) {
        wake_.wait(lock, [this] { return dirty_ || stopping_; });
        if (!dirty_)
            continue;
        const std::string text = formatStore(commands_, nameOf_ ? &names_ : nullptr);
        dirty_ = false;
        writing_ = true;
        lock.unlock();
        std::string error;
        if (!replaceFile(path_, text, error))
            logMessage(LogPriority::Error,
                       "%s: the configuration store could not be written: %s; the settings are in "
                       "force, and written with the next change",
                       path_.c_str(), error.c_str());
        lock.lock();
        writing_ = false;
        settled_.notify_all();
    }
    running_ = false;
    settled_.notify_all();
}

}  // namespace platform
