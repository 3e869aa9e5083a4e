# shows: snapshots of two bridges of the kernel: what they say of ports and VLANs; mvrp-net finds the cable and faults

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b2
daemon b1 leave-all=2000
daemon b2 leave-all=2000
joins h1 10-12 mvrp
at b2 bridge vlan add dev h2 vid 12
expect 20 exactly b2 b1 1,10-12
expect 10 exactly b1 b2 1,12

mkdir "$scratch/net"
# net WORD...: mvrp-net over snapshots of this moment; findings are no failure here.
net() {
    for each in b1 b2; do
        ctl "$each" snapshot -o "$scratch/$each/now.json" >"$scratch/said"
        mv "$scratch/$each/now.json" "$scratch/net/$each.json"
    done
    "$KERNEL_BUILD/network/mvrp-net" "$@" "$scratch/net" 2>&1 || (($? == 1))
}
# fact BRIDGE EXPRESSION: of its latest snapshot, with port(NAME) and kernel(NAME), the bridge's own facts of a port.
fact() {
    python3 - "$scratch/net/$1.json" "$2" <<'END'
import json
import sys

document = json.load(open(sys.argv[1], encoding="utf-8"))


def named(ports, name):
    return next(each for each in ports if each["name"] == name)


print(eval(sys.argv[2], {"d": document, "port": lambda name: named(document["ports"], name),
                         "kernel": lambda name: named(document["bridge"]["ports"], name)}))
END
}
# mac BRIDGE PORT
mac() { at "$1" cat "/sys/class/net/$2/address"; }

expect 15 has ' - .*heard both ways' net topology
[[ $(fact b1 'd["switch"]["driver"]') == 'Linux bridge' ]]
[[ $(fact b1 'd["bridge"]["name"], d["bridge"]["vlanFiltering"]') == "('br0', True)" ]]
[[ $(fact b1 'port("b2")["macAddress"]') == $(mac b1 b2) ]]
[[ $(fact b1 'port("b2")["neighbours"][0]["macAddress"]') == $(mac b2 b1) ]]
[[ $(fact b1 'port("h1")["vlansLearnt"], kernel("h1")["vlans"]') == "('10-12', '1,10-12')" ]]
[[ $(fact b2 'kernel("h2")["vlans"]') == 1,12 ]]
[[ $(fact b2 'port("h2")["stpState"]') == forwarding ]]
say 'a host is a neighbour without a snapshot, and what it declares is wanted there'
has "$(mac h1 eth0)" net topology
expect 15 hasNot '^(error|warning)' net check

say 'what an engineer breaks on a bridge is found, with the cable'
at b2 ip link set dev b1 down
expect 15 has '^error +[^ ]+:(b1|b2) +VLANs .*12' net check
has 'the link of [^ ]+:(b1|b2) is down' net check
at b2 ip link set dev b1 up
expect 30 exactly b2 b1 1,10-12
expect 15 hasNot '^(error|warning)' net check
joins h2 11 mvrp
expect 15 exactly b1 b2 1,11-12
ctl b2 set port b1 registration forbidden
expect 15 has '^error +[^ ]+:b1 +VLANs 11$' net check
has 'the registration mode of [^ ]+:b1 is forbidden' net check
has 'mvrpctl set port b1 registration normal' net check
ctl b2 set port b1 registration normal
expect 30 exactly b2 b1 1,10-12
