# SPDX-License-Identifier: MIT
#
# The verbs of the cases: those of tests/kernel, where "b1" is the machine itself, with its own systemd,
# and mvrp is the service of the package.
mkdir -p /run/case
# shellcheck disable=SC2034  # the verbs use it
KERNEL_BUILD=/host$SYSTEM_BUILD
source "/host${SYSTEM_TESTS%/*}/kernel/lib.sh"
ip netns attach b1 1 2>/dev/null || true

# ------------------------------------------------------------------------------------- the package
# installs DEB: as apt does it. What it needs is on the disk: there is no network.
# An older one, too; the configuration that is there stays.
installs() { apt-get -q -y --allow-downgrades --reinstall -o Dpkg::Options::=--force-confold install "$1"; }

# newer DEB FILE: the same package with a higher version.
newer() {
    local tree=$scratch/newer
    rm -rf "$tree"
    dpkg-deb -R "/host$1" "$tree"
    sed -i 's/^Version: .*/&+next/' "$tree/DEBIAN/control"
    dpkg-deb -b "$tree" "$2"
}

# configures [LINE...]: /etc/mvrp/mvrp.toml for the bridge br0, all ports; lines are added to [switch].
configures() {
    printf '%s\n' '[switch]' 'driver = "linux"' 'bridge = "br0"' "$@" '[mvrp]' 'corrections = "all"' \
        '[management]' 'enable = true' '[[port]]' 'name = "*"' 'mvrp = true' >/etc/mvrp/mvrp.toml
}

# ------------------------------------------------------------------------------------- the service
# The one that the verbs are about, and where its sockets are.
service=mvrp.service runtime=/run/mvrp

# instance BRIDGE: from now on they are about the one of this bridge.
instance() { service=mvrp@$1.service runtime=/run/mvrp-$1; }

# ctl BRIDGE ARGUMENT...: as in tests/kernel, for the service.
ctl() { MVRP_RUNTIME_DIR=$runtime mvrpctl "${@:2}" 2>&1; }
property() { systemctl show --value --property "$1" "$service"; }
# is STATE: active, inactive, failed, activating...
is() { [[ $(property ActiveState) == "$1" ]]; }
isReady() { is active && [[ $(property SubState) == running ]] && ctl b1 show >/dev/null; }
restarts() { property NRestarts; }
# isBooted: nothing of the boot is still under way.
isBooted() { [[ $(systemctl list-jobs --no-legend | grep -vc case.service) == 0 ]]; }
journal() { journalctl --quiet --no-pager --output=cat --unit="$service" "$@"; }

# systemHappened STATUS COMMAND LINE...: after a failure, all that may explain it.
systemHappened() {
    trap - ERR
    set +e
    say "status $1 from: $2 (lines ${*:3})"
    command bridge -compressvlans vlan show | head -n 60
    systemctl --no-pager status "$service" | head -n 20
    systemctl --no-pager --failed
    journal --lines 40
    exit "$1"
}

# ------------------------------------------------------------------------------------- who owns the bridge
# cables NAME[:PEER]...: from the next boot on the machine has a network card of each name, as it has its hardware, and
# what its cable ends in: NAMEx, unless the peer is named.
cables() {
    local name peer
    {
        printf '%s\n' '[Unit]' DefaultDependencies=no Before=network-pre.target Wants=network-pre.target \
            After=systemd-udevd.service '[Service]' Type=oneshot RemainAfterExit=yes
        for name in "$@"; do
            peer=${name#*:} name=${name%:*}
            [[ $peer != "$name" ]] || peer=${name}x
            echo "ExecStart=/sbin/ip link add $name type veth peer name $peer"
            echo "ExecStart=/sbin/ip link set $peer up"
        done
        printf '%s\n' '[Install]' WantedBy=sysinit.target
    } >/etc/systemd/system/cables.service
    systemctl enable cables.service
}

# plug NAME HOST: a host at the other end of such a card.
plug() {
    ip netns add "$2"
    ip -n "$2" link set lo up
    ip link set "$1x" netns "$2" name eth0
    ip -n "$2" link set eth0 up
}

# examples DIRECTORY...: installs those of the package, as their README says.
examples() {
    local name
    for name in "$@"; do cp -r "/usr/share/doc/mvrp/examples/integration/$name/etc" /; done
    chmod -f 600 /etc/NetworkManager/system-connections/* || true
}

# comesUpWith: after a boot with a manager: the service started once, took the bridge when it came, and learns.
comesUpWith() {
    expect 90 isReady
    [[ $(restarts) == 0 ]] || fail "$(restarts) starts failed"
    expect 90 has 'is there' journal
    expect 90 has 'eth1.* master br0' command bridge link show
    plug eth1 h1
    plug eth2 h2
    joins h1 10 mvrp
    joins h2 10 mvrp
    expect 60 carries b1 eth1 10
    expect 60 carries b1 eth2 10
}

# ------------------------------------------------------------------------------------- outages
# about TEXT: goes with the table.
about() { say "about | $*"; }

# What `across` watches: name, from, to, VLAN.
streams=()

# watchesOwn: VLAN 20, of the program that owns the bridge, and VLAN 10, that both hosts declare.
watchesOwn() {
    joins h1 20 none
    joins h2 20 none
    streams=('own h1 h2 20' 'learnt h1 h2 10')
}

# hostBehind PORT VLAN: what the machine itself declares at this port is watched, too.
hostBehind() {
    watchesOwn
    joins h1 "$2" mvrp
    expect 30 carries b1 "$1" "$2"
    streams+=("declared h1 b1 $2")
    declaredAt=$1
}

interfaceOf() { [[ $1 == b1 ]] && echo "eth0.$2" || echo "v$2"; }

# taken VLAN: how often, after `across` began, a port was without this VLAN, and for how long at most, from what the
# kernel tells. In ms; "-" if it never was.
taken() {
    awk -v vid="$1" '
        function has(list, ranges, ends, i) {
            for (i = split(list, ranges, ","); i > 0; --i) {
                split(ranges[i], ends, "-")
                if (vid == ends[1] || (ends[2] && vid >= ends[1] && vid <= ends[2])) return 1
            }
            return 0
        }
        $2 == "vlans" && $3 ~ /^eth[12]$/ {
            if (has($4)) {
                if (since[$3] && $1 - since[$3] > longest) longest = $1 - since[$3]
                delete since[$3]
                seen[$3] = 1
            } else if (!since[$3]) since[$3] = $1
        }
        END { print longest == "" ? "-" : longest }' "$scratch/events"
}

# What the daemon may take, after the owner of the bridge took a port down or VLANs off, in ms. It takes a tenth of that
# where nobody else needs the processor.
allowedMs=1500

# across ACTION COMMAND...: the streams while a command runs and until all is settled again. The table of the lane gets a
# line: the longest outage of each stream. What the owner leaves alone must not be out at all.
across() {
    local action=$1 stream name from to vid watcher missing limit cells=''
    say "across $action"
    # What others take off again and again is put back later and later; each action is measured by itself.
    systemctl restart "$service"
    expect 30 isReady
    (exec ip netns exec b1 "$KERNEL_BUILD/tests/kernel/kernel-probe" events times) >"$scratch/events" &
    watcher=$!
    expect 10 grep -q watching "$scratch/events"
    for stream in "${streams[@]}"; do
        read -r name from to vid <<<"$stream"
        probes "$name" "$from" "$to" "$vid"
    done
    "${@:2}"
    expect 60 settled
    pause 1
    for stream in "${streams[@]}"; do
        read -r name from to vid <<<"$stream"
        counted "$name" || true
        cells+=" | ${outage[$name]}"
    done
    [[ -v outage[declared] ]] || cells+=' | -'
    kill "$watcher"
    wait "$watcher" 2>/dev/null || true
    missing=$(taken 10)
    say "outage | $action$cells | $missing"
    limit=0
    [[ ${outage[own]} == 0 && $missing == - ]] || limit=$((outage[own] + allowedMs))
    for stream in "${streams[@]}"; do
        name=${stream%% *}
        [[ $name == own ]] || ((outage["$name"] <= limit)) || fail "$action: $name was out for ${outage[$name]} ms, allowed: $limit"
    done
}

# settled: every VLAN that is watched is on the ports again.
settled() {
    local port vid
    for port in eth1 eth2; do
        for vid in 10 20; do carries b1 "$port" "$vid" || return 1; done
    done
    [[ -z ${declaredAt:-} ]] || carries b1 "$declaredAt" 30
}
