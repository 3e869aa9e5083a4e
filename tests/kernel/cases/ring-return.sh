# shows: in a ring, after a cut, VLANs are back within one second of forwarding
# lane: long
# limit: 240

for name in b1 b2 b3; do bridge "$name" stp_state 1 forward_delay 200 hello_time 100 max_age 600; done
# The link between b2 and b3 is the one that is blocked.
ip -n b1 link set br0 type bridge priority 4096
ip -n b2 link set br0 type bridge priority 8192
link b1 b2
link b2 b3
link b3 b1
host h1 b1
host h2 b2
for name in b1 b2 b3; do daemon "$name" wire-format=ieee; done
allForward() { ! { for n in b1 b2 b3; do at "$n" bridge link show; done | grep -qE 'state (listening|learning)'; }; }
atRest() { allForward && at b3 bridge link show dev b2 | grep -q 'state blocking'; }
around() { carries b3 b1 10 && carries b2 b3 10 && carries b3 b2 20 && carries b1 b3 20; }

expect 40 atRest
joins h1 10 mvrp
joins h2 20 mvrp
expect 20 carries b2 b1 10
expect 20 carries b1 b2 20
for round in 1 2 3; do
    expect 40 atRest
    expect 20 carries b2 b1 10
    expect 20 carries b1 b2 20
    expect 20 lacks b3 b2 20
    for name in b1 b2 b3; do
        (exec ip netns exec "$name" "$KERNEL_BUILD/tests/kernel/kernel-probe" events times) \
            >"$scratch/events.$name" &
        echo $! >"$scratch/watcher.$name"
        expect 10 grep -q watching "$scratch/events.$name"
    done
    say "round $round: cut"
    ip -n b1 link set b2 down
    expect 40 around
    forward=$(awk '$2 == "link" && $3 == "b2" && / stp 3/ { print $1; exit }' "$scratch/events.b3")
    back=$({
        awk '/ vlans b1 .*[ ,]10[, ]/ { print $1; exit }' "$scratch/events.b3"
        awk '/ vlans b3 .*[ ,]10[, ]/ { print $1; exit }' "$scratch/events.b2"
        awk '/ vlans b2 .*[ ,]20[, ]/ { print $1; exit }' "$scratch/events.b3"
        awk '/ vlans b3 .*[ ,]20[, ]/ { print $1; exit }' "$scratch/events.b1"
    } | sort -n | tail -n 1)
    say "forwarding at $forward ms, the last VLAN $((back - forward)) ms later"
    ((back - forward <= 1000))
    for name in b1 b2 b3; do kill "$(cat "$scratch/watcher.$name")"; done
    ip -n b1 link set b2 up
done
