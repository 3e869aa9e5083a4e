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
constexpr const char* kBrokenSuffix = ".broken";

std::optional<ManagementCommand> parseLine(const std::string& line) {
    std::istringstream words(line);
    u32 command = 0;
    u32 unit = 0;
    u32 value = 0;
    std::string more;
    if (!(words >> std::hex >> command >> std::dec >> unit >> value) || words >> more)
        return std::nullopt;
    return parseCommand(unit, command, value);
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

std::string formatStore(std::span<const ManagementCommand> commands) {
    std::ostringstream text;
    text << kHeadline << "\n";
    for (const ManagementCommand& command : commands)
        text << std::hex << commandNumber(command) << " " << std::dec << command.unit << " "
             << command.value << "\n";
    return text.str();
}

std::optional<std::vector<ManagementCommand>> parseStore(const std::string& text, u32& line) {
    std::istringstream lines(text);
    std::vector<ManagementCommand> commands;
    std::string written;
    line = 1;
    if (!std::getline(lines, written) || written != kHeadline)
        return std::nullopt;
    while (std::getline(lines, written)) {
        line++;
        const auto command = parseLine(written);
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
        if (auto commands = parseStore(text, line)) {
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

/// Caller holds the guard.
void CommandStore::changed() {
    dirty_ = true;
    wake_.notify_all();
}

void CommandStore::record(const ManagementCommand& command) {
    if (path_.empty())
        return;
    const std::lock_guard lock(guard_);
    appendCommand(commands_, command);
    changed();
}

void CommandStore::supersede(const ManagementCommand& command) {
    const std::lock_guard lock(guard_);
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
        const std::string text = formatStore(commands_);
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
