// SPDX-License-Identifier: MIT
#include "cli/shell/editor.h"

#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <utility>

#include "cli/shell/split.h"

namespace cli {

namespace {

constexpr int kHistoryLines = 1000;
/// Brackets what takes no room in a prompt.
constexpr char kHidden = '\1';
constexpr std::size_t kMostHelpColumn = 24;

std::string hidden(const std::string& code) {
    return kHidden + code + kHidden;
}

/// What all of these words begin with.
std::string commonStart(const std::vector<Candidate>& candidates) {
    std::string start = candidates.front().word;
    for (const Candidate& candidate : candidates) {
        const auto apart = std::ranges::mismatch(start, candidate.word).in1;
        start.erase(apart, start.end());
    }
    return start;
}

/// Names of files that begin with this one; directories end with '/'.
std::vector<Candidate> filesLike(const std::string& begun) {
    namespace fs = std::filesystem;
    const std::size_t slash = begun.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : begun.substr(0, slash + 1);
    std::vector<Candidate> found;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory.empty() ? "." : directory, error)) {
        const std::string name = directory + entry.path().filename().string();
        const bool isHidden = entry.path().filename().string().starts_with(".");
        if (name.starts_with(begun) && (!isHidden || begun.ends_with(".")))
            found.push_back({name + (entry.is_directory(error) ? "/" : "")});
    }
    std::ranges::sort(found, {}, &Candidate::word);
    return found;
}

/// Breaks a text at blanks into lines of `width`.
std::vector<std::string> wrapped(const std::string& text, std::size_t width) {
    std::vector<std::string> lines;
    std::string rest = text;
    while (width != 0 && rest.size() > width) {
        std::size_t end = rest.rfind(' ', width);
        if (end == std::string::npos || end == 0)
            break;
        lines.push_back(rest.substr(0, end));
        rest.erase(0, end + 1);
    }
    lines.push_back(rest);
    return lines;
}

}  // namespace

std::string candidatesText(const std::vector<Candidate>& candidates, const Style& style) {
    std::size_t column = 0;
    for (const Candidate& candidate : candidates)
        if (candidate.word.size() <= kMostHelpColumn)
            column = std::max(column, candidate.word.size());
    const std::string indent(column + 4, ' ');
    const std::size_t room = style.width > indent.size() + 20 ? style.width - indent.size() : 0;
    std::string text;
    for (const auto& [word, help] : candidates) {
        text += "  " + style.paint(Colour::Strong, word);
        if (help.empty()) {
            text += "\n";
            continue;
        }
        // A word that is too long for its column has its help below.
        text += word.size() > column ? "\n" + indent : std::string(column - word.size() + 2, ' ');
        bool first = true;
        for (const std::string& line : wrapped(help, room)) {
            text += (first ? "" : indent) + line + "\n";
            first = false;
        }
    }
    return text;
}

class Editor::Terminal {
  public:
    Terminal(EditorHelp help, std::string historyFile, Style style)
        : help_(std::move(help)), historyFile_(std::move(historyFile)), style_(style) {
        std::setlocale(LC_CTYPE, "");
        history_ = history_init();
        HistEvent event;
        history(history_, &event, H_SETSIZE, kHistoryLines);
        history(history_, &event, H_SETUNIQUE, 1);
        if (!historyFile_.empty())
            history(history_, &event, H_LOAD, historyFile_.c_str());
        edit_ = el_init("mvrpctl", stdin, stdout, stderr);
        el_set(edit_, EL_CLIENTDATA, this);
        el_set(edit_, EL_PROMPT_ESC, &Terminal::prompt, kHidden);
        el_set(edit_, EL_HIST, history, history_);
        el_set(edit_, EL_EDITOR, "emacs");
        // Ctrl-C is a key like others: it gives up the line, not the program.
        el_set(edit_, EL_SETTY, "-d", "-isig", nullptr);
        bind(L"mvrp-complete", L"complete the word", &Terminal::complete, L"^I");
        bind(L"mvrp-describe", L"list what may follow", &Terminal::describe, L"?");
        bind(L"mvrp-give-up", L"give up the line", &Terminal::giveUp, L"^C");
        el_set(edit_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        el_source(edit_, nullptr);
    }
    ~Terminal() {
        el_end(edit_);
        history_end(history_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    Terminal(Terminal&&) = delete;
    Terminal& operator=(Terminal&&) = delete;

    std::optional<std::string> readLine(const std::string& prompt) {
        prompt_ = style_.colour ? hidden("\x1b[1m") + prompt + hidden("\x1b[0m") : prompt;
        prompt_ += "> ";
        // Before the prompt, also with keys waiting: what is typed at it is then read as keys.
        el_set(edit_, EL_PREP_TERM, 1);
        int count = 0;
        const char* const text = el_gets(edit_, &count);
        if (std::exchange(gaveUp_, false))
            return "";
        if (text == nullptr || count <= 0)
            return std::nullopt;
        std::string line(text, static_cast<std::size_t>(count));
        while (line.ends_with('\n') || line.ends_with('\r'))
            line.pop_back();
        remember(line);
        return line;
    }

  private:
    using Key = unsigned char(EditLine*, wint_t);

    /// The library keeps the texts; of narrow ones it would make copies that it never frees.
    void bind(const wchar_t* name, const wchar_t* what, Key* function, const wchar_t* key) {
        el_wset(edit_, EL_ADDFN, name, what, function);
        el_wset(edit_, EL_BIND, key, name, nullptr);
    }

    void remember(const std::string& line) {
        if (line.find_first_not_of(" \t") == std::string::npos)
            return;
        HistEvent event;
        history(history_, &event, H_ENTER, line.c_str());
        if (!historyFile_.empty())
            history(history_, &event, H_SAVE, historyFile_.c_str());
    }

    static Terminal& of(EditLine* edit) {
        void* self = nullptr;
        el_get(edit, EL_CLIENTDATA, &self);
        return *static_cast<Terminal*>(self);
    }

    static char* prompt(EditLine* edit) { return of(edit).prompt_.data(); }

    /// The words before the cursor, the last of which is being written.
    static SplitLine typed(EditLine* edit) {
        const LineInfo* const line = el_line(edit);
        SplitLine split = splitLine({line->buffer, line->cursor});
        if (!split.openWord)
            split.words.emplace_back();
        return split;
    }

    static unsigned char giveUp(EditLine* edit, wint_t /*key*/) {
        const LineInfo* const line = el_line(edit);
        std::fputs("^C", stdout);
        of(edit).gaveUp_ = true;
        el_cursor(edit, static_cast<int>(line->lastchar - line->cursor));
        el_deletestr(edit, static_cast<int>(line->lastchar - line->buffer));
        return CC_NEWLINE;
    }

    static unsigned char complete(EditLine* edit, wint_t /*key*/) {
        Terminal& self = of(edit);
        const SplitLine split = typed(edit);
        const std::string& begun = split.words.back();
        std::vector<Candidate> found = self.help_.complete(split.words);
        if (!found.empty() && found.front().word == kCompleteFiles)
            found = filesLike(begun);
        if (found.empty())
            return CC_ERROR;
        std::string more = commonStart(found).substr(begun.size());
        if (found.size() == 1 && !found.front().word.ends_with('/'))
            more += ' ';
        if (!more.empty())
            return el_insertstr(edit, more.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
        self.list(found);
        return CC_REDISPLAY;
    }

    static unsigned char describe(EditLine* edit, wint_t /*key*/) {
        Terminal& self = of(edit);
        const SplitLine split = typed(edit);
        if (split.openQuote)
            return el_insertstr(edit, "?") == 0 ? CC_REFRESH : CC_ERROR;
        const std::vector<Candidate> found = self.help_.describe(split.words);
        std::fputs("?", stdout);
        self.list(found.empty() ? std::vector<Candidate>{{"nothing that is known may follow"}}
                                : found);
        return CC_REDISPLAY;
    }

    void list(const std::vector<Candidate>& found) {
        // The terminal may have been made wider or narrower.
        winsize size{};
        if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
            style_.width = size.ws_col;
        std::fputs("\n", stdout);
        std::fputs(candidatesText(found, style_).c_str(), stdout);
        std::fflush(stdout);
    }

    EditorHelp help_;
    bool gaveUp_ = false;  ///< the line that is being read
    std::string historyFile_;
    Style style_;
    std::string prompt_;
    History* history_ = nullptr;
    EditLine* edit_ = nullptr;
};

Editor::Editor(EditorHelp help, std::string historyFile, Style style)
    : terminal_(std::make_unique<Terminal>(std::move(help), std::move(historyFile), style)) {}
Editor::~Editor() = default;

std::optional<std::string> Editor::readLine(const std::string& prompt) {
    return terminal_->readLine(prompt);
}

}  // namespace cli
