# shows: two hosts share a VLAN over a bridge where a third joins and leaves it 50 times (--quick: 10): no frame is lost
# limit: 180

for name in b1 b2 b3; do bridge "$name"; done
link b1 b2
link b2 b3
for number in 1 2 3; do host "h$number" "b$number"; done
for name in b1 b2 b3; do daemon "$name" wire-format=ieee; done
joins h1 10 mvrp
joins h3 10 mvrp
probes there h1 h3 10
probes back h3 h1 10

declarer h2
seen=0 half=$(rounds 25 5)
for round in $(seq $((2 * half))); do
    tell h2 'link add link eth0 name v10 type vlan id 10 mvrp on' 'link set v10 up'
    if ((round % half == 0)) && expect 10 carries b2 h2 10; then seen=$((seen + 1)); fi
    pause "0.$((RANDOM % 3))"
    tell h2 'link del v10'
    if ((round % half == 0)) && expect 10 lacks b2 h2 10; then seen=$((seen + 1)); fi
    # Mostly it is back before it is withdrawn; every fifth time it is not.
    if ((round % 5 == 0)); then pause 2; else pause "0.$((RANDOM % 3))"; fi
done
untold h2
# Whatever became of its own VLAN: the probes between the others are what is measured.
probed there back
say 'and the third host did join and leave'
((seen == 4))
expect 10 lacks b2 h2 10
