#!/bin/bash
# SPDX-License-Identifier: MIT
# Collects the snapshots of many switches into a directory, several at a time.
#
# usage: collect.sh INVENTORY DIRECTORY
#
# INVENTORY has a host a line, as ssh knows it; empty lines and what begins with # are passed over.
# A snapshot is HOST.json; of a host that does not answer there is none, and a line on the standard
# error. COLLECT_AT_A_TIME is how many are asked at once (8), COLLECT_COMMAND what is run with the
# host as its last word and the snapshot on its standard output.
set -u

if [ $# -ne 2 ]; then
    sed -n 5p "$0" >&2
    exit 2
fi
mkdir -p "$2" || exit 1
at_a_time=${COLLECT_AT_A_TIME:-8}

# ssh reads none of the inventory, asks for no password, and gives up.
on_host() {
    if [ -n "${COLLECT_COMMAND:-}" ]; then
        $COLLECT_COMMAND "$1"
    else
        ssh -o BatchMode=yes -o ConnectTimeout=10 "$1" mvrpctl snapshot
    fi
}

# A file is there as a whole or not at all.
collect() {
    if on_host "$1" >"$2/.$1.new" </dev/null && [ -s "$2/.$1.new" ]; then
        mv "$2/.$1.new" "$2/$1.json"
    else
        rm -f "$2/.$1.new"
        echo "collect: $1: no snapshot" >&2
        return 1
    fi
}

failed=0
running=0
while read -r host _; do
    case $host in "" | \#*) continue ;; esac
    if [ "$running" -ge "$at_a_time" ]; then
        wait -n || failed=1
        running=$((running - 1))
    fi
    collect "$host" "$2" &
    running=$((running + 1))
done <"$1"
while [ "$running" -gt 0 ]; do
    wait -n || failed=1
    running=$((running - 1))
done
exit "$failed"
