# shows: with a driver, a bridge and one [[port]] in its file, the daemon stands beside the kernel's own hosts
# limit: 180

# configure BRIDGE: the shortest file; ports named u... take part.
configure() {
    mkdir -p -m 777 "$scratch/$1"
    cat >"$scratch/$1/mvrp.toml" <<'END'
[switch]
driver = "linux"
bridge = "br0"

[[port]]
name = "u*"
mvrp = true
END
}

bridge b1 vlan_default_pvid 0
host u1 b1
host u2 b1
host m1 b1
capture u1 u1 eth0 "$protocolFrames"
capture u2 u2 eth0 "$protocolFrames"
configure b1
startDaemon b1

say 'standard times and a point-to-point participant'
standardTimes() {
    has '"joinTime": 200' ctl b1 -j show port "$1" && has '"leaveTime": 600' ctl b1 -j show port "$1" &&
        has '"leaveAllTime": 10000' ctl b1 -j show port "$1" &&
        has '"participant": "no-observe"' ctl b1 -j show port "$1"
}
expect 5 standardTimes u1

say 'every port has the guard'
for port in u1 u2 m1; do expect 5 test "$(probe b1 guard "$port" show)" == on; done

say 'a host is learnt, and declared to the others in the form that they understand'
joins u1 10 mvrp
expect 5 exactly b1 u1 10
expect 5 sees u2 'ether proto 0x88f5'
exactly b1 u2 -
say 'VLAN 1 is on no port'
hasNot '"1"' at b1 bridge -j vlan show dev u2

say 'a machine on a port that takes no part: its frames stay there'
address=$(at m1 cat /sys/class/net/eth0/address)
joins m1 20 mvrp
steady 4 seesNone u1 "ether src $address"
seesNone u2 "ether src $address"
exactly b1 m1 -

say 'what is static is declared, and lingers when it is static no more'
at b1 bridge vlan add dev m1 vid 30
expect 3 exactly b1 u2 30
at b1 bridge vlan del dev m1 vid 30
steady 1 carries b1 u2 30
expect 3 exactly b1 u2 -

say 'a port that is switched off and on has the same times'
ctl b1 set port u1 enable off
ctl b1 set port u1 enable on
standardTimes u1
expect 5 exactly b1 u1 10

say 'a port that comes later, too'
host u3 b1
joins u3 40 mvrp
expect 5 exactly b1 u3 40
standardTimes u3

say 'a link that comes up: a LeaveAll at once, and what is behind it is back'
leaveAll='ether proto 0x88f5 and ether[17] & 0xe0 = 0x20'
before=$(captured u2 "$leaveAll")
ip -n b1 link set u2 down
ip -n b1 link set u2 up
more() { (($(captured u2 "$leaveAll") > before)); }
expect 2 more

say 'a bridge with a spanning tree for each group of VLANs is refused'
bridge b2 mst_enabled 1
configure b2
refuses eval 'MVRP_RUNTIME_DIR=$scratch/b2 at b2 "$KERNEL_BUILD/platform/host/mvrp" \
    --config "$scratch/b2/mvrp.toml" >"$scratch/b2/refusal" 2>&1'
grep -q 'mst_enabled 0' "$scratch/b2/refusal"
