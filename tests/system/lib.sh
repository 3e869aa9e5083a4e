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
installs() { apt-get -q -y install "$1"; }

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
# ctl BRIDGE ARGUMENT...: as in tests/kernel, for the service.
ctl() { MVRP_RUNTIME_DIR=/run/mvrp mvrpctl "${@:2}" 2>&1; }
property() { systemctl show --value --property "$1" mvrp.service; }
# is STATE: active, inactive, failed, activating...
is() { [[ $(property ActiveState) == "$1" ]]; }
isReady() { is active && [[ $(property SubState) == running ]] && ctl b1 show >/dev/null; }
restarts() { property NRestarts; }
# isBooted: nothing of the boot is still under way.
isBooted() { [[ $(systemctl list-jobs --no-legend | grep -vc case.service) == 0 ]]; }
journal() { journalctl --quiet --no-pager --output=cat --unit=mvrp.service "$@"; }

# systemHappened STATUS COMMAND LINE...: after a failure, all that may explain it.
systemHappened() {
    trap - ERR
    set +e
    say "status $1 from: $2 (lines ${*:3})"
    command bridge -compressvlans vlan show | head -n 60
    systemctl --no-pager status mvrp.service | head -n 20
    systemctl --no-pager --failed
    journal --lines 40
    exit "$1"
}

# ------------------------------------------------------------------------------------- who owns the bridge
# manager NAME: from the next boot on, it is the one that makes br0 and its port h1, whose cable ends in p1;
# NetworkManager, which leaves such ports alone, the bridge only.
manager() {
    case $1 in
        networkd)
            printf '%s\n' '[NetDev]' Name=br0 Kind=bridge '[Bridge]' VLANFiltering=yes >/etc/systemd/network/10-br0.netdev
            printf '%s\n' '[NetDev]' Name=h1 Kind=veth '[Peer]' Name=p1 >/etc/systemd/network/10-h1.netdev
            printf '%s\n' '[Match]' Name=br0 '[Network]' LinkLocalAddressing=no ConfigureWithoutCarrier=yes >/etc/systemd/network/20-br0.network
            printf '%s\n' '[Match]' Name=h1 '[Network]' Bridge=br0 >/etc/systemd/network/20-h1.network
            systemctl enable systemd-networkd.service
            ;;
        ifupdown2)
            printf '%s\n' 'auto h1' 'iface h1' '    link-type veth' '    veth-peer-name p1' \
                'auto br0' 'iface br0' '    bridge-ports h1' '    bridge-vlan-aware yes' >/etc/network/interfaces
            systemctl enable networking.service
            ;;
        NetworkManager)
            printf '%s\n' '[connection]' id=br0 type=bridge interface-name=br0 '[bridge]' stp=false vlan-filtering=true \
                '[ipv4]' method=disabled '[ipv6]' method=disabled >/etc/NetworkManager/system-connections/br0.nmconnection
            chmod 600 /etc/NetworkManager/system-connections/*.nmconnection
            systemctl enable NetworkManager.service
            ;;
    esac
}

# comesUpWith: after a boot with a manager: the service started once, took the bridge when it came, and learns.
comesUpWith() {
    expect 90 isReady
    [[ $(restarts) == 0 ]] || fail "$(restarts) starts failed"
    expect 90 has 'is there' journal
    if ip link show p1 >/dev/null 2>&1; then
        expect 90 has 'h1.* master br0' command bridge link show
        ip netns add h1
        ip link set p1 netns h1 name eth0
        ip -n h1 link set eth0 up
    else
        host h1 b1
    fi
    joins h1 10 mvrp
    expect 60 exactly b1 h1 1,10
}
