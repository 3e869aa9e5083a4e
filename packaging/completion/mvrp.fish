# fish completion for mvrp, mvrp-net and mvrp-plan: the commands and options that --help lists
function __mvrp_commands
    for line in ($argv[1] --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/p')
        set -l found (string match -rg '^  ([a-z-]+) +(.*)$' -- $line); or continue
        printf '%s\t%s\n' $found[1] "$found[2]"
    end
end
function __mvrp_options
    set -l words (commandline -opc) --help
    string match -q -- "$words[2]"\t\* (__mvrp_commands $argv[1]); or set words[2] --help
    for line in ($argv[1] $words[2] --help 2>/dev/null)
        set -l found (string match -rg '^  (-\S+)(?: \S+)? *(.*)$' -- $line); or continue
        for name in (string split , -- $found[1])
            printf '%s\t%s\n' $name "$found[2]"
        end
    end
end
for program in mvrp mvrp-net mvrp-plan
    complete -c $program -n 'string match -q -- "-*" (commandline -ct)' -f -a "(__mvrp_options $program)"
    complete -c $program -n 'test (commandline -opc)[-1] = --shape' -f -a 'line star tree'
end
complete -c mvrp-net -n 'test (count (commandline -opc)) = 1' -f -a '(__mvrp_commands mvrp-net)'
