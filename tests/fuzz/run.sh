#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# run.sh --list | TARGET|all [--seconds N]: builds the fuzz targets with clang in build-fuzz/ and runs
# one, or each in turn, from its corpus. What it finds on its way goes to out/fuzz/TARGET/, and so
# do inputs that fail (crash-*).
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."

usage() {
    printf '%s\n' 'usage: ./dev fuzz --list' '       ./dev fuzz TARGET|all [--seconds N]' >&2
    exit 2
}

mapfile -t targets < <(cd tests/fuzz/corpus && printf '%s\n' *)
[[ $# -ge 1 ]] || usage
if [[ $1 == --list ]]; then
    printf '%s\n' "${targets[@]}"
    exit 0
fi

wanted=$1 seconds=60
shift
while (($#)); do
    [[ $1 == --seconds && ${2:-} =~ ^[1-9][0-9]*$ ]] || usage
    seconds=$2
    shift 2
done
if [[ $wanted != all ]]; then
    [[ " ${targets[*]} " == *" $wanted "* ]] || {
        echo "fuzz: there is no target '$wanted'; there are: ${targets[*]}" >&2
        exit 2
    }
    targets=("$wanted")
fi

cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
    '-DMVRP_SANITIZE=address;undefined' >/dev/null
ninja -C build-fuzz fuzz-daemon fuzz-platform fuzz-running
for target in "${targets[@]}"; do
    found=out/fuzz/$target
    mkdir -p "$found"
    case $target in
        command_channel | config_toml | standby_link) program=fuzz-platform ;;
        passed_descriptors | reload) program=fuzz-running ;;
        *) program=fuzz-daemon ;;
    esac
    echo "== $target, $seconds s"
    "build-fuzz/tests/fuzz/$program" "--target=$target" -max_total_time="$seconds" -timeout=60 \
        -max_len=2048 -print_final_stats=1 -artifact_prefix="$found/" "$found" \
        "tests/fuzz/corpus/$target" 2>&1 | grep -vE '^#[0-9]+|^INFO|NEW|REDUCE' || exit 1
done
