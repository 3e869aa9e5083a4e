// SPDX-License-Identifier: MIT
#include "cli/commands/line_reader.h"

#include <algorithm>
#include <string_view>

#include "cli/client/mistakes.h"

namespace cli {

namespace {

std::string joined(const std::string& path, const std::string& word) {
    return path.empty() ? word : path + " " + word;
}

/// What stands beside a word that leads to commands: their group's help, or the command's own.
std::string helpOf(const std::string& path) {
    for (const Group& group : allGroups())
        if (path == group.path)
            return group.help;
    const Command* const command = findCommand(path);
    return command == nullptr ? "" : command->help;
}

bool takesNone(const Command& command) {
    return command.arguments.front().name == nullptr;
}

bool isOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

bool takesValue(const Command* command, std::string_view name) {
    const auto takes = [name](const Option& option) {
        return option.value != nullptr && isCalled(option, name);
    };
    return std::ranges::any_of(kGlobalOptions, takes) ||
           (command != nullptr && std::ranges::any_of(command->options, takes));
}

std::vector<std::string> begunBy(const std::string& path, const std::string& word) {
    std::vector<std::string> found;
    for (const Candidate& candidate : wordsAfter(path)) {
        if (candidate.word == word)
            return {word};
        if (candidate.word.starts_with(word))
            found.push_back(candidate.word);
    }
    return found;
}

/// Tells words apart of which one begins all others, as "port" and "ports".
void narrow(std::vector<std::string>& found, const std::string& path, std::size_t arguments) {
    const auto shortest = std::ranges::min(found, {}, &std::string::size);
    const bool alike = std::ranges::all_of(
        found, [&](const std::string& word) { return word.starts_with(shortest); });
    if (!alike)
        return;
    std::vector<std::string> fitting;
    for (const std::string& word : found) {
        const Command* const command = findCommand(joined(path, word));
        if (command != nullptr && takesArguments(*command, arguments))
            fitting.push_back(word);
    }
    if (fitting.size() == 1)
        found = fitting;
}

}  // namespace

std::vector<Candidate> wordsAfter(const std::string& path) {
    const std::string start = path.empty() ? "" : path + " ";
    std::vector<Candidate> found;
    for (const auto& table : allCommands()) {
        for (const Command& command : table) {
            const std::string_view whole = command.path;
            if (!whole.starts_with(start))
                continue;
            const std::string word(
                whole.substr(start.size(), whole.find(' ', start.size()) - start.size()));
            if (std::ranges::find(found, word, &Candidate::word) == found.end())
                found.push_back({word, helpOf(joined(path, word))});
        }
    }
    return found;
}

const Command* findCommand(const std::string& path) {
    for (const auto& table : allCommands())
        for (const Command& command : table)
            if (path == command.path)
                return &command;
    return nullptr;
}

bool takesArguments(const Command& command, std::size_t count) {
    std::size_t least = 0;
    std::size_t most = 0;
    for (const Argument& argument : command.arguments) {
        if (argument.name == nullptr)
            break;
        least += argument.optional ? 0 : 1;
        most = argument.rest ? count : most + 1;
    }
    return count >= least && count <= most;
}

bool isCalled(const Option& option, std::string_view name) {
    if (option.name == nullptr)
        return false;
    std::string_view names = option.name;
    while (!names.empty()) {
        const std::size_t comma = std::min(names.find(','), names.size());
        if (names.substr(0, comma) == name)
            return true;
        names.remove_prefix(std::min(comma + 1, names.size()));
    }
    return false;
}

void LineReader::take(std::span<const std::string> rest) {
    const std::string& word = rest.front();
    if (!openOption_.empty()) {
        values_.emplace_back(openOption_, word);
        openOption_.clear();
        words_.push_back(word);
    } else if (isOption(word)) {
        takeOption(word);
    } else if (!takeCommandWord(rest)) {
        arguments_.push_back(word);
        words_.push_back(word);
    }
}

void LineReader::takeOption(const std::string& word) {
    words_.push_back(word);
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    if (!takesValue(command(), name))
        return;
    if (equals == std::string::npos)
        openOption_ = word;
    else
        values_.emplace_back(name, word.substr(equals + 1));
}

bool LineReader::takeCommandWord(std::span<const std::string> rest) {
    const std::string& word = rest.front();
    const Command* const own = command();
    if (!arguments_.empty() || word.empty())
        return false;
    std::vector<std::string> found = begunBy(path_, word);
    // Behind a command that takes arguments an abbreviation could be one of them.
    if (own != nullptr && !takesNone(*own) && (found.empty() || found.front() != word))
        return false;
    if (found.size() > 1 && !help_)
        narrow(found, path_, argumentsIn(rest.subspan(1)));
    if (found.size() == 1) {
        enter(found.front());
        return true;
    }
    if (!problem_.empty())
        return false;
    if (found.size() > 1)
        problem_ = "'" + word + "' may be " + listedOr(found);
    else if (help_)
        problem_ = unknownText(word, namesOf(wordsAfter(path_)));
    return false;
}

void LineReader::enter(const std::string& word) {
    if (path_.empty() && !help_ && word == kHelpWord) {
        help_ = true;
        return;
    }
    path_ = joined(path_, word);
    words_.push_back(word);
}

std::size_t LineReader::argumentsIn(std::span<const std::string> rest) const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (!isOption(rest[i]))
            ++count;
        else if (takesValue(command(), rest[i]))
            ++i;
    }
    return count;
}

const std::string* LineReader::valueOf(const std::string& option) const {
    const auto found =
        std::ranges::find(values_, option, [](const auto& pair) { return pair.first; });
    return found == values_.end() ? nullptr : &found->second;
}

std::vector<std::string> namesOf(const std::vector<Candidate>& candidates) {
    std::vector<std::string> names;
    names.reserve(candidates.size());
    for (const Candidate& candidate : candidates)
        names.push_back(candidate.word);
    return names;
}

LineReader readLine(std::span<const std::string> words) {
    LineReader reader;
    for (std::size_t i = 0; i < words.size(); ++i)
        reader.take(words.subspan(i));
    return reader;
}

}  // namespace cli
