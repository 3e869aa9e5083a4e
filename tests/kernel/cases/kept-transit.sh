# shows: a machine on the bridge between two hosts of its VLAN is stopped and started: no frame is lost

for name in b1 b2 b3; do bridge "$name"; done
link b1 b2
link b2 b3
host h1 b1
host h3 b3
start() {
    host tap0 b2
    at b2 bridge vlan add dev tap0 vid 10
}
start
for name in b1 b2 b3; do daemon "$name" wire-format=ieee; done
joins h1 10 mvrp
joins h3 10 mvrp
probes there h1 h3 10
probes back h3 h1 10

for round in 1 2 3; do
    say "round $round"
    ip netns del tap0
    pause 2.5  # longer than what is withdrawn, and what lingers, takes to go
    start
    pause 1.5
done
probed there back
say 'and with nobody left it goes'
ip netns del tap0
leaves h1 10
leaves h3 10
gone() { nowhere b1 10 && nowhere b2 10 && nowhere b3 10; }
expect 20 gone
