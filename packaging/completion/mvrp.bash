# bash completion for mvrp, mvrp-net and mvrp-plan: the options that --help lists
_mvrp() {
    local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]} options
    if [[ ${COMP_WORDS[COMP_CWORD - 1]} == --shape ]]; then
        COMPREPLY=($(compgen -W $'line\nstar\ntree' -- "$word"))
    elif [[ $word == -* ]]; then
        options=$("$1" --help 2>/dev/null | sed -nE 's/^  (-[^ ]+).*/\1/p' | tr , '\n')
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    else
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -f -- "$word"))
    fi
}
complete -F _mvrp mvrp mvrp-net mvrp-plan
