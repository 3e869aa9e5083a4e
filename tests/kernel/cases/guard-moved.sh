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
guards() { at b1 tc filter show dev in1 ingress | grep -c 01:80:c2:00:00:21; }
guardsAre() { [[ $(guards) == "$1" ]]; }
expect 5 guardsAre 1

say 'moved and looked at: the one that is left takes nothing of the one that it came to'
for _ in 1 2 3 4 5 6 7 8 9 10; do
    for to in br1 br0; do
        ip -n b1 link set in1 master "$to"
        expect 5 guardsAre 1
        pause 0.3  # the daemons look within 50 ms of what they are told
        guardsAre 1 || fail "moved to $to: $(guards) guards"
    done
done

say 'moved as fast as it goes, 40 times'
for _ in $(seq 20); do printf 'link set in1 master %s\n' br1 br0; done | ip -n b1 -batch -
expect 5 guardsAre 1
steady 2 guardsAre 1
hasNot 'others remove' cat "$scratch/b1/log" "$scratch/b2/log"

say 'both end, and leave nothing'
stopDaemon b2
steady 1 guardsAre 1
stopDaemon b1
hasNot clsact at b1 tc qdisc show
