# shows: two daemons beside each other, each with a bridge of its own, keep the guard of a port that moves between them
# limit: 180

bridge b1
# A second name of the same namespace, for the second bridge and its daemon.
(exec ip netns exec b1 sleep infinity) &
holder=$!
isInside() { [[ $(ip netns identify "$holder") == b1 ]]; }
expect 5 isInside
ip netns attach b2 "$holder"
ip -n b1 link add br1 type bridge vlan_filtering 1
ip -n b1 link set br1 up
host in1 b1
host in2 b1
daemon b1
daemon b2 bridge=br1
# guards: the handles of the guards of in1, one of each bridge's daemon that has one there.
guards() { at b1 tc filter show dev in1 ingress | sed -n 's/.* handle \(0x[0-9a-f]*\).*/\1/p' | paste -sd ' '; }
isGuarded() { [[ $(guards) =~ ^0x[0-9a-f]+$ ]]; }
# isGuardedFor BRIDGE: by its daemon alone.
isGuardedFor() { [[ $(guards) == "${handle[$1]}" ]]; }
isGuardedAnew() { isGuarded && ! isGuardedFor br0; }
# The one that the port leaves takes nothing of the one that it comes to: that would be put back, and be said.
nobodyLostOne() { hasNot 'others remove' cat "$scratch/b1/log" "$scratch/b2/log"; }

declare -A handle
expect 10 isGuarded
handle[br0]=$(guards)
ip -n b1 link set in1 master br1
expect 10 isGuardedAnew
handle[br1]=$(guards)

say 'moved and looked at'
for _ in $(seq "$(rounds 10 4)"); do
    for to in br0 br1; do
        ip -n b1 link set in1 master "$to"
        expect 10 isGuardedFor "$to"
    done
done
nobodyLostOne

say 'moved as fast as it goes, 40 times'
for _ in $(seq 20); do printf 'link set in1 master %s\n' br0 br1; done | ip -n b1 -batch -
expect 10 isGuardedFor br1
steady 2 isGuardedFor br1
nobodyLostOne

say 'both end, and leave nothing'
stopDaemon b1
steady 1 isGuardedFor br1
stopDaemon b2
hasNot clsact at b1 tc qdisc show
