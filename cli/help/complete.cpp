// SPDX-License-Identifier: MIT
#include <algorithm>
#include <set>
#include <sstream>
#include <string_view>

#include "cli/commands/commands.h"
#include "cli/help/help.h"
#include "platform/contract/qor_vlan.h"

namespace cli {

namespace {

constexpr u32 kPatienceS = 2;

std::vector<std::string> wordsOf(std::string_view text, char between) {
    std::vector<std::string> words;
    std::istringstream stream{std::string(text)};
    for (std::string word; std::getline(stream, word, between);)
        if (!word.empty())
            words.push_back(word);
    return words;
}

/// One command line that is being written.
class Completion {
  public:
    explicit Completion(const std::vector<std::string>& words) : begun_(words.back()) {
        for (std::size_t i = 0; i + 1 < words.size(); ++i)
            read(words[i]);
    }

    std::vector<std::string> candidates() {
        if (!optionName_.empty())
            addValues(optionName_.substr(2), {});
        else if (begun_.starts_with("-"))
            addOptions();
        else
            addWords();
        std::vector<std::string> fitting;
        for (const std::string& word : found_)
            if (word == kCompleteFiles || word.starts_with(begun_))
                fitting.push_back(word);
        return fitting;
    }

  private:
    /// Takes a word that stands before the one that is being written.
    void read(const std::string& word) {
        if (!optionName_.empty()) {
            if (optionName_ == "--socket")
                socket_ = word;
            optionName_.clear();
        } else if (word.starts_with("-")) {
            optionName_ = takesValue(word) ? word : "";
        } else if (arguments_ == 0 && isPath(path_.empty() ? word : path_ + " " + word)) {
            path_ += (path_.empty() ? "" : " ") + word;
        } else {
            ++arguments_;
        }
    }

    static bool isPath(const std::string& path) {
        for (const auto& table : allCommands()) {
            for (const Command& command : table)
                if (command.path == path || std::string(command.path).starts_with(path + " "))
                    return true;
        }
        return false;
    }

    const Command* command() const {
        for (const auto& table : allCommands()) {
            for (const Command& command : table)
                if (command.path == path_)
                    return &command;
        }
        return nullptr;
    }

    bool takesValue(const std::string& name) const {
        const auto takes = [&name](const Option& option) {
            return option.name != nullptr && option.value != nullptr &&
                   std::ranges::count(wordsOf(option.name, ','), name) != 0;
        };
        const Command* const own = command();
        return std::ranges::any_of(kGlobalOptions, takes) ||
               (own != nullptr && std::ranges::any_of(own->options, takes));
    }

    void addOptions() {
        for (const Option& option : kGlobalOptions)
            for (const std::string& name : wordsOf(option.name, ','))
                found_.insert(name);
        const Command* const own = command();
        for (std::size_t i = 0; own != nullptr && i < own->options.size(); ++i)
            if (own->options.at(i).name != nullptr)
                found_.insert(own->options.at(i).name);
    }

    void addWords() {
        const std::string start = path_.empty() ? "" : path_ + " ";
        for (const auto& table : allCommands()) {
            for (const Command& command : table) {
                const std::string path = command.path;
                if (arguments_ == 0 && path.starts_with(start))
                    found_.insert(
                        path.substr(start.size(), path.find(' ', start.size()) - start.size()));
            }
        }
        found_.erase("");
        if (const Command* const own = command())
            addArgument(*own);
    }

    void addArgument(const Command& own) {
        std::size_t index = 0;
        while (index < arguments_ && index + 1 < own.arguments.size() &&
               own.arguments.at(index + 1).name != nullptr)
            ++index;
        const Argument& argument = own.arguments.at(index);
        if (argument.name == nullptr || (index < arguments_ && !argument.rest))
            return;
        if (argument.words != nullptr) {
            for (const std::string& word : wordsOf(argument.words(), ' '))
                found_.insert(word);
            return;
        }
        addValues(argument.name, argument.help);
    }

    /// Candidates for an argument or the value of an option of this name.
    void addValues(const std::string& name, const char* help) {
        if (name == "port" || name == "aggregation")
            addPorts();
        else if (name == "vlan" || name == "vlans")
            addVlans();
        else if (name == "file" || name == "socket")
            found_.insert(kCompleteFiles);
        else if (help != nullptr)
            addChoices(help);
    }

    /// "up|down" at the beginning of a help.
    void addChoices(std::string_view help) {
        const std::string_view first = help.substr(0, help.find_first_of(" :;"));
        if (first.find('|') == std::string_view::npos)
            return;
        for (const std::string& word : wordsOf(first, '|'))
            found_.insert(word);
    }

    void addPorts() {
        Client daemon(socket_, Client::Connect::Later);
        daemon.setPatience(kPatienceS);
        for (const platform::SwitchPortRecord& port : queryPortList(daemon))
            found_.insert(port.name.data());
    }

    void addVlans() {
        Client daemon(socket_, Client::Connect::Later);
        daemon.setPatience(kPatienceS);
        const VlansView view = queryVlans(daemon, {}, kNameParts);
        for (u32 vid = platform::kFirstVlan; vid <= platform::kLastVlan; ++vid)
            if (platform::vlanContains(view.staticVlans, vid) ||
                platform::vlanContains(view.dynamicVlans, vid))
                found_.insert(std::to_string(vid));
    }

    std::string begun_;
    std::string socket_ = defaultSocketPath();
    std::string path_;           ///< words of the command so far
    std::size_t arguments_ = 0;  ///< words after it
    std::string optionName_;     ///< the option whose value comes next
    std::set<std::string> found_;
};

}  // namespace

std::vector<std::string> completeLine(const std::vector<std::string>& words) {
    if (words.empty())
        return {};
    try {
        return Completion(words).candidates();
    } catch (const std::runtime_error&) {
        return {};  // without a daemon there is nothing to offer
    }
}

}  // namespace cli
