# bash completion for mvrp, mvrp-net and mvrp-plan: the commands and options that --help lists
_mvrp() {
    local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]} commands command=() options
    commands=$("$1" --help 2>/dev/null | sed -nE '/^Subcommands:/,/^$/s/^  ([a-z-]+) .*/\1/p')
    if ((COMP_CWORD > 1)) && grep -qxF -e "${COMP_WORDS[1]}" <<<"$commands"; then
        command=("${COMP_WORDS[1]}")
    fi
    if [[ ${COMP_WORDS[COMP_CWORD - 1]} == --shape ]]; then
        COMPREPLY=($(compgen -W $'line\nstar\ntree' -- "$word"))
    elif [[ $word == -* ]]; then
        options=$("$1" "${command[@]}" --help 2>/dev/null | sed -nE 's/^  (-[^ ]+).*/\1/p' | tr , '\n')
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    elif [[ $COMP_CWORD -eq 1 && -n $commands ]]; then
        COMPREPLY=($(compgen -W "$commands" -- "$word"))
    else
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -f -- "$word"))
    fi
}
complete -F _mvrp mvrp mvrp-net mvrp-plan
