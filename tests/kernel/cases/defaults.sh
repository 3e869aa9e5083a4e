# shows: with a driver, a bridge and one [[port]] in its file, the daemon stands beside the kernel's own hosts
# limit: 180

# configure BRIDGE: the shortest file; ports named u... take part.
configure() {
    mkdir -m 777 "$scratch/$1"
    printf '%s\n' '[switch]' 'driver = "linux"' 'bridge = "br0"' '[[port]]' 'name = "u*"' 'mvrp = true' \
        >"$scratch/$1/mvrp.toml"
}

bridge b1 vlan_default_pvid 0
for port in u1 u2 m1; do host "$port" b1; done
for port in u1 u2; do capture "$port" "$port" eth0 "$protocolFrames"; done
configure b1
startDaemon b1

# standardOn PORT: join, leave, leave-all time and participant, as the daemon has them.
standardOn() {
    local settings
    settings=$(ctl b1 -j show port "$1" | tr -d ' \n') || return
    [[ $settings == *'"portMrpJoinTime":200,'* && $settings == *'"portMrpLeaveTime":600,'* &&
        $settings == *'"portMrpLeaveAllTime":10000,'* && $settings == *'"participant":"no-observe"'* ]]
}
# guarded PORT
guarded() { [[ $(probe b1 guard "$1" show) == on ]]; }

say 'standard times and a point-to-point participant; a guard on every port'
expect 5 standardOn u1
for port in u1 u2 m1; do expect 5 guarded "$port"; done

say "a host is learnt, and declared to the others in the standard's form alone"
joins u1 10 mvrp
expect 5 exactly b1 u1 10
expect 5 sees u2 'ether proto 0x88f5'
seesNone u2 'not ether proto 0x88f5'

say 'a machine on a port that takes no part: its frames stay there'
address=$(at m1 cat /sys/class/net/eth0/address)
joins m1 20 mvrp
steady 3 seesNone u1 "ether src $address"
seesNone u2 "ether src $address"
exactly b1 m1 -

say 'VLAN 1 is on no port; where the kernel has it, it is static as any'
exactly b1 u2 -
at b1 bridge vlan add dev m1 vid 1
at b1 bridge vlan add dev m1 vid 30
expect 3 exactly b1 u2 1,30

say 'what is static no more lingers'
at b1 bridge vlan del dev m1 vid 1
at b1 bridge vlan del dev m1 vid 30
steady 1 carries b1 u2 30
expect 5 exactly b1 u2 -

say 'a port that is switched off and on, and one that comes later, have the same times and a guard'
ctl b1 set port u1 enable off
ctl b1 set port u1 enable on
host u3 b1
joins u3 40 mvrp
expect 5 exactly b1 u1 10
expect 5 exactly b1 u3 40
expect 5 guarded u3
for port in u1 u3; do standardOn "$port"; done

say 'a link that comes up: a LeaveAll at once, and what is behind it is back'
# asked BEFORE: u1 has sent more than so many. Twice, for one may be that of the leave-all timer, of which there
# are not two within ten seconds.
leaveAlls() { captured u1 'ether proto 0x88f5 and ether[17] & 0xe0 = 0x20'; }
asked() { (($(leaveAlls) > $1)); }
for round in 1 2; do
    say "round $round"
    before=$(leaveAlls)
    printf 'link set u1 down\nlink set u1 up\n' | ip -n b1 -batch -
    expect 2 asked "$before"
    expect 2 exactly b1 u1 10
done

say 'a hundred PDUs a second, and no more'
floods u2 500
expect 5 has 'u2: more than 100 PDUs a second' cat "$scratch/b1/log"
has '"overBudget": [1-9]' ctl b1 -j show statistics u2
has '"overBudget": 0' ctl b1 -j show statistics u1

say 'a bridge with a spanning tree for each group of VLANs is refused, until it has one'
bridge b2 vlan_default_pvid 0
probe b2 trees br0 on
host u4 b2
configure b2
startDaemon b2
expect 5 has 'its ports take no part until it has one: ip link set br0 type bridge mst_enabled 0' cat "$scratch/b2/log"
joins u4 50 mvrp
steady 2 exactly b2 u4 -
probe b2 trees br0 off
expect 15 exactly b2 u4 50
