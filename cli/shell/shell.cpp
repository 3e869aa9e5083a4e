// SPDX-License-Identifier: MIT
#include "cli/shell/shell.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "cli/shell/editor.h"
#include "cli/shell/split.h"

namespace cli {

namespace {

constexpr u32 kPatienceS = 2;
constexpr const char* kProgram = "mvrpctl";
const std::vector<std::string> kLeaving = {"exit", "quit"};

/// Where the history is kept: beside the states of other programs. Empty: nowhere.
std::string historyFile() {
    namespace fs = std::filesystem;
    const char* const state = std::getenv("XDG_STATE_HOME");
    const char* const home = std::getenv("HOME");
    fs::path directory;
    if (state != nullptr && *state == '/')
        directory = state;
    else if (home != nullptr && *home == '/')
        directory = fs::path(home) / ".local" / "state";
    else
        return "";
    std::error_code error;
    fs::create_directories(directory, error);
    return error ? "" : directory / "mvrpctl_history";
}

/// Runs one command in a process of its own, with the terminal's signals.
void runInChild(const std::vector<std::string>& words,
                int (*runLine)(const std::vector<std::string>& words)) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGQUIT, SIG_DFL);
        const int status = runLine(words);
        std::cout.flush();
        std::fflush(nullptr);
        _exit(status);
    }
    if (child < 0) {
        std::perror("mvrpctl: cannot start a process");
        return;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status))
        std::fputs("\n", stdout);
}

/// The prompt: the name of the switch, as long as one answers.
class Prompt {
  public:
    explicit Prompt(const Line& line) : line_(line) {}

    std::string text() {
        if (line_.all)
            return "all";
        if (name_.empty())
            ask();
        return name_.empty() ? kProgram : name_;
    }
    /// What is wrong with the connection, if anything.
    const std::string& problem() const { return problem_; }
    void askAgain() { name_.clear(); }

  private:
    void ask() {
        problem_.clear();
        try {
            Client client(line_.socket, Client::Connect::Later);
            client.setPatience(std::min(line_.patience, kPatienceS));
            name_ = queryGlobal(client).host.name.data();
        } catch (const std::runtime_error& error) {
            problem_ = error.what();
        }
    }

    const Line& line_;
    std::string name_;
    std::string problem_;
};

std::vector<std::string> joined(const std::vector<std::string>& first,
                                const std::vector<std::string>& second) {
    std::vector<std::string> all = first;
    all.insert(all.end(), second.begin(), second.end());
    return all;
}

/// The words by which the shell is left are none of the tables.
std::vector<Candidate> withLeaving(std::vector<Candidate> candidates,
                                   const std::vector<std::string>& words) {
    if (words.size() == 1)
        for (const std::string& word : kLeaving)
            if (word.starts_with(words.front()))
                candidates.push_back({word, "leave the shell, as Ctrl-D does"});
    return candidates;
}

void greet(const Prompt& prompt) {
    if (!prompt.problem().empty())
        std::cout << "mvrpctl: " << prompt.problem() << "\n";
    std::cout
        << "? lists what may follow, TAB completes, `help COMMAND` says more, Ctrl-D leaves.\n";
}

}  // namespace

int runShell(const std::vector<std::string>& options, const Line& line, Style style,
             int (*runLine)(const std::vector<std::string>& words)) {
    const auto complete = [&options](const std::vector<std::string>& words) {
        return withLeaving(completeLine(joined(options, words)), words);
    };
    const auto describe = [&options](const std::vector<std::string>& words) {
        return withLeaving(describeLine(joined(options, words)), words);
    };
    Editor editor({complete, describe}, historyFile(), style);
    Prompt prompt(line);
    // The child that runs a command has them; the shell goes on.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    prompt.text();
    greet(prompt);
    while (const auto text = editor.readLine(prompt.text())) {
        const SplitLine split = splitLine(*text);
        if (split.openQuote) {
            std::cerr << "mvrpctl: a quotation mark has no second one\n";
        } else if (split.words.size() == 1 &&
                   std::ranges::find(kLeaving, split.words.front()) != kLeaving.end()) {
            return 0;
        } else if (!split.words.empty()) {
            runInChild(joined(options, split.words), runLine);
            prompt.askAgain();
        }
    }
    std::cout << "\n";
    return 0;
}

}  // namespace cli
