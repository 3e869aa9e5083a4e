// SPDX-License-Identifier: MIT
#include "cli/commands/line_reader.h"
#include "cli/help/help.h"
#include "cli/views/json.h"

namespace cli {

namespace {

// Each candidate comes as a line: the word, and what it means behind a tabulator.

constexpr const char* kBash = R"(# bash completion for mvrpctl; made by `mvrpctl completion bash`
_mvrpctl() {
    local IFS=$'\n' words
    words=($(mvrpctl __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null))
    if [[ ${words[0]} == '<files>' ]]; then
        compopt -o filenames
        COMPREPLY=($(compgen -f -- "${COMP_WORDS[COMP_CWORD]}"))
    else
        COMPREPLY=("${words[@]%%$'\t'*}")
    fi
}
complete -F _mvrpctl mvrpctl
)";

constexpr const char* kZsh = R"(#compdef mvrpctl
# zsh completion for mvrpctl; made by `mvrpctl completion zsh`
_mvrpctl() {
    local -a found
    found=("${(@f)$(mvrpctl __complete "${(@)words[2,CURRENT]}" 2>/dev/null)}")
    found=("${(@)found:#}")
    if [[ $found[1] == '<files>' ]]; then
        _files
    elif (($#found)); then
        found=("${(@)found//:/\\:}")
        found=("${(@)found/$'\t'/:}")
        _describe -V mvrpctl found
    fi
}
if [[ $funcstack[1] == _mvrpctl ]]; then
    _mvrpctl "$@"
else
    compdef _mvrpctl mvrpctl
fi
)";

constexpr const char* kFish =
    R"fish(# fish completion for mvrpctl; made by `mvrpctl completion fish`
function __mvrpctl_complete
    set -l words (commandline -opc) "$(commandline -ct)"
    set -l found (mvrpctl __complete $words[2..] 2>/dev/null)
    if test "$found[1]" = '<files>'
        __fish_complete_path "$(commandline -ct)"
    else
        printf '%s\n' $found
    end
end
complete -c mvrpctl -f -a '(__mvrpctl_complete)'
)fish";

constexpr Name kShellTable[] = {{1, "bash"}, {2, "zsh"}, {3, "fish"}};
constexpr Names kShells = kShellTable;
constexpr std::array kScripts = {kBash, kZsh, kFish};
static_assert(std::size(kShellTable) == kScripts.size());

void completion(const Context& context) {
    context.print(kScripts.at(context.choice(0, kShells) - 1));
}

void manual(const Context& context) {
    context.print(manualPage());
}

/// The command line makes COMMAND --help of it before it comes to a call.
void helpCommand(const Context& context) {
    context.print("mvrpctl help COMMAND says more\n");
}

constexpr Command kCommands[] = {
    {kHelpWord,
     "say more about a command, or list all",
     {{{"command", "words of a command", true, true}}},
     helpCommand},
    {"completion", "print the completion for a shell", {{{"shell", "bash|zsh|fish"}}}, completion},
    {"manual", "print the manual page mvrpctl(8) as troff", {}, manual},
};

}  // namespace

constinit const std::span<const Command> kHelpCommands = kCommands;

}  // namespace cli
