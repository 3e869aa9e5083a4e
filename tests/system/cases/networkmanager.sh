# shows: beside NetworkManager, which makes the bridge and has its daemon started: one start at boot, and outages
# limit: 300

connections=/etc/NetworkManager/system-connections

boot1() {
    installs "/host$SYSTEM_PACKAGE"
    cables eth0:eth3 eth1 eth2
    examples networkmanager networkmanager-host
    local port
    # A third port, that leads back to the machine.
    sed 's/eth2/eth3/' "$connections/eth2.nmconnection" >"$connections/eth3.nmconnection"
    chmod 600 "$connections/eth3.nmconnection"
    for port in eth1 eth2 eth3; do printf '\n[bridge-port]\nvlans=20\n' >>"$connections/$port.nmconnection"; done
    # A real card is managed without being asked for; half of a veth is not, and the other half is not the machine's.
    printf '%s\n' '[device-cards]' 'match-device=interface-name:eth?' managed=1 \
        '[keyfile]' 'unmanaged-devices=interface-name:eth?x' >/etc/NetworkManager/conf.d/cards.conf
    systemctl enable NetworkManager.service
    systemctl disable NetworkManager-wait-online.service
}

boot2() {
    instance br0
    comesUpWith
    hostBehind eth3 30
    about "$(NetworkManager --version)"
    across 'nmcli connection reload' nmcli connection reload
    across 'systemctl reload NetworkManager' systemctl reload NetworkManager.service
    across 'nmcli device reapply br0' nmcli device reapply br0
    across 'nmcli device reapply eth1' nmcli device reapply eth1
    across 'systemctl restart NetworkManager' systemctl restart NetworkManager.service
    across 'nmcli connection up eth1' nmcli connection up eth1
    across 'nmcli connection up br0' nmcli connection up br0
}
