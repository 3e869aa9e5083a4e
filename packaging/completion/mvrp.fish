# fish completion for mvrp, mvrp-net and mvrp-plan: the options that --help lists
function __mvrp_options
    for line in ($argv[1] --help 2>/dev/null)
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
