#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# run.sh [--build DIR]: the client of the oldest commit that had the records of the command channel as they
# are now, against daemons of this tree. The last line reads "N passed, N failed".
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../.."

# With it the record of a port took its present form. Since then records and requests were only added.
# Where one that is there changes, its request gets a new number, or this commit is named anew and
# CHANGELOG.md says that older clients are left behind.
oldest=0f7185d4671e6a5f62810babfbbfe144f12320b4

build=build
case ${1:-} in
    '') ;;
    --build) build=$2 ;;
    *) echo 'usage: run.sh [--build DIR]' >&2 && exit 2 ;;
esac
out=out/compatible
if ! git cat-file -e "$oldest^{commit}" 2>/dev/null; then
    printf 'NOT RUN: an older client: the history of this clone does not reach back to %s\n' "$oldest"
    echo '0 passed, 0 failed'
    exit
fi
# What was taken out stays: the compiler looks at the time of files.
if [[ $(cat $out/commit 2>/dev/null) != "$oldest" ]]; then
    rm -rf $out
    mkdir -p $out/source
    git archive "$oldest" | tar -x -C $out/source
    echo "$oldest" >$out/commit
fi
cmake -S $out/source -B $out/build -G Ninja -DMVRP_TESTS=OFF -DCMAKE_BUILD_TYPE=Debug
ninja -C $out/build -j "${JOBS:-$(nproc)}" mvrpctl

for network in demo line; do
    MVRPCTL=$PWD/$out/build/cli/mvrpctl python3 lab/lab.py run lab/topologies/$network.toml --build "$build" --count
done
