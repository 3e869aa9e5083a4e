# shows: the life of the service: installed, ready, watched, reloaded, restarted, upgraded, stopped, purged
# limit: 400

isRestarted() { (($(restarts) > before)) && isReady; }

boot1() {
    ip link add br0 type bridge vlan_filtering 1
    ip link set br0 up
    host h1 b1
    host h2 b1

    say 'installed as apt does it'
    installs "/host$SYSTEM_PACKAGE"
    configures
    systemctl restart mvrp.service
    expect 30 isReady
    has 'ports take part' property StatusText
    [[ $(property User) == mvrp ]]
    joins h1 10 mvrp
    expect 30 exactly b1 h1 1,10

    say 'the journal keeps the fields of a line, and what its message ID stands for'
    learnt=$(journal --output=json MVRP_EVENT=vlans-learnt MVRP_PORT=h1 MVRP_VLAN=10 |
        sed -nE 's/.*"MESSAGE_ID" ?: ?"([0-9a-f]{32})".*/\1/p' | head -n 1)
    [[ -n $learnt ]]
    has 'h1: VLAN' journal "MESSAGE_ID=$learnt"
    has mvrp journalctl --no-pager --list-catalog "$learnt"

    say 'a file that is refused fails the reload, and nothing changes'
    before=$(property MainPID)
    printf 'driver = "linux"\n' >>/etc/mvrp/mvrp.toml
    sed -i 's/^bridge = .*/bridge = 7/' /etc/mvrp/mvrp.toml
    refuses systemctl reload mvrp.service
    is active
    [[ $(property MainPID) == "$before" ]]
    exactly b1 h1 1,10
    configures
    systemctl reload mvrp.service
    has 'was read again, 0 changes' journal

    say 'a restart keeps what was learnt'
    command bridge monitor vlan >"$scratch/monitor" 2>&1 &
    systemctl restart mvrp.service
    expect 30 isReady
    [[ $(property MainPID) != "$before" ]]
    exactly b1 h1 1,10
    say 'with a file that is refused it fails, and the switch goes on with what it had'
    before=$(property MainPID)
    sed -i 's/^bridge = .*/bridge = 7/' /etc/mvrp/mvrp.toml
    refuses systemctl restart mvrp.service
    expect 30 isReady
    [[ $(property MainPID) != "$before" ]]
    exactly b1 h1 1,10
    refuses systemctl reload mvrp.service
    configures
    systemctl reload mvrp.service
    say 'and so does an upgrade'
    newer "$SYSTEM_PACKAGE" /root/newer.deb
    before=$(property MainPID)
    installs /root/newer.deb
    expect 30 isReady
    [[ $(property MainPID) != "$before" ]]
    exactly b1 h1 1,10
    hasNot '^Deleted.*[^0-9]10([^0-9]|$)' cat "$scratch/monitor"

    say 'held still, the watchdog ends it, and it comes again'
    before=$(restarts)
    kill -STOP "$(property MainPID)"
    expect 60 isRestarted
    exactly b1 h1 1,10

    say 'a stop takes off what is its own'
    systemctl stop mvrp.service
    exactly b1 h1 1
    hasNot clsact tc qdisc show
    systemctl start mvrp.service
    expect 30 exactly b1 h1 1,10

    say 'removed: nothing of it is on the bridge; purged: nothing of it is left'
    apt-get -q -y remove mvrp
    exactly b1 h1 1
    refuses systemctl is-active mvrp.service
    apt-get -q -y purge mvrp
    [[ ! -e /var/lib/mvrp && ! -e /run/mvrp && ! -e /etc/mvrp ]]
}
