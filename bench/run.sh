#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the benchmarks without sanitizers and tests, runs them, prints the table, and leaves JSON and
# plots in out/bench/.
#
# usage: bench/run.sh [--quick]   (--quick: a shorter time for each figure, and fewer sizes)
#        bench/run.sh --compare COMMIT [--rounds N] [--filter REGEX]   (see compare.py)
#        bench/run.sh --recorded | --record   (see recorded.py)
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

build=build-bench out=out/bench turn=0.5 sizes=. length=
programs=(mvrp-bench mvrp-bench-whole mvrp)
case ${1:-} in
    '') ;;
    --quick) turn=0.02 sizes='-/(24|192|256)/' length=--quick ;;
    --compare)
        (($# >= 2)) || { echo 'bench/run.sh: --compare needs a commit' >&2; exit 2; }
        programs=(mvrp-bench)
        ;;
    --recorded | --record) programs=(mvrp-bench) ;;
    *)
        echo "bench/run.sh: the argument is '$1'; allowed: --quick, --compare COMMIT, --recorded, --record, or none" >&2
        exit 2
        ;;
esac

mkdir -p "$out"
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMVRP_TESTS=OFF \
    >"$out/build.log"
if ! ninja -C "$build" "${programs[@]}" >>"$out/build.log" 2>&1; then
    tail -n 40 "$out/build.log" >&2
    exit 1
fi

case ${1:-} in
    --compare) exec bench/compare.py "$build" "${@:2}" ;;
    --recorded) exec bench/recorded.py "$build" ;;
    --record) exec bench/recorded.py "$build" --record ;;
esac

# measure LOG COMMAND...: runs a part with its output in a log, which is shown when it fails.
measure() {
    local log=$out/$1.log
    shift
    "$@" >"$log" 2>&1 || {
        tail -n 20 "$log" >&2
        exit 1
    }
}

# shellcheck disable=SC2086  # no length is no argument
measure whole "$build/bench/mvrp-bench-whole" "$build/platform/host/mvrp" "$out/whole.json" $length
measure bench "$build/bench/mvrp-bench" --benchmark_min_time="$turn" --benchmark_filter="$sizes" \
    --benchmark_out="$out/results.json" --benchmark_out_format=json
/usr/bin/python3 bench/report.py "$out/results.json" "$out/whole.json" --plots "$out"
