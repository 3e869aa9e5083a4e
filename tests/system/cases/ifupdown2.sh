# shows: beside ifupdown2: two bridges, a daemon each, one start at boot, outages; two programs for one VLAN; an upgrade
# limit: 400

bridges=/etc/network/interfaces.d

boot1() {
    installs "/host$SYSTEM_PACKAGE"
    cables eth1 eth2 eth3 tap0
    examples ifupdown2 hypervisor
    sed -i 's/bridge-vids 1$/bridge-vids 1 20/' "$bridges/br0"
    # As every installed Debian has it.
    echo "source $bridges/*" >/etc/network/interfaces
    sed -i 's/^multiple_vlan_aware_bridge_support=.*/multiple_vlan_aware_bridge_support=1/' \
        /etc/network/ifupdown2/ifupdown2.conf
    systemctl enable networking.service mvrp@br0.service mvrp@vmbr0.service
}

# vidsBecome VLANS: in the file, and ifupdown2 is told.
vidsBecome() {
    sed -i "s/bridge-vids .*/bridge-vids $1/" "$bridges/br0"
    ifreload -a
}
downAndUp() {
    ifdown br0
    ifup br0
}

# times COUNT COMMAND...: one after the other, with the VLANs there again in between.
times() {
    local _
    for _ in $(seq "$1"); do
        "${@:2}"
        expect 10 settled
    done
}

boot2() {
    instance vmbr0
    expect 90 isReady
    instance br0
    comesUpWith
    watchesOwn
    about "$(dpkg-query -W ifupdown2 | tr '\t' ' ')"
    across 'ifreload -a' ifreload -a
    # From the fifth time within five minutes on a second passes before it is put back.
    allowedMs=4000 across 'ifreload -a, five times' times 5 ifreload -a
    across 'ifup -a' ifup -a
    across 'ifreload -a with one VLAN more' vidsBecome '1 20 21'
    across 'ifreload -a with one VLAN less' vidsBecome '1 20'
    across 'ifdown br0, ifup br0' downAndUp

    say 'a machine of the hypervisor: its VLAN is on the uplink as long as it runs'
    ip link set tap0 up
    ip link set tap0 master vmbr0
    command bridge vlan add dev tap0 vid 30 pvid untagged
    expect 10 carries b1 eth3 30
    command bridge vlan del dev tap0 vid 30
    expect 10 lacks b1 eth3 30

    say 'two programs for one VLAN: what was learnt first goes with its neighbour, and stays when it is said again'
    vidsBecome '1 10 20'
    leaves h1 10
    expect 20 lacks b1 eth1 10
    ifreload -a
    expect 10 carries b1 eth1 10
    joins h1 10 mvrp
    pause 3
    leaves h1 10
    steady 5 carries b1 eth1 10
    joins h1 105 mvrp
    expect 20 carries b1 eth1 105
    command bridge vlan add dev eth1 vid 100-110
    leaves h1 105
    expect 20 lacks b1 eth1 105
    carries b1 eth1 104
    command bridge vlan add dev eth1 vid 100-110
    steady 5 carries b1 eth1 105
    command bridge vlan del dev eth1 vid 100-110
    joins h1 10 mvrp
    vidsBecome '1 20'
    expect 20 carries b1 eth1 10

    say 'an upgrade restarts the daemon of each bridge'
    newer "$SYSTEM_PACKAGE" /root/newer.deb
    local before
    before=$(property MainPID)
    across 'upgrade of mvrp' installs /root/newer.deb
    expect 30 isReady
    [[ $(property MainPID) != "$before" ]]
    say 'and a removal takes off what each had'
    apt-get -q -y purge mvrp
    lacks b1 eth1 10
    hasNot clsact tc qdisc show
    [[ ! -e /run/mvrp-br0 && ! -e /run/mvrp-vmbr0 && ! -e /var/lib/mvrp ]]
}
