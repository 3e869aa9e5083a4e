#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The tree with compilers, libraries and headers that are newer than those of the Debian that it is made for: each
# builds the programs as a package has them, and the tests, all warnings errors, in a system of its own, and
# runs the recorded traces and the unit tests there. The last line reads "N passed, M failed".
#
# shellcheck disable=SC2317  # built and part call the functions
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
cd "$here/../.."
# shellcheck source=packaging/release/in_root.sh
source packaging/release/in_root.sh
# shellcheck source=tests/cross/results.sh
source "$here/results.sh"

# A release of Debian, its compilers, and the packages that they come in. Testing goes on: where it has left one of
# these behind, its system can not be made, and a newer one belongs here.
compilers='
trixie  g++-14     g++-14
trixie  clang++-19 clang-19
testing g++-16     g++-16
testing clang++-22 clang-22
'
packages=(ccache cmake libarchive-dev libcap-ng-dev libcli11-dev libedit-dev libgtest-dev libmicrohttpd-dev
    libmnl-dev libpcap-dev librapidcheck-dev libtomlplusplus-dev ninja-build nlohmann-json3-dev pkg-config)
mirror=${MVRP_CROSS_MIRROR:-}  # nothing: that which mmdebstrap takes
cache=${MVRP_CROSS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/mvrp-cross}
out=out/cross
jobs=${JOBS:-$(nproc)}

die() {
    printf 'cross: %s\n' "$*" >&2
    exit 2
}

# makeRoot SUITE: once; what it was made of stands in it.
makeRoot() {
    local wanted stamp
    mapfile -t wanted < <(awk -v suite="$1" '$1 == suite { print $3 }' <<<"$compilers")
    wanted+=("${packages[@]}")
    stamp="$1 $mirror ${wanted[*]}"
    [[ $(cat "$root/.made-of" 2>/dev/null) != "$stamp" ]] || return 0
    rm -rf "$root"
    mkdir -p "$cache"
    mmdebstrap --quiet --variant=minbase --include="$(IFS=, && echo "${wanted[*]}")" "$1" "$root" \
        ${mirror:+"deb $mirror $1 main"} || return
    mkdir -p "$root/build" "$root/ccache"
    echo "$stamp" >"$root/.made-of"
}

# The programs optimised, since some warnings know only then what a value may be; tests not, to save the time.
build() {
    makeRoot "$suite" || return
    # shellcheck disable=SC2016  # the inner shell's
    inRoot "$PWD" CXX="$name" bash -euc '
        cd /build
        "$CXX" --version
        cmake -S . -B "$1/programs" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O2 \
            -DMVRP_TESTS=OFF -DMVRP_UNITY=ON
        ninja -C "$1/programs" -j "$2" mvrp mvrpctl mvrp-net mvrp-plan mvrp-exporter
        cmake -S . -B "$1/tests" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG= -DMVRP_UNITY=ON
        ninja -C "$1/tests" -j "$2" scenario-test tests/unit/all
        ' build "$directory" "$jobs"
}

runTraces() {
    # shellcheck disable=SC2016  # the inner shell's
    inRoot "$PWD" bash -euc 'cd /build
        find tests/scenario/cases -name "*.scn" -print0 | sort -z |
            xargs -0 -n 50 "$1/tests/tests/scenario/scenario-test"' traces "$directory"
}

runUnits() {
    inRoot "$PWD" ctest --test-dir "/build/$directory/tests/tests/unit" --output-on-failure --no-tests=error \
        -j "$jobs" --timeout 300
}

# compiler NAME: a row of the table.
compiler() {
    name=$1 directory=build-compiler-$1
    suite=$(awk -v name="$1" '$2 == name { print $1 }' <<<"$compilers")
    root=$cache/compilers-$suite
    built build || return 0
    part traces runTraces
    part unit runUnits
}

((EUID == 0)) || die 'only root can make and enter the systems that the compilers are in'
allNames=$(awk 'NF { printf "%s ", $2 }' <<<"$compilers")
for argument in "$@"; do
    [[ " $allNames" == *" $argument "* ]] || die "there is no compiler '$argument'; allowed: $allNames"
done
read -ra names <<<"${*:-$allNames}"
for each in "${names[@]}"; do compiler "$each"; done
table built traces unit
finish
