# shows: the bridge deleted and made again, or made after the daemon; VLAN filtering off, at the start and while it runs
# limit: 300

# With the same ports, which are to be what they were.
makeBridgeAgain() {
    ip -n b1 link add br0 type bridge vlan_filtering 1
    ip -n b1 link set br0 up
    ip -n b1 link set b2 master br0
    ip -n b1 link set h1 master br0
    expect 25 exactly b1 h1 1,10
    expect 15 exactly b2 b1 1,10
}

bridge b1
bridge b2
link b1 b2
host h1 b1
at b1 bridge vlan add dev h1 vid 99
daemon b1
daemon b2
joins h1 10 mvrp
expect 10 exactly b2 b1 1,10,99

say 'the bridge is deleted'
ip -n b1 link del br0
expect 40 exactly b2 b1 1
say 'and made again, with the same ports'
makeBridgeAgain

say 'VLAN filtering off: said, and the ports take part no more'
ip -n b1 link set br0 type bridge vlan_filtering 0
expect 10 grep -q 'vlan_filtering 1' "$scratch/b1/log"
expect 10 has '^ *[0-9]+ +h1 +down ' ctl b1 show ports
expect 10 hasNot 01:80:c2:00:00:21 at b1 tc filter show dev h1 ingress
say 'on again'
ip -n b1 link set br0 type bridge vlan_filtering 1
expect 10 has '^ *[0-9]+ +h1 +up ' ctl b1 show ports
expect 25 exactly b2 b1 1,10
stopDaemon b1

say 'at the start it is said, and waited for'
ip -n b1 link set br0 type bridge vlan_filtering 0
: >"$scratch/b1/log"
startDaemon b1
expect 10 grep -q 'ip link set br0 type bridge vlan_filtering 1' "$scratch/b1/log"
ip -n b1 link set br0 type bridge vlan_filtering 1
expect 10 has '^ *[0-9]+ +h1 +up ' ctl b1 show ports
expect 25 exactly b2 b1 1,10
stopDaemon b1

say 'a bridge that is not there at the start is taken when it comes'
ip -n b1 link del br0
startDaemon b1
expect 10 grep -q 'there is no bridge br0 yet' "$scratch/b1/log"
makeBridgeAgain
stopDaemon b1
