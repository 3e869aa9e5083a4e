# shows: restart, upgrade, reload and kill, ten times each: no packet is lost
# limit: 1200

# again WHAT COMMAND...: ten times, with the daemon ready after each.
again() {
    local what=$1 _
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        "${@:2}"
        expect 30 isReady
    done
    say "$what, 10 times"
}
restart() { systemctl restart mvrp.service; }
reload() { systemctl reload mvrp.service; }
killed() { systemctl kill --signal=KILL mvrp.service; }
upgraded() { installs /root/newer.deb >/dev/null; }

# fromOlder: ten upgrades from the package that `--older` named.
fromOlder() {
    local round
    for round in 1 2 3 4 5 6 7 8 9 10; do
        installs "/host$SYSTEM_OLDER" >/dev/null
        expect 30 isReady
        expect 30 exactly b1 h1 1,10
        expect 30 exactly b1 h2 1,10
        probes "older$round" h1 h2 10
        upgraded
        expect 30 isReady
        probed "older$round"
    done
}

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
    if [[ -n ${SYSTEM_OLDER:-} ]]; then
        fromOlder
        return
    fi
    local way
    for way in restart upgraded reload killed; do
        probes "$way" h1 h2 10
        again "$way" "$way"
        probed "$way"
    done
}
