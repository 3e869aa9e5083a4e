# shows: the MTU of a port falls and rises while 2,048 VLANs are declared there: the neighbour keeps all of them
# lane: long
# limit: 180

bridge b1
bridge b2
link b1 b2
host h1 b1
host h2 b2
# resize MTU: both ends of the cable.
resize() {
    ip -n b1 link set b2 mtu "$1"
    ip -n b2 link set b1 mtu "$1"
}
at b1 bridge vlan add dev h1 vid 2-2048
daemon b1 leave-all=2000
daemon b2 leave-all=2000
expect 20 exactly b2 b1 1-2048

for mtu in 1280 576 1500; do
    say "an MTU of $mtu: through several LeaveAlls of both ends"
    resize "$mtu"
    steady 6 exactly b2 b1 1-2048
done
hasNot '"sendFailed": [1-9]' ctl b1 -j show statistics b2

say 'what changes afterwards arrives, too, and goes'
resize 576
at b1 bridge vlan add dev h1 vid 2049-4094
expect 10 exactly b2 b1 1-4094
at b1 bridge vlan del dev h1 vid 2049-4094
expect 10 exactly b2 b1 1-2048

say 'it is said once'
(($(grep -c 'are sent in parts' "$scratch/b1/log") == 1))

say 'ports that begin with a small MTU: LeaveAlls ask for all VLANs, too'
for name in b1 b2; do
    stopDaemon "$name"
    startDaemon "$name"
done
expect 20 exactly b2 b1 1-2048
steady 6 exactly b2 b1 1-2048
