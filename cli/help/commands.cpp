// SPDX-License-Identifier: MIT
#include "cli/commands/commands.h"
#include "cli/help/help.h"
#include "cli/views/json.h"

namespace cli {

namespace {

constexpr const char* kBash = R"(# bash completion for mvrpctl; made by `mvrpctl completion bash`
_mvrpctl() {
    local IFS=$'\n' words
    words=$(mvrpctl __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    if [[ $words == '<files>' ]]; then
        compopt -o filenames
        COMPREPLY=($(compgen -f -- "${COMP_WORDS[COMP_CWORD]}"))
    else
        COMPREPLY=($words)
    fi
}
complete -F _mvrpctl mvrpctl
)";

constexpr const char* kZsh = R"(#compdef mvrpctl
# zsh completion for mvrpctl; made by `mvrpctl completion zsh`
_mvrpctl() {
    local -a found
    found=("${(@f)$(mvrpctl __complete "${(@)words[2,CURRENT]}" 2>/dev/null)}")
    if [[ $found[1] == '<files>' ]]; then
        _files
    else
        compadd -- "${(@)found:#}"
    fi
}
if [[ $funcstack[1] == _mvrpctl ]]; then
    _mvrpctl "$@"
else
    compdef _mvrpctl mvrpctl
fi
)";

constexpr Name kShellTable[] = {{1, "bash"}, {2, "zsh"}};
constexpr Names kShells = kShellTable;

void completion(const Context& context) {
    context.print(context.choice(0, kShells) == 1 ? kBash : kZsh);
}

void manual(const Context& context) {
    context.print(manualPage());
}

constexpr Command kCommands[] = {
    {"completion", "print the completion for a shell", {{{"shell", "bash|zsh"}}}, completion},
    {"manual", "print the manual page mvrpctl(8) as troff", {}, manual},
};

}  // namespace

constinit const std::span<const Command> kHelpCommands = kCommands;

}  // namespace cli
