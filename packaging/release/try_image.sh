#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# try_image.sh ARCHIVE ARCHITECTURE: starts two containers of an image, with what a runtime does (container.py),
# each in a network namespace of its own, a cable between them, and looks at what they register. As root. Prints
# a line for each thing looked at, and at the end "N passed, N failed".
#
# shellcheck disable=SC2317  # expect calls the functions
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
archive=$(readlink -f "$1") architecture=$2

missing=''
command -v ip >/dev/null || missing='iproute2 is not installed'
((EUID == 0)) || missing='only root can make a container'
if [[ -z $missing ]] && ! unshare -mn ip link add x0 type veth peer name x1 2>/dev/null; then
    missing='this machine gives no network namespaces, or has no veth'
fi
if [[ -n $missing ]]; then
    printf 'NOT RUN: containers of the image: %s\n0 passed, 0 failed\n' "$missing"
    exit 0
fi
if [[ -z ${MVRP_TRY_IMAGE:-} ]]; then
    place=$(mktemp -d)
    trap 'rm -rf "$place"' EXIT
    MVRP_TRY_IMAGE=$place unshare --mount --net --propagation private "$0" "$archive" "$architecture"
    exit
fi

# What a runtime gives a container that asks for nothing, as far as the daemon can use it.
usual=CHOWN,DAC_OVERRIDE,NET_RAW,SETGID,SETPCAP,SETUID
place=$MVRP_TRY_IMAGE
passed=0 failed=0
trap 'kill -9 $(cat "$place"/*/pid 2>/dev/null) 2>/dev/null || true; wait' EXIT
mount -t tmpfs run /run  # names of network namespaces

# expect TEXT COMMAND...: the command succeeds, sooner or later.
expect() {
    local text=$1 end=$((SECONDS + 60)) log
    shift
    until log=$("$@" 2>&1); do
        if ((SECONDS >= end)); then
            failed=$((failed + 1))
            printf '  FAILED  %s\n%s\n' "$text" "$log"
            return
        fi
        sleep 0.2
    done
    passed=$((passed + 1))
    printf '  ok      %s\n' "$text"
}

finish() {
    ((failed == 0)) || tail -n 20 "$place"/*/log
    printf '%d passed, %d failed\n' "$passed" "$failed"
    exit $((failed != 0))
}

# container NAME CAPABILITIES [COMMAND...]: in the network namespace NAME; a command has the volumes of NAME and
# nothing else in common with it.
container() {
    local name=$1 capabilities=$2
    shift 2
    ip netns exec "$name" unshare --mount --pid --ipc --uts --fork --kill-child --propagation private \
        python3 "$here/container.py" "$place/root" \
        --volume "$place/$name/etc:/etc/mvrp" --volume "$place/$name/run:/run/mvrp" \
        --volume "$place/$name/state:/var/lib/mvrp" --capabilities "$capabilities" -- "$@"
}

# prepare NAME USER MORE: a switch with one port, plugged into eth0, whose daemon will be USER, and what else its
# file says.
prepare() {
    mkdir -p "$place/$1"/{etc,run,state}
    chown "$2:$2" "$place/$1"/{run,state}
    cat >"$place/$1/etc/mvrp.toml" <<END
[switch]
driver = "soft"
name = "$1"

[[port]]
unit = 1
name = "uplink"
cable = "interface:eth0"
wire-format = "ieee"

[management]
enable = true
times = "standard"

[[management.port]]
unit = 1
enable = true
$3
END
}

# kernelSays NAME FIELD VALUE: of the daemon in a container
kernelSays() { [[ $(awk -v field="$2:" '$1 == field { print $2 }' "/proc/$(cat "$place/$1/pid")/status") == "$3" ]]; }

# asks NAME PATTERN WORDS...: mvrpctl in a container beside the daemon's, as root of a runtime
asks() {
    local name=$1 pattern=$2
    shift 2
    container "$name" "$usual" /usr/bin/mvrpctl "$@" | grep -E "$pattern"
}
forgets() { asks "$1" '^static' show vlans && ! asks "$1" '^dynamic' show vlans; }

# begin NAME CAPABILITIES
begin() {
    container "$1" "$2" >"$place/$1/log" 2>&1 &
    outer=$!
    expect "$1: the daemon starts and mvrpctl finds it, in a container of its own" asks "$1" uplink show ports
    ((failed == 0)) || finish
    # This shell's, unshare, and its child: the first process of the container, which is the daemon.
    pgrep -P "$(pgrep -P "$outer")" >"$place/$1/pid"
}

python3 "$here/layout.py" "$archive" "$architecture" "$place/root"
for name in west east; do ip netns add $name; done
ip -n west link add eth0 type veth peer name eth0 netns east
for name in west east; do ip -n $name link set eth0 up; done
prepare west 9620 $'[[vlan]]\nids = "10-12"'
prepare east 0 $'[[vlan]]\nids = "30"\n[process]\nkeep-root = true'

begin west "$usual"
westOuter=$outer
expect 'west: it became its own user' kernelSays west Uid 9620
# CAP_NET_RAW
expect 'west: it kept the one capability that its configuration has a use for' kernelSays west CapEff 0000000000002000
expect 'west: it can gain none' kernelSays west NoNewPrivs 1
begin east NET_RAW
expect 'east: root with that one capability, no way to another user: it runs' kernelSays east CapBnd 0000000000002000
expect 'VLANs of west are registered in east' asks east '^dynamic .* uplink +10-12$' show vlans
expect 'VLANs of east are registered in west' asks west '^dynamic .* uplink +30$' show vlans
expect 'nothing but the volumes can be written to' \
    bash -c "! touch /proc/$(cat "$place/west/pid")/root/usr/x 2>/dev/null"
kill -TERM "$(cat "$place/west/pid")"
status=0
wait "$westOuter" || status=$?
expect 'west: ends well when it is told to' test "$status" = 0
expect 'its VLANs leave the other one' forgets east

finish
