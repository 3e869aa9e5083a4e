# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# What came out of the lanes of this folder: a table, a row for each name and a column for each part, what was not run,
# and the sum. Sourced; logs go to $out, and a part is of the row $name.
#
# shellcheck disable=SC2154  # of the script that sources it: out, name, names

declare -A cells=()
passed=0 failed=0 notRun=()

# count LOG: how many passed and failed in it, by ctest's last line and the lab's.
count() {
    awk '
        /^[0-9]+ passed, [0-9]+ failed$/ { good += $1; bad += $3; seen = 1 }
        /tests passed, [0-9]+ tests? failed out of/ {
            for (i = 1; i <= NF; ++i) if ($i == "failed") { bad += $(i - 2); good += $(i + 3) - $(i - 2); seen = 1 }
        }
        /\*\*\*Skipped/ { --good }
        END { if (!seen) bad = 1; print good + 0, bad + 0 }' "$1"
}

# part COLUMN COMMAND: a cell of the table.
part() {
    local column=$1 log=$out/$name-$1.log good bad start=$SECONDS status=0
    "$2" >"$log" 2>&1 || status=$?
    read -r good bad < <(count "$log")
    if ((status != 0 && bad == 0)); then bad=1; fi
    passed=$((passed + good)) failed=$((failed + bad))
    cells[$name/$column]=$good
    if ((bad != 0)); then
        cells[$name/$column]="$bad FAILED"
        grep -E '^\s*[0-9]+ - |\(Failed\)|\(Timeout\)|^[^ ]+Error' "$log" | tail -n 40 || tail -n 20 "$log"
        echo "  whole output in $log"
    fi
    mapfile -t -O "${#notRun[@]}" notRun < <(skipped "$log" "$name")
    printf '  %-10s %-7s %s passed, %s failed, %d s\n' "$name" "$column" "$good" "$bad" $((SECONDS - start))
}

# What skipped itself, with ctest's word for it.
skipped() { sed -nE "s/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: ([^ ]+) .*\*\*\*Skipped.*/$2: \1: skipped itself/p" "$1"; }

# built COMMAND...: the first cell of the row; fails as the command does.
built() {
    local log=$out/$name-build.log start=$SECONDS
    mkdir -p "$out"
    if ! "$@" >"$log" 2>&1; then
        cells[$name/built]=FAILED
        failed=$((failed + 1))
        grep -E 'error|FAILED|Error' "$log" | head -n 30 || tail -n 20 "$log"
        echo "  whole output in $log"
        return 1
    fi
    cells[$name/built]=yes
    printf '  %-10s built in %d s\n' "$name" $((SECONDS - start))
}

# table COLUMN...: of the rows in names
table() {
    local each column
    printf '\n%-12s' target
    printf '%-12s' "$@"
    printf '\n'
    for each in "${names[@]}"; do
        printf '%-12s' "$each"
        for column in "$@"; do printf '%-12s' "${cells[$each/$column]:--}"; done
        printf '\n'
    done
}

# finish: what was not run, and the sum; ends the script.
finish() {
    local line
    printf '\n'
    for line in "${notRun[@]}"; do echo "NOT RUN: $line"; done
    printf '\n%d passed, %d failed\n' "$passed" "$failed"
    exit $((failed != 0))
}
