# shows: a triangle with the kernel's spanning tree and 500 VLANs from each end: cut, healed, and nothing is left over
# lane: long
# limit: 300

for name in b1 b2 b3; do bridge "$name" stp_state 1 forward_delay 200 hello_time 100 max_age 600; done
link b1 b2
link b2 b3
link b3 b1
host h1 b1
host h2 b2
for name in b1 b2 b3; do daemon "$name"; done
allForward() { ! { for n in b1 b2 b3; do at "$n" bridge link show; done | grep -qE 'state (listening|learning)'; }; }
blocked() { { for n in b1 b2 b3; do at "$n" bridge link show; done; } | grep -c 'state blocking'; }
oneBlocked() { allForward && [[ $(blocked) == 1 ]]; }
expect 40 oneBlocked
at b1 bridge vlan add dev h1 vid 1001-1500
at b2 bridge vlan add dev h2 vid 2001-2500

meets() { carries b1 "$1" 2001 && carries b1 "$1" 2500 && carries b1 "$1" 1001 && carries b1 "$1" 1500; }
say 'static on one end, carried on all ports of its bridge; learnt on the way to the other'
expect 30 meets b2
expect 30 carries b2 b1 1500

say 'cut the direct link'
ip -n b1 link set b2 down
expect 40 allForward
expect 30 meets b3
around() { carries b2 b3 1001 && carries b2 b3 1500 && carries b3 b1 1001 && carries b3 b2 2500; }
expect 30 around
say 'and restore it'
ip -n b1 link set b2 up
expect 40 oneBlocked
expect 30 meets b2

say 'every membership ends with its declaration'
at b1 bridge vlan del dev h1 vid 1001-1500
at b2 bridge vlan del dev h2 vid 2001-2500
clean() {
    local name
    for name in b1 b2 b3; do
        picture "$name" | grep -q '[0-9]-' && return 1
    done
    return 0
}
expect 40 clean
steady 12 clean
