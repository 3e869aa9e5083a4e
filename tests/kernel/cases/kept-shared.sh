# shows: two hosts share a VLAN over a bridge where a third joins and leaves it 50 times: no frame is lost

for name in b1 b2 b3; do bridge "$name"; done
link b1 b2
link b2 b3
host h1 b1
host h2 b2
host h3 b3
for name in b1 b2 b3; do daemon "$name" wire-format=ieee; done
joins h1 10 mvrp
joins h3 10 mvrp
path() { carries b1 h1 10 && carries b1 b2 10 && carries b2 b1 10 && carries b2 b3 10 && carries b3 b2 10 && carries b3 h3 10; }
expect 20 path
probes there h1 h3 10
probes back h3 h1 10

for round in $(seq 50); do
    joins h2 10 mvrp
    if ((round % 10 == 0)); then expect 10 carries b2 h2 10; fi
    sleep "0.$((RANDOM % 3))"  # at any moment
    leaves h2 10
    if ((round % 10 == 0)); then expect 10 lacks b2 h2 10; fi
    sleep "0.$((RANDOM % 3))"
done
expect 10 lacks b2 h2 10
probed there
probed back
path
