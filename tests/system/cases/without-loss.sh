# shows: restart, upgrade, reload and kill, ten times each: no packet is lost
# limit: 900

# again WHAT COMMAND...: ten times, with the daemon ready after each.
again() {
    local what=$1 _
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        "${@:2}"
        expect 30 isReady
    done
    say "$what, 10 times"
}
killed() { systemctl kill --signal=KILL mvrp.service; }
upgraded() { apt-get -q -y --reinstall install /root/newer.deb >/dev/null; }

boot1() {
    ip link add br0 type bridge vlan_filtering 1
    ip link set br0 up
    host h1 b1
    host h2 b1
    installs "/host$SYSTEM_PACKAGE"
    configures
    newer "$SYSTEM_PACKAGE" /root/newer.deb
    systemctl restart mvrp.service
    expect 30 isReady
    joins h1 10 mvrp
    joins h2 10 mvrp
    expect 30 exactly b1 h1 1,10
    expect 30 exactly b1 h2 1,10
    local way
    for way in 'systemctl restart mvrp.service' upgraded 'systemctl reload mvrp.service' killed; do
        probes "${way%% *}" h1 h2 10
        # shellcheck disable=SC2086  # words
        again "$way" $way
        probed "${way%% *}"
    done
}
