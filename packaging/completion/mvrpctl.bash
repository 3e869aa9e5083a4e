# bash completion for mvrpctl; made by `mvrpctl completion bash`
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
