#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds for other processors with Debian's cross compilers, and for another C library with clang, and runs what was
# built, under qemu-user where it is for another processor.
# The last line reads "N passed, M failed"; before it stands a table, and what was not run.
#
# shellcheck disable=SC2317  # built and part call the functions
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
cd "$here/../.."
# shellcheck source=tests/cross/results.sh
source "$here/results.sh"
# shellcheck source=tests/cross/musl/build.sh
source "$here/musl/build.sh"

# Name, compiler's prefix, emulator. Debian's name of the processor is the target's.
targets='
arm64 aarch64-linux-gnu       qemu-aarch64-static
armhf arm-linux-gnueabihf     qemu-arm-static
i386  i686-linux-gnu          qemu-i386-static
s390x s390x-linux-gnu         qemu-s390x-static
musl  x86_64-linux-musl       -
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
       ./dev cross --compilers [COMPILER...]
       ./dev cross --list

  Builds the programs and the tests for other processors, with Debian's cross compilers, and runs under
  qemu-user: the recorded traces, the unit tests, the fuzz corpora, and a network of three daemons. A table of
  what was built and passed ends it, with what was left out, and why.
    TARGET       arm64, armhf (32 bits), i386 (32 bits), s390x (the highest byte of a number first); musl:
                 this processor, another C library and another C++ library, static
    --all        each of them
    --traces     only the traces: needs no libraries, and is a slice of ./dev test for armhf and s390x
    --compilers  the programs and the tests with newer compilers than this Debian's, each in a Debian of its
                 own, as root: g++-14, clang++-19, g++-16, clang++-22; traces and unit tests run there
    --list       the targets, with compiler and emulator
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
traces='' compilers='' names=()
declare -A leftOutLists=()

# row NAME: sets triplet and emulator
row() {
    read -r _ triplet emulator < <(grep "^$1 " <<<"$targets") || die "there is no target '$1'; allowed: $(allNames)"
}
allNames() { awk 'NF { printf "%s ", $1 }' <<<"$targets"; }

packages() {
    local name
    if [[ -n $compilers ]]; then
        echo iproute2
        return
    fi
    for name in "${names[@]}"; do
        row "$name"
        if [[ $name == musl ]]; then printf '%s\n' "${muslPackages[@]}"; else echo "g++-${triplet/_/-}"; fi
    done
}

readArguments() {
    local wanted=run argument
    for argument in "$@"; do
        case $argument in
            -h | --help) usage && exit ;;
            --compilers) compilers=yes ;;
            --list) wanted=list ;;
            --packages) wanted=packages ;;
            --all) read -ra names <<<"$(allNames)" ;;
            --traces) traces=yes ;;
            -*) usage >&2 && die "there is no option $argument" ;;
            *)
                [[ -n $compilers ]] || row "$argument"
                names+=("$argument")
                ;;
        esac
    done
    case $wanted in
        list) sed '/^$/d' <<<"$targets" && exit ;;
        packages) packages && exit ;;
    esac
    [[ -z $compilers ]] || exec "$here/compilers.sh" "${names[@]}"
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
        --include="$(IFS=, && echo "${libraries[*]}")" "$suite" "$root" ${mirror:+"deb $mirror $suite main"} || return
    # The emulator looks for every path in here first: a /tmp of its own would hide the machine's.
    find "$root" -mindepth 1 -maxdepth 1 ! -name usr ! -name 'lib*' -exec rm -rf {} + || return
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
    if [[ $1 == musl ]]; then
        makeMuslRoot && configureMusl build-traces-musl -DMVRP_SCENARIOS_ONLY=ON &&
            ninja -C build-traces-musl -j "$jobs" scenario-test
        return
    fi
    configure "build-traces-$1" "$1" -DMVRP_SCENARIOS_ONLY=ON &&
        ninja -C "build-traces-$1" -j "$jobs" scenario-test
}

# The programs, and of the tests those that are run here.
buildAll() {
    if [[ $1 == musl ]]; then
        buildMusl
        return
    fi
    makeRoot "$1" && configure "build-cross-$1" "$1" -DMVRP_CROSS_ROOT="$cache/$1" -DMVRP_UNITY=ON &&
        ninja -C "build-cross-$1" -j "$jobs" mvrp mvrpctl mvrp-net mvrp-plan mvrp-exporter scenario-test \
            tests/unit/all tests/fuzz/all
}

# ----------------------------------------------------------------------------------------- running
# What is not run of the tests, by the regular expressions of a list.
leftOut() { sed -nE 's/^([^#:]+): .*/\1/p' "$1" | paste -sd '|'; }

# tests FOLDER [OPTION...]: those of a folder of tests/.
tests() {
    local folder=$1
    shift
    ctest --test-dir "$directory/tests/$folder" --output-on-failure --no-tests=error -j "$jobs" --timeout 900 "$@"
}

# Many scenarios in a process: it takes the emulator longer to begin than a scenario runs.
runTraces() {
    local root=/usr/$triplet runner=()
    [[ -n $traces ]] || root=$cache/$name
    [[ $emulator == - ]] || runner=("$emulator" -L "$root")
    find tests/scenario/cases -name '*.scn' -print0 | sort -z |
        xargs -0 -P "$jobs" -n 50 "${runner[@]}" "$directory/tests/scenario/scenario-test"
}
runUnits() { tests unit -E "$(leftOut "$leftOutList")"; }
runCorpora() { tests fuzz; }

# The lab finds programs by their place below a build directory; here they are the emulator's arguments.
runLab() {
    local program place=$out/$name/programs
    rm -rf "$place"
    for program in platform/host/mvrp cli/mvrpctl; do
        mkdir -p "$place/$(dirname "$program")"
        printf '#!/bin/sh\nexec %s -L %s %s "$@"\n' "$emulator" "$cache/$name" "$PWD/$directory/$program" \
            >"$place/$program"
        chmod +x "$place/$program"
    done
    python3 lab/lab.py run tests/cross/three.toml --build "$place" --count
}

# target NAME: a row of the table.
target() {
    name=$1
    row "$name"
    leftOutList=$here/left_out.txt
    [[ $name != musl ]] || leftOutList=$here/musl/left_out.txt
    leftOutLists[$leftOutList]=yes
    if [[ -n $traces ]]; then
        directory=build-traces-$name
        built buildTraces "$name" || return 0
        part traces runTraces
        return
    fi
    directory=build-cross-$name
    built buildAll "$name" || return 0
    part traces runTraces
    part unit runUnits
    part corpora runCorpora
    # Not for musl, whose programs need a library that is not built for it.
    [[ $name == musl ]] || part lab runLab
}

# Into what was not run: the lists of the targets that were.
listLeftOut() {
    local list
    for list in "${!leftOutLists[@]}"; do
        mapfile -t -O "${#notRun[@]}" notRun < <(sed -nE 's/^([^#:]+): (.*)/\1: \2/p' "$list")
    done
}

if [[ " $* " == *' --compilers '* && " $* " != *' --packages '* && " $* " != *' --help '* ]]; then
    exec "$here/compilers.sh" "${@:2}"
fi
readArguments "$@"
for each in "${names[@]}"; do target "$each"; done
if [[ -n $traces ]]; then
    table built traces
else
    table built traces unit corpora lab
    listLeftOut
fi
finish
