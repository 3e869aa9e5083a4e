#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the benchmarks without sanitizers and tests, runs them, prints the table, and leaves JSON and
# plots in out/bench/.
#
# usage: bench/run.sh [--quick]   (--quick: a shorter time for each figure)
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

build=build-bench out=out/bench turn=0.5 sizes=.
case ${1:-} in
    '') ;;
    --quick) turn=0.02 sizes='-/(24|192|256|768)/' ;;
    *)
        echo "bench/run.sh: the argument is '$1'; allowed is --quick, or none" >&2
        exit 2
        ;;
esac

mkdir -p "$out"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMVRP_TESTS=OFF \
    >"$out/build.log"
if ! ninja -C "$build" mvrp-bench >>"$out/build.log" 2>&1; then
    tail -n 40 "$out/build.log" >&2
    exit 1
fi

"$build/bench/mvrp-bench" --benchmark_min_time="$turn" --benchmark_filter="$sizes" \
    --benchmark_out="$out/results.json" --benchmark_out_format=json >"$out/bench.log" 2>&1 || {
    tail -n 20 "$out/bench.log" >&2
    exit 1
}
/usr/bin/python3 bench/report.py "$out/results.json" --plots "$out"
