#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# slice.sh PROGRAM TARGET INPUTS: runs that many inputs of a fuzz target, some seconds, from its corpus.
# The seed is that of the commit, so that a run of it can be had again; MVRP_FUZZ_SEED sets another.
set -euo pipefail
program=$1 target=$2 inputs=$3
cd "$(dirname "$(readlink -f "$0")")/../.."

commit=$(git rev-parse HEAD 2>/dev/null) || commit=0000001
seed=${MVRP_FUZZ_SEED:-$((16#${commit:0:7} | 1))} # 0 would be the clock's
echo "seed $seed, commit $commit, $inputs inputs"

found=out/fuzz/$target
mkdir -p "$found"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
"$program" "--target=$target" "-seed=$seed" "-runs=$inputs" -max_len=2048 -len_control=0 -timeout=60 \
    "-artifact_prefix=$found/" -print_final_stats=1 "$scratch" "tests/fuzz/corpus/$target" || {
    echo "again: MVRP_FUZZ_SEED=$seed tests/fuzz/slice.sh $program $target $inputs"
    echo "the input alone: $program --target=$target $found/crash-..."
    exit 1
}
