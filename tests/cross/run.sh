#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds for other processors with Debian's cross compilers, and runs what was built under qemu-user.
# The last line reads "N passed, M failed"; before it stands a table, and what was not run.
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
cd "$here/../.."

# Name, compiler's prefix, emulator. Debian's name of the processor is the target's.
targets='
arm64 aarch64-linux-gnu       qemu-aarch64-static
armhf arm-linux-gnueabihf     qemu-arm-static
i386  i686-linux-gnu          qemu-i386-static
s390x s390x-linux-gnu         qemu-s390x-static
'
# What goes into a target's root: the libraries that the tree builds with, and what they need.
libraries=(libarchive-dev libc6-dev libcap-ng-dev libcli11-dev libedit-dev libgtest-dev libmicrohttpd-dev
    libmnl-dev libpcap-dev librapidcheck-dev libtomlplusplus-dev nlohmann-json3-dev)
suite=bookworm
mirror=${MVRP_CROSS_MIRROR:-}  # nothing: that which mmdebstrap takes
cache=${MVRP_CROSS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/mvrp-cross}
out=out/cross
jobs=${JOBS:-$(nproc)}

usage() {
    cat <<'END'
usage: ./dev cross [--traces] TARGET...
       ./dev cross [--traces] --all
       ./dev cross --list

  Builds the programs and the tests for other processors, with Debian's cross compilers, and runs under
  qemu-user: the recorded traces, the unit tests, the fuzz corpora, and a network of three daemons. A table of what was built and passed ends it, with what was left out, and why.
    TARGET    arm64, armhf (32 bits), i386 (32 bits), s390x (the highest byte of a number first)
    --all     each of them
    --traces  only the traces: needs no libraries, and is a slice of ./dev test for armhf and s390x
    --list    the targets, with compiler and emulator
  The libraries of a target lie in ~/.cache/mvrp-cross/TARGET (MVRP_CROSS_CACHE is another place), so
  this machine's own packages stay those of its own processor. Built in build-cross-TARGET/ and
  build-traces-TARGET/, logs in out/cross/.
END
}

die() {
    printf 'cross: %s\n' "$*" >&2
    exit 2
}

# ------------------------------------------------------------------------------------- what to do
traces='' names=() passed=0 failed=0 notRun=()

# row NAME: sets triplet and emulator
row() {
    read -r _ triplet emulator < <(grep "^$1 " <<<"$targets") || die "there is no target '$1'; allowed: $(allNames)"
}
allNames() { awk 'NF { printf "%s ", $1 }' <<<"$targets"; }

packages() {
    local name
    for name in "${names[@]}"; do
        row "$name"
        echo "g++-${triplet/_/-}"
    done
}

readArguments() {
    local wanted=run argument
    for argument in "$@"; do
        case $argument in
            -h | --help) usage && exit ;;
            --list) wanted=list ;;
            --packages) wanted=packages ;;
            --all) read -ra names <<<"$(allNames)" ;;
            --traces) traces=yes ;;
            -*) usage >&2 && die "there is no option $argument" ;;
            *) row "$argument" && names+=("$argument") ;;
        esac
    done
    case $wanted in
        list) sed '/^$/d' <<<"$targets" && exit ;;
        packages) packages && exit ;;
    esac
    ((${#names[@]})) || { usage >&2 && die 'which target?'; }
}

# --------------------------------------------------------------------------------------- building
# makeRoot NAME: the target's libraries, unpacked; none of their scripts runs, so nothing is emulated.
makeRoot() {
    local root=$cache/$1 stamp
    stamp="$suite $mirror ${libraries[*]}"
    [[ $(cat "$root/.made-of" 2>/dev/null) != "$stamp" ]] || return 0
    rm -rf "$root"
    mkdir -p "$cache"
    mmdebstrap --quiet --variant=extract --architectures="$1" \
        --include="$(IFS=, && echo "${libraries[*]}")" "$suite" "$root" ${mirror:+"deb $mirror $suite main"}
    echo "$stamp" >"$root/.made-of"
}

# configure DIRECTORY NAME [OPTION...]: without optimisation but where a target asks for it, since the
# compiler takes most of the time.
configure() {
    local directory=$1 name=$2
    shift 2
    cmake -S . -B "$directory" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$here/toolchain.cmake" \
        -DMVRP_CROSS_TRIPLET="$triplet" -DMVRP_CROSS_QEMU="$emulator" -DMVRP_CROSS_PROCESSOR="$name" \
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG= "$@"
}

buildTraces() {
    configure "build-traces-$1" "$1" -DMVRP_SCENARIOS_ONLY=ON &&
        ninja -C "build-traces-$1" -j "$jobs" scenario-test
}

buildAll() {
    makeRoot "$1" && configure "build-cross-$1" "$1" -DMVRP_CROSS_ROOT="$cache/$1" &&
        ninja -C "build-cross-$1" -j "$jobs"
}

# ----------------------------------------------------------------------------------------- running
# What is not run of the tests that were built, by the regular expressions of left_out.txt.
leftOut() { sed -nE 's/^([^#:]+): .*/\1/p' "$here/left_out.txt" | paste -sd '|'; }

# tests DIRECTORY PATTERN [OPTION...]
tests() {
    local directory=$1 pattern=$2
    shift 2
    ctest --test-dir "$directory" --output-on-failure --no-tests=error -j "$jobs" --timeout 900 -R "$pattern" "$@"
}

# Many scenarios in a process: it takes the emulator longer to begin than a scenario runs.
runTraces() {
    local root=/usr/$triplet
    [[ -n $traces ]] || root=$cache/$name
    find tests/scenario/cases -name '*.scn' -print0 | sort -z |
        xargs -0 -P "$jobs" -n 50 "$emulator" -L "$root" "$directory/tests/scenario/scenario-test"
}
runUnits() { tests "$directory" . -LE integration -E "^(scenario|fuzz|simulation|exhaustive)\\.|$(leftOut)"; }
runCorpora() { tests "$directory" '^fuzz\.corpus\.'; }

# The lab finds programs by their place below a build directory; here they are the emulator's arguments.
runLab() {
    local program place=$out/$name/programs
    rm -rf "$place"
    for program in platform/host/mvrp cli/mvrpctl; do
        mkdir -p "$place/$(dirname $program)"
        printf '#!/bin/sh\nexec %s -L %s %s "$@"\n' "$emulator" "$cache/$name" "$PWD/$directory/$program" \
            >"$place/$program"
        chmod +x "$place/$program"
    done
    python3 lab/lab.py run tests/cross/three.toml --build "$place" --count
}

# --------------------------------------------------------------------------------------- results
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
    printf '  %-8s %-7s %s passed, %s failed, %d s\n' "$name" "$column" "$good" "$bad" $((SECONDS - start))
}

# What skipped itself, with ctest's word for it.
skipped() { sed -nE "s/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: ([^ ]+) .*\*\*\*Skipped.*/$2: \1: skipped itself/p" "$1"; }

# target NAME: a row of the table.
target() {
    local build=buildAll start=$SECONDS
    name=$1
    row "$name"
    directory=build-cross-$name
    if [[ -n $traces ]]; then directory=build-traces-$name build=buildTraces; fi
    mkdir -p "$out"
    if ! "$build" "$name" >"$out/$name-build.log" 2>&1; then
        cells[$name/built]=FAILED
        failed=$((failed + 1))
        grep -E 'error|FAILED|Error' "$out/$name-build.log" | head -n 30 || tail -n 20 "$out/$name-build.log"
        echo "  whole output in $out/$name-build.log"
        return
    fi
    cells[$name/built]=yes
    printf '  %-8s built in %d s\n' "$name" $((SECONDS - start))
    part traces runTraces
    [[ -z $traces ]] || return 0
    part unit runUnits
    part corpora runCorpora
    part lab runLab
}

table() {
    local each column
    printf '\n%-8s' target
    printf '%-12s' "${columns[@]}"
    printf '\n'
    for each in "${names[@]}"; do
        printf '%-8s' "$each"
        for column in "${columns[@]}"; do printf '%-12s' "${cells[$each/$column]:--}"; done
        printf '\n'
    done
}

gaps() {
    local line
    printf '\n'
    if [[ -z $traces ]]; then
        sed -nE 's/^([^#:]+): (.*)/NOT RUN: \1: \2/p' "$here/left_out.txt"
    fi
    for line in "${notRun[@]}"; do echo "NOT RUN: $line"; done
}

declare -A cells=()
columns=(built traces unit corpora lab)
readArguments "$@"
if [[ -n $traces ]]; then columns=(built traces); fi
for each in "${names[@]}"; do target "$each"; done
table
gaps
printf '\n%d passed, %d failed\n' "$passed" "$failed"
((failed == 0))
