// SPDX-License-Identifier: MIT
#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

#include "cli/commands/line_reader.h"
#include "cli/help/help.h"
#include "platform/contract/qor_vlan.h"
#include "platform/model/vlan_algebra.h"

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

/// A help of several lines in one.
std::string firstLine(std::string_view help) {
    return std::string(help.substr(0, help.find('\n')));
}

std::string upper(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return text;
}

/// The argument that word number `index` behind the command is; null when it takes no more.
const Argument* argumentAt(const Command& command, std::size_t index) {
    const Argument* last = nullptr;
    for (const Argument& argument : command.arguments) {
        if (argument.name == nullptr)
            break;
        last = &argument;
        if (index-- == 0)
            return last;
    }
    return last != nullptr && last->rest ? last : nullptr;
}

/// One command line that is being written.
class Completion {
  public:
    Completion(const LineReader& line, std::string begun)
        : line_(line), begun_(std::move(begun)), daemon_(socketOf(line), Client::Connect::Later) {
        daemon_.setPatience(kPatienceS);
    }

    std::vector<Candidate> candidates() {
        if (!line_.openOption().empty())
            addOptionValues();
        else if (begun_.starts_with("-"))
            addOptions();
        else
            addWords();
        std::erase_if(found_, [this](const Candidate& candidate) {
            return candidate.word != kCompleteFiles && !candidate.word.starts_with(begun_);
        });
        std::ranges::stable_sort(found_, {}, &Candidate::word);
        const auto isSame = [](const Candidate& one, const Candidate& other) {
            return one.word == other.word;
        };
        found_.erase(std::unique(found_.begin(), found_.end(), isSame), found_.end());
        return found_;
    }

  private:
    static std::string socketOf(const LineReader& line) {
        const std::string* const given = line.valueOf("--socket");
        return given == nullptr ? defaultSocketPath() : *given;
    }

    void add(std::string word, std::string help = "") {
        found_.push_back({std::move(word), std::move(help)});
    }

    void addOptions() {
        for (const Option& option : kGlobalOptions)
            for (const std::string& name : wordsOf(option.name, ','))
                add(name, firstLine(option.help));
        if (const Command* const own = line_.command())
            for (const Option& option : own->options)
                if (option.name != nullptr)
                    add(option.name, firstLine(option.help));
    }

    void addWords() {
        if (line_.arguments().empty())
            for (const Candidate& candidate : wordsAfter(line_.path()))
                found_.push_back(candidate);
        const Command* const own = line_.command();
        if (own == nullptr || line_.isHelp())
            return;
        const Argument* const argument = argumentAt(*own, line_.arguments().size());
        if (argument == nullptr)
            return;
        if (argument->words == nullptr)
            return addValues(upper(argument->name), argument->help);
        for (const Candidate& candidate : argument->words({line_.arguments(), begun_, daemon_}))
            found_.push_back(candidate);
    }

    void addOptionValues() {
        const auto called = [this](const Option& option) {
            return isCalled(option, line_.openOption());
        };
        const Command* const own = line_.command();
        const std::span<const Option> ownOptions =
            own == nullptr ? std::span<const Option>() : own->options;
        for (const std::span<const Option> options : {kGlobalOptions, ownOptions})
            if (const auto option = std::ranges::find_if(options, called); option != options.end())
                return addValues(option->value, option->help);
    }

    /// Candidates for an argument of this name, or the value of an option.
    /// @param choices  "up|down" at its beginning, or any other text
    void addValues(std::string_view name, std::string_view choices) {
        if (name == "PORT" || name == "AGGREGATION")
            addPorts();
        else if (name == "VLAN")
            addVlans();
        else if (name == "VLANS")
            addVlanRanges();
        else if (name == "FILE" || name == "PATH")
            add(kCompleteFiles);
        else
            addChoices(choices);
    }

    void addChoices(std::string_view help) {
        const std::string_view first = help.substr(0, help.find_first_of(" :;"));
        if (first.find('|') == std::string_view::npos)
            return;
        for (const std::string& word : wordsOf(first, '|'))
            add(word);
    }

    void addPorts() {
        for (const platform::SwitchPortRecord& port : queryPortList(daemon_))
            add(port.name.data(),
                "unit " + std::to_string(port.unit) + (port.link == 1 ? ", up" : ", down"));
    }

    void addVlans() {
        const VlansView view = queryVlans(daemon_, {}, kNameParts);
        for (u32 vid = platform::kFirstVlan; vid <= platform::kLastVlan; ++vid) {
            if (platform::vlanContains(view.staticVlans, vid))
                add(std::to_string(vid), "static");
            else if (platform::vlanContains(view.dynamicVlans, vid))
                add(std::to_string(vid), "learnt");
        }
    }

    /// Ranges of VLANs that there are; a list with commas grows by one.
    void addVlanRanges() {
        const std::string before = begun_.substr(0, begun_.rfind(',') + 1);
        const VlansView view = queryVlans(daemon_, {}, kNameParts);
        for (const auto& [vlans, help] :
             {std::pair(view.staticVlans, "static"), std::pair(view.dynamicVlans, "learnt")})
            if (!platform::vlanIsEmpty(vlans))
                for (const std::string& range : wordsOf(platform::formatVlanRanges(vlans), ','))
                    add(before + range, help);
    }

    const LineReader& line_;
    std::string begun_;
    Client daemon_;
    std::vector<Candidate> found_;
};

/// The words before the last one, read; the last one counts as a word that follows.
LineReader readBefore(std::span<const std::string> words) {
    LineReader line;
    for (std::size_t i = 0; i + 1 < words.size(); ++i)
        line.take(words.subspan(i));
    return line;
}

}  // namespace

std::vector<Candidate> completeLine(std::span<const std::string> words) {
    if (words.empty())
        return {};
    try {
        return Completion(readBefore(words), words.back()).candidates();
    } catch (const std::runtime_error&) {
        return {};  // without a daemon there is nothing to offer
    }
}

std::vector<Candidate> describeLine(std::span<const std::string> words) {
    if (words.empty())
        return {};
    const LineReader line = readBefore(words);
    const Command* const own = line.command();
    std::vector<Candidate> all;
    const bool isNext = words.back().empty() && line.openOption().empty() && !line.isHelp();
    if (own != nullptr && isNext) {
        const std::size_t given = line.arguments().size();
        if (const Argument* const argument = argumentAt(*own, given))
            all.push_back({upper(argument->name), argument->help});
        if (takesArguments(*own, given))
            all.push_back({"ENTER", own->help});
        for (const Option& option : own->options)
            if (option.name != nullptr)
                all.push_back({std::string(option.name) +
                                   (option.value == nullptr ? "" : std::string(" ") + option.value),
                               firstLine(option.help)});
    }
    const std::vector<Candidate> found = completeLine(words);
    std::ranges::copy_if(found, std::back_inserter(all), [](const Candidate& candidate) {
        return candidate.word != kCompleteFiles;
    });
    return all;
}

}  // namespace cli
