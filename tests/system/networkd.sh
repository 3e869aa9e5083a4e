# SPDX-License-Identifier: MIT
#
# What the cases of networkd share: the package's examples for it, with a VLAN 20 of networkd's own on both uplinks, and
# the machine itself as a host that declares VLAN 30.

# ownVlans VLANS: [BridgeVLAN] of both uplinks.
ownVlans() {
    mkdir -p /etc/systemd/network/20-uplinks.network.d
    printf '%s\n' '[BridgeVLAN]' VLAN=1 PVID=1 EgressUntagged=1 '[BridgeVLAN]' "VLAN=$1" \
        >/etc/systemd/network/20-uplinks.network.d/vlans.conf
}

setUpNetworkd() {
    installs "/host$SYSTEM_PACKAGE"
    cables eth0:eth3 eth1 eth2
    examples networkd networkd-host
    # A third port, that leads back to the machine.
    sed -i 's/^Name=eth1 eth2$/& eth3/' /etc/systemd/network/20-uplinks.network
    ownVlans 20
    systemctl enable systemd-networkd.service mvrp@br0.service
    systemctl disable systemd-networkd-wait-online.service
}

# listBecomes VLANS: networkd is told, and has the ports configured anew.
listBecomes() {
    ownVlans "$1"
    networkctl reload
    networkctl reconfigure eth1 eth2
}

actOnNetworkd() {
    instance br0
    comesUpWith
    hostBehind eth3 30
    about "systemd $(systemctl --version | sed -n '1s/.*(\(.*\)).*/\1/p')"
    across 'networkctl reload' networkctl reload
    across 'networkctl reconfigure eth1' networkctl reconfigure eth1
    across 'networkctl reconfigure br0' networkctl reconfigure br0
    across 'systemctl restart systemd-networkd' systemctl restart systemd-networkd.service
    across '[BridgeVLAN] with one VLAN more' listBecomes 20-21
    expect 20 carries b1 eth1 21
    across '[BridgeVLAN] with one VLAN less' listBecomes 20
    if carries b1 eth1 21; then about 'what [BridgeVLAN] no longer lists stays'; else about 'what it no longer lists goes'; fi
    rm -r /etc/systemd/network/20-uplinks.network.d
    networkctl reload
    networkctl reconfigure eth1 eth2 eth3
    pause 3
    local port
    for port in eth1 eth2; do command bridge vlan add dev "$port" vid 20; done
    expect 20 settled
    across 'networkctl reconfigure eth1, without [BridgeVLAN]' networkctl reconfigure eth1
}
