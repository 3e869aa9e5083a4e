# fish completion for mvrpctl; made by `mvrpctl completion fish`
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
