# SPDX-License-Identifier: MIT
#
# What the lanes of tests/kernel and tests/system share: their options, and the cases that these name. Read by a
# run.sh, which has set `here`, `root`, `lane` (as in ./dev LANE), `options` and `flags`, and has `usage`.
# shellcheck disable=SC2154  # that
names=()

die() {
    printf 'tests/%s: %s\n' "$lane" "$*" >&2
    exit 2
}

# header FILE KEY: the value of a line "# KEY: value" of a case.
header() { sed -n "s/^# $2: //p" "$1" | head -n 1; }

# readOptions ARGUMENT...: what follows --NAME goes into options[NAME], which has to be there; what `flags` lists takes
# nothing and becomes "yes". All else is the name of a case.
readOptions() {
    local option
    while (($#)); do
        option=${1#--}
        case $1 in
            -h | --help) usage && exit ;;
            -*)
                [[ $1 == --?* && -v options[$option] ]] || { usage >&2 && die "there is no option $1"; }
                if [[ " ${flags[*]} " == *" $option "* ]]; then
                    options["$option"]=yes
                else
                    (($# > 1)) || die "$1 needs a value"
                    options["$option"]=$2 && shift
                fi
                ;;
            *) names+=("${1%.sh}") ;;
        esac
        shift
    done
}

# readNames: those of all cases where none was given. Each has to be one.
readNames() {
    local name
    ((${#names[@]})) || mapfile -t names < <(basename -s .sh "$here"/cases/*.sh)
    for name in "${names[@]}"; do
        [[ -f $here/cases/$name.sh ]] || die "there is no case '$name'; ./dev $lane --list names them"
    done
}

# listCases KEY...: a line for each of the names, with what its file says of the keys.
listCases() {
    local name key
    for name in "${names[@]}"; do
        printf '%-22s' "$name"
        for key in "$@"; do printf ' %-5s' "$(header "$here/cases/$name.sh" "$key")"; done
        printf '\n'
    done
}

# needsPrograms FILE...: below the directory of the build.
needsPrograms() {
    local program
    for program in "$@"; do
        [[ -e $build/$program ]] || die "$build/$program is missing; ./dev $lane builds it"
    done
}
